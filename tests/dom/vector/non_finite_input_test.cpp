#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "dom/arrow.h"
#include "vector_test_support.h"

using namespace marqen;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

MarqenJSON point(double x, double y) { return {{"x", x}, {"y", y}}; }

// Reads the dictionary and exercises everything that walks the geometry; it must simply finish.
MarqenDOMNodePtr exercise(const MarqenJSON &dictionary) {
    auto node = MarqenDOMNode::nodeWithDictionary(dictionary);
    if (!node) return node;
    (void)node->contentBounds();
    (void)node->tightContentBounds();
    (void)node->hitTestWithPoint({1, 1});
    (void)node->hitTestWithPoint({1, 1}, 10);
    (void)node->hitTestWithRect(CGRectMake(0, 0, 5, 5));
    node->applyTransform(CGAffineTransformMakeScale(2, 2));
    node->rotate(0.5, {3, 3});
    node->translate({1, 1});
    (void)node->dictionaryRepresentation().dump();
    return node;
}

}  // namespace

// nlohmann refuses numbers like 1e999 in text, but dictionaries built in memory and SVG path data
// can carry infinities and NaNs; none of them may hang or crash the geometry code.
TEST(MarqenDOMVectorNonFiniteInput, EveryKindSurvivesNaNAndInfinity) {
    EXPECT_TRUE(exercise({{"type", "Vector"}, {"path", "M0,0L1e999,5C1,1 2,2 -1e999,3Z"}, {"lineWidth", kInf}}));
    EXPECT_TRUE(exercise({{"type", "Vector"}, {"path", "M0,0L10,10"}, {"lineWidth", kNaN}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension", {{"type", "Polygon"}, {"vertices", {point(0, 0), point(kInf, 0), point(5, kNaN)}}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension",
                           {{"type", "Polygon"},
                            {"vertices", {point(0, 0), point(10, 0), point(10, 10), point(0, 10)}},
                            {"extension", {{"type", "Rectangle"}, {"cornerRadius", kNaN}}}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension",
                           {{"type", "Polygon"},
                            {"vertices", {point(0, 0), point(kInf, 0), point(kInf, kInf), point(0, kInf)}},
                            {"extension", {{"type", "Rectangle"}, {"cornerRadius", 5}}}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension",
                           {{"type", "Ellipse"}, {"center", point(kNaN, 1)}, {"xradius", kInf}, {"yradius", kNaN},
                            {"theta", kInf}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension", {{"type", "Line"}, {"startPoint", point(kNaN, kNaN)}, {"endPoint", point(1, 1)}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension", {{"type", "Line"}, {"startPoint", point(0, 0)}, {"endPoint", point(kInf, 0)}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension",
                           {{"type", "Arrow"}, {"startPoint", point(0, 0)}, {"endPoint", point(kInf, kNaN)},
                            {"toolArrowSize", kInf}}}}));
    EXPECT_TRUE(exercise({{"type", "Vector"},
                          {"extension",
                           {{"type", "Arrow"}, {"startPoint", point(0, 0)}, {"endPoint", point(100, 0)},
                            {"toolArrowSize", kNaN}}}}));
}

TEST(MarqenDOMVectorNonFiniteInput, ArrowWithoutDirectionInADocumentlessClickStaysFinite) {
    auto arrow = MarqenDOMArrow::create();
    arrow->beginAtPoint({0, 0});
    arrow->endAtPoint({0, 0}, {}, 0);
    EXPECT_TRUE(std::isfinite(arrow->startPoint().x) && std::isfinite(arrow->startPoint().y));
    EXPECT_NEAR(std::hypot(arrow->startPoint().x, arrow->startPoint().y), 40, 1e-9);
}
