#include <gtest/gtest.h>

#include <random>
#include <type_traits>

#include "foundation/svg_path/svg_path_commands.h"
#include "foundation/svg_path/svg_path_parser.h"
#include "foundation/svg_path/svg_path_scanner.h"
#include "foundation/svg_path/svg_path_writer.h"
#include "support/test_support.h"

namespace marqen {
void PrintTo(const MarqenBezierPath &path, std::ostream *os) { *os << BezierToSvg::pathDataFromCGPath(path); }
}  // namespace marqen

using namespace marqen;
using marqen::test::LogCapture;

namespace {

MarqenBezierPath parse(const std::string &text) { return marqen_bezierPathWithSVGString(text); }

// A path written as its steps in order: {'M', {x, y}}, {'L', {x, y}}, {'C', {x1, y1, x2, y2, x, y}}, {'Z', {}}.
struct Step {
    char letter;
    std::vector<CGFloat> n;
};
MarqenBezierPath pathOf(std::initializer_list<Step> steps) {
    MarqenBezierPath path;
    for (const auto &[letter, n] : steps) {
        if (letter == 'M') path.moveToPoint({n.at(0), n.at(1)});
        else if (letter == 'L') path.addLineToPoint({n.at(0), n.at(1)});
        else if (letter == 'C') path.addCurveToPoint({n.at(0), n.at(1)}, {n.at(2), n.at(3)}, {n.at(4), n.at(5)});
        else path.closeSubpath();
    }
    return path;
}

}  // namespace

TEST(SVGPathImport, SeparatorsDoNotMatterAndRelativeCommandsStartAtTheCurrentPoint) {
    EXPECT_EQ(parse("M0,0 L10,10"), parse("M0,0L10,10"));

    EXPECT_EQ(parse("M0,0 m10 10 l5 5"), pathOf({{'M', {0, 0}}, {'M', {10, 10}}, {'L', {15, 15}}}));
    EXPECT_EQ(parse("M1,2 h3 v4 H0 V0 z"),
              pathOf({{'M', {1, 2}}, {'L', {4, 2}}, {'L', {4, 6}}, {'L', {0, 6}}, {'L', {0, 0}}, {'Z', {}}}));
}

TEST(SVGPathImport, CurvesAndQuadraticsBecomeCubics) {
    EXPECT_EQ(parse("M1,1 c1,2 3,4 5,6"), pathOf({{'M', {1, 1}}, {'C', {2, 3, 4, 5, 6, 7}}}));
    // Both control points sit on the quadratic control point.
    const MarqenBezierPath quad = pathOf({{'M', {1, 1}}, {'C', {6, 11, 6, 11, 11, 1}}});
    EXPECT_EQ(parse("M1,1 Q6,11 11,1"), quad);
    EXPECT_EQ(parse("M1,1 q5,10 10,0"), quad);
}

TEST(SVGPathImport, SmoothCubicReflectsThePreviousSecondControlPoint) {
    EXPECT_EQ(parse("M0,0 C1,2 3,4 5,5 S9,8 10,10"),
              pathOf({{'M', {0, 0}}, {'C', {1, 2, 3, 4, 5, 5}}, {'C', {7, 6, 9, 8, 10, 10}}}));
    // Relative "c" from (1, 1): control 2 is (4, 5), the end (6, 6); the reflection is (8, 7).
    EXPECT_EQ(parse("M1,1 c1,2 3,4 5,5 s1,1 2,2"),
              pathOf({{'M', {1, 1}}, {'C', {2, 3, 4, 5, 6, 6}}, {'C', {8, 7, 7, 7, 8, 8}}}));
    // The first "s" has nothing to reflect; the second reflects the first one's relative control.
    EXPECT_EQ(parse("M0,0 s2,2 4,0 s2,-2 4,0"),
              pathOf({{'M', {0, 0}}, {'C', {0, 0, 2, 2, 4, 0}}, {'C', {6, -2, 6, -2, 8, 0}}}));
    EXPECT_EQ(parse("M0,0 L4,4 S6,8 10,10"), pathOf({{'M', {0, 0}}, {'L', {4, 4}}, {'C', {4, 4, 6, 8, 10, 10}}}));
}

TEST(SVGPathImport, SmoothQuadraticReflectsOnlyAQuadratic) {
    // After a "t" the current point is used.
    const MarqenBezierPath expected = pathOf(
        {{'M', {0, 0}}, {'C', {5, 10, 5, 10, 10, 0}}, {'C', {15, -10, 15, -10, 20, 0}}, {'C', {20, 0, 20, 0, 30, 0}}});
    EXPECT_EQ(parse("M0,0 Q5,10 10,0 T20,0 T30,0"), expected);
    EXPECT_EQ(parse("M0,0 q5,10 10,0 t10,0 t10,0"), expected);
}

TEST(SVGPathImport, OnlyTheFirstNumbersOfACommandAreUsed) {
    EXPECT_EQ(parse("M0,0 L1,1 2,2"), pathOf({{'M', {0, 0}}, {'L', {1, 1}}}));
}

TEST(SVGPathImport, NumbersAreReadInSinglePrecisionWithoutExponents) {
    MarqenBezierPath path = parse("M16777217,0.1");
    EXPECT_EQ(path.currentPoint().x, 16777216.0);
    EXPECT_EQ(path.currentPoint().y, static_cast<double>(0.1f));

    EXPECT_EQ(SVGNumbersInString("M1.2.3,4"), (std::vector<CGFloat>{1.2f, 0.3f, 4}));
    EXPECT_EQ(SVGNumbersInString("-.5+.5 5. +-7"), (std::vector<CGFloat>{-0.5, 0.5, 5, -7}));
    EXPECT_EQ(SVGNumbersInString("- . +"), std::vector<CGFloat>{});
    EXPECT_EQ(SVGParseSinglePrecisionNumber(std::string(60, '9')), std::numeric_limits<float>::infinity());
    EXPECT_EQ(SVGParseSinglePrecisionNumber("-" + std::string(400, '9')), -std::numeric_limits<float>::infinity());
    EXPECT_EQ(SVGParseSinglePrecisionNumber("0." + std::string(400, '0') + "1"), 0.0f);

    LogCapture log;
    EXPECT_EQ(parse("M0,0 L1e-5,2"), pathOf({{'M', {0, 0}}}));
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"Error with SVG: Missing numbers in command L1",
                                                     "Error with SVG: Unknown command e-5,2"}));
}

TEST(SVGPathImport, BadCommandsAreLoggedAndSkipped) {
    LogCapture log;
    const MarqenBezierPath expected = pathOf({{'M', {0, 0}}, {'L', {1, 1}}});
    EXPECT_EQ(parse("M0,0 A5,5 0 0 1 10,10 L1,1"), expected);
    EXPECT_EQ(parse("M0,0 C1,2 3,4 L1,1"), expected);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"Error with SVG: Unknown command A5,5 0 0 1 10,10 ",
                                                     "Error with SVG: Missing numbers in command C1,2 3,4 "}));

    // The skipped command still counts as the previous one: the "s" reflects nothing.
    EXPECT_EQ(parse("M0,0 C1,2 3,4 5,5 X S6,6 7,7"),
              pathOf({{'M', {0, 0}}, {'C', {1, 2, 3, 4, 5, 5}}, {'C', {5, 5, 6, 6, 7, 7}}}));
    // A broken "c" before an "s" cannot be reflected either.
    EXPECT_EQ(parse("M0,0 C1,2 S3,3 4,4"), pathOf({{'M', {0, 0}}, {'C', {0, 0, 3, 3, 4, 4}}}));

    MarqenBezierPath untouched;
    processCommandString("", "", untouched);
    EXPECT_TRUE(untouched.isEmpty());
    EXPECT_EQ(log.lines().back(), "Error with SVG: Invalid command ");
}

TEST(SVGPathImport, AddsToAnExistingPath) {
    MarqenBezierPath path;
    path.moveToPoint({3, 3});
    EXPECT_EQ(&addPathWithSVGString("l2,0", path), &path);
    EXPECT_EQ(path.currentPoint(), (CGPoint{5, 3}));
    EXPECT_EQ(path.elementCount(), 2u);
    EXPECT_EQ(&addPathWithSVGString("", path), &path);
    EXPECT_EQ(path.elementCount(), 2u);
}

TEST(SVGPathImport, ReadsBackWhatTheWriterWrote) {
    const MarqenBezierPath path = pathOf({{'M', {10.5, -20.25}}, {'L', {30, 40}}, {'C', {1, 2, 3, 4, 5, 6}}, {'Z', {}}});
    EXPECT_EQ(parse(BezierToSvg::pathDataFromCGPath(path)), path);
}

TEST(SVGCommandFactory, SharesOneCommandPerLetter) {
    SVGCommandFactory &factory = SVGCommandFactory::defaultFactory();
    EXPECT_EQ(&factory, &SVGCommandFactory::defaultFactory());
    EXPECT_EQ(factory.commandForCommandLetter('C'), factory.commandForCommandLetter('c'));
    EXPECT_NE(dynamic_cast<SVGSmoothQuadraticCurveToCommand *>(factory.commandForCommandLetter('T')), nullptr);
    EXPECT_EQ(factory.commandForCommandLetter('a'), nullptr);
    EXPECT_EQ(factory.commandForCommandLetter('e'), nullptr);
    // Every command class performs its own letter: the base cannot be made.
    static_assert(std::is_abstract_v<SVGCommandImpl>);
}

TEST(SVGPathImport, AnyBytesAreSafe) {
    LogCapture log;  // keeps the many error lines out of the output
    std::mt19937 random(7);
    const std::string alphabet = "MmLlHhVvCcSsQqTtZzAe0123456789.,+- \n";
    for (int round = 0; round < 2000; ++round) {
        std::string text(random() % 64, '\0');
        for (char &c : text)
            c = (round % 2) ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
        MarqenBezierPath path = parse(text);
        for (const MarqenPathElement &element : path.elements()) EXPECT_LE(element.pointCount(), 3);
    }
    EXPECT_EQ(parse(std::string(100000, '9')).elementCount(), 0u);
    EXPECT_EQ(parse("M" + std::string(100000, '.')).elementCount(), 0u);
}
