#include <gtest/gtest.h>

#include "foundation/svg_path/svg_path_writer.h"

using namespace marqen;

TEST(BezierToSvg, WritesAbsoluteCommandsWithThreeDecimalsAndNoSpaces) {
    EXPECT_EQ(BezierToSvg::pathDataFromCGPath(MarqenBezierPath()), "");

    MarqenBezierPath path;
    path.moveToPoint({10, 20});
    path.addLineToPoint({30.5, 40});
    path.closeSubpath();
    EXPECT_EQ(BezierToSvg::pathDataFromCGPath(path), "M10.000,20.000L30.500,40.000Z");

    MarqenBezierPath curves;
    curves.moveToPoint({-1.25, 0.0004});
    curves.addQuadCurveToPoint({1, 2}, {3, 4});
    curves.addCurveToPoint({5.1234, 6}, {7, -8.5}, {9, 10});
    EXPECT_EQ(BezierToSvg::pathDataFromCGPath(curves),
              "M-1.250,0.000Q1.000,2.000,3.000,4.000C5.123,6.000,7.000,-8.500,9.000,10.000");
}

TEST(BezierToSvg, HugeCoordinatesAreWrittenInFull) {
    MarqenBezierPath path;
    path.moveToPoint({-1e300, 0.5});
    std::string data = BezierToSvg::pathDataFromCGPath(path);
    EXPECT_EQ(data.size(), 1 + 1 + 301 + 4 + 1 + 5u);
    EXPECT_EQ(data.substr(0, 3), "M-1");
    EXPECT_EQ(data.substr(data.size() - 11), "0.000,0.500");
}

TEST(BezierToSvg, UnknownElementAsLastElementRaises) {
    MarqenPathElement move{MarqenPathElementType::MoveToPoint, {{1, 2}, {}, {}}};
    MarqenPathElement unknown{static_cast<MarqenPathElementType>(42), {{3, 4}, {}, {}}};
    try {
        BezierToSvg::pathDataFromElements({move, unknown});
        FAIL() << "expected an exception";
    } catch (const BezierToSvgException &exception) {
        EXPECT_STREQ(exception.name(), "BezierToSvg Error");
        EXPECT_STREQ(exception.what(), "could not export svg from cgpath");
    }
}

TEST(BezierToSvg, OnlyTheLastElementDecidesValidity) {
    MarqenPathElement move{MarqenPathElementType::MoveToPoint, {{1, 2}, {}, {}}};
    MarqenPathElement unknown{static_cast<MarqenPathElementType>(42), {{3, 4}, {}, {}}};
    MarqenPathElement line{MarqenPathElementType::AddLineToPoint, {{5, 6}, {}, {}}};
    // The unknown element writes nothing, and a valid element after it makes the whole path valid.
    EXPECT_EQ(BezierToSvg::pathDataFromElements({move, unknown, line}), "M1.000,2.000L5.000,6.000");

    SVGPath svgPath;
    svgPath.addElement(unknown);
    EXPECT_FALSE(svgPath.isValidForOutput);
    EXPECT_TRUE(svgPath.commands.back().command.empty());
    EXPECT_TRUE(svgPath.commands.back().points.empty());
    svgPath.addElement(line);
    EXPECT_TRUE(svgPath.isValidForOutput);
}

TEST(SVGPathCommand, HoldsOnePointTextPerElementPoint) {
    SVGPathCommand command =
        SVGPathCommand::commandWithElement({MarqenPathElementType::AddCurveToPoint, {{1, 2}, {3, 4}, {5, 6}}});
    EXPECT_EQ(command.command, "C");
    EXPECT_EQ(command.points, (std::vector<std::string>{"1.000,2.000", "3.000,4.000", "5.000,6.000"}));
    EXPECT_TRUE(command.isValidForOutput);
}
