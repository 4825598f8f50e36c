#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <random>

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

TEST(BezierToSvg, OnlyTheLastElementDecidesValidityAndAnUnknownOneThereRaises) {
    MarqenPathElement move{MarqenPathElementType::MoveToPoint, {{1, 2}, {}, {}}};
    MarqenPathElement unknown{static_cast<MarqenPathElementType>(42), {{3, 4}, {}, {}}};
    MarqenPathElement line{MarqenPathElementType::AddLineToPoint, {{5, 6}, {}, {}}};
    try {
        BezierToSvg::pathDataFromElements({move, unknown});
        FAIL() << "expected an exception";
    } catch (const BezierToSvgException &exception) {
        EXPECT_STREQ(exception.name(), "BezierToSvg Error");
        EXPECT_STREQ(exception.what(), "could not export svg from cgpath");
    }
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

namespace {

// What "%.3f" writes, measured first: a large coordinate takes hundreds of digits.
std::string printfText(double value) {
    int length = std::snprintf(nullptr, 0, "%.3f", value);
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), "%.3f", value);
    text.pop_back();
    return text;
}

}  // namespace

TEST(BezierToSvg, NumbersAreWrittenAsPrintfWritesThemWithThreeDecimals) {
    std::mt19937_64 random(11);
    std::vector<double> values = {0.0,    -0.0,     0.0005,  -0.0005, 0.0015,  2.5e-4, 1e300, -1e300,
                                  1e-300, 123.4565, 999.9995, -0.0004, 1.0 / 3, 1e15,   DBL_MAX, -DBL_MAX,
                                  DBL_MIN, std::nan(""), INFINITY, -INFINITY};
    for (int i = 0; i < 2000; ++i) {
        values.push_back(std::ldexp(static_cast<double>(random() % 2000000) - 1000000, static_cast<int>(random() % 40) - 30));
    }
    MarqenBezierPath path;
    std::string expected;
    for (size_t i = 0; i + 5 < values.size(); i += 6) {
        // One element of each kind in turn, so every letter and point count appears.
        CGPoint a{values[i], values[i + 1]}, b{values[i + 2], values[i + 3]}, c{values[i + 4], values[i + 5]};
        auto text = [](CGPoint p) { return printfText(p.x) + "," + printfText(p.y); };
        switch ((i / 6) % 5) {
            case 0: path.moveToPoint(a), expected += "M" + text(a); break;
            case 1: path.addLineToPoint(a), expected += "L" + text(a); break;
            case 2: path.addQuadCurveToPoint(a, b), expected += "Q" + text(a) + "," + text(b); break;
            case 3: path.addCurveToPoint(a, b, c), expected += "C" + text(a) + "," + text(b) + "," + text(c); break;
            default: path.closeSubpath(), expected += "Z"; break;
        }
    }
    EXPECT_EQ(BezierToSvg::pathDataFromCGPath(path), expected);
    // The path writer and the element writer agree to the byte.
    EXPECT_EQ(BezierToSvg::pathDataFromElements(path.elements()), expected);
}
