#include <gtest/gtest.h>

#include "dom/arrow.h"
#include "dom/ellipse.h"
#include "dom/line.h"
#include "dom/node_class.h"
#include "dom/rectangle.h"

using namespace marqen;

namespace {

std::string classOf(const MarqenJSON &dictionary) {
    auto node = MarqenDOMNode::nodeWithDictionary(dictionary);
    return node ? node->className() : "(none)";
}

}  // namespace

TEST(MarqenDOMVectorTypes, PathsResolveToTheirClasses) {
    EXPECT_EQ(classOf({{"type", "Vector"}}), "MarqenDOMVector");
    EXPECT_EQ(classOf({{"type", "Vector"}, {"extension", {{"type", "Ellipse"}}}}), "MarqenDOMEllipse");
    EXPECT_EQ(classOf({{"type", "Vector"}, {"extension", {{"type", "Line"}}}}), "MarqenDOMLine");
    EXPECT_EQ(classOf({{"type", "Vector"}, {"extension", {{"type", "Arrow"}}}}), "MarqenDOMArrow");
    EXPECT_EQ(classOf({{"type", "Vector"}, {"extension", {{"type", "Polygon"}}}}), "MarqenDOMPolygon");
    EXPECT_EQ(classOf({{"type", "Vector"},
                       {"extension", {{"type", "Polygon"}, {"extension", {{"type", "Rectangle"}}}}}}),
              "MarqenDOMRectangle");
    EXPECT_EQ(classOf({{"type", "Vector"}, {"extension", {{"type", "Star"}}}}), "MarqenDOMVector");
    EXPECT_EQ(classOf({{"type", "Vector"}, {"extension", {{"type", "Rectangle"}}}}), "MarqenDOMVector");
    EXPECT_EQ(classOf({{"type", "com.brondale.marqen.element.type.vector"}, {"extension", {{"type", "Line"}}}}),
              "MarqenDOMVector");
    EXPECT_EQ(classOf({{"type", "Polygon"}}), "(none)");
}

TEST(MarqenDOMVectorTypes, JsonTypeAndPathOfEachClass) {
    EXPECT_EQ(MarqenDOMRectangle::create()->jsonType(), "Vector");
    EXPECT_EQ(MarqenDOMRectangle::create()->jsonTypePath(), "Vector.Polygon.Rectangle");
    EXPECT_EQ(MarqenDOMArrow::create()->jsonTypePath(), "Vector.Arrow");
    EXPECT_EQ(MarqenDOMEllipse::create()->jsonTypePath(), "Vector.Ellipse");
    EXPECT_TRUE(MarqenDOMRectangle::create()->isKindOfClass("MarqenDOMVector"));
    EXPECT_FALSE(MarqenDOMArrow::create()->isKindOfClass("MarqenDOMLine"));
}

TEST(MarqenDOMVectorTypes, ArrowAndLineAreAskedFirst) {
    const auto &early = MarqenDOMNodeEarlyClasses();
    ASSERT_EQ(early.size(), 2u);
    EXPECT_EQ(early[0], &MarqenDOMArrow::classDescriptor());
    EXPECT_EQ(early[1], &MarqenDOMLine::classDescriptor());
    MarqenJSON marked{{"type", "Vector"},
                      {"extension", {{"type", "Ellipse"}}},
                      {"metadata", {{"com.brondale.marqen.editor", "com.brondale.marqen.editor.type.arrow"}}}};
    EXPECT_EQ(classOf(marked), "MarqenDOMArrow");
    marked["metadata"]["com.brondale.marqen.editor"] = "com.brondale.marqen.editor.type.line";
    EXPECT_EQ(classOf(marked), "MarqenDOMLine");
    marked["metadata"]["com.brondale.marqen.editor"] = "something else";
    EXPECT_EQ(classOf(marked), "MarqenDOMEllipse");
    marked["metadata"] = "not a dictionary";
    EXPECT_EQ(classOf(marked), "MarqenDOMEllipse");
}
