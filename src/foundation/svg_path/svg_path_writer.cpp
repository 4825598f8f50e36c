#include "foundation/svg_path/svg_path_writer.h"

#include <algorithm>
#include <cstdio>

namespace marqen {

namespace {

std::string pointText(CGPoint p) {
    // Fixed notation of a large double runs to hundreds of digits: measure first.
    int length = std::snprintf(nullptr, 0, "%.3f,%.3f", p.x, p.y);
    std::string text(static_cast<size_t>(std::max(length, 0)) + 1, '\0');
    std::snprintf(text.data(), text.size(), "%.3f,%.3f", p.x, p.y);
    text.pop_back();
    return text;
}

}  // namespace

SVGPathCommand SVGPathCommand::commandWithElement(const MarqenPathElement &element) {
    SVGPathCommand command;
    int count = 0;
    switch (element.type) {
        case MarqenPathElementType::MoveToPoint: command.command = "M", count = 1; break;
        case MarqenPathElementType::AddLineToPoint: command.command = "L", count = 1; break;
        case MarqenPathElementType::AddQuadCurveToPoint: command.command = "Q", count = 2; break;
        case MarqenPathElementType::AddCurveToPoint: command.command = "C", count = 3; break;
        case MarqenPathElementType::CloseSubpath: command.command = "Z", count = 0; break;
        default: return command;  // unknown type: no letter, no points, not valid
    }
    for (int i = 0; i < count; ++i) command.points.push_back(pointText(element.points[i]));
    command.isValidForOutput = true;
    return command;
}

void SVGPath::addElement(const MarqenPathElement &element) {
    commands.push_back(SVGPathCommand::commandWithElement(element));
    isValidForOutput = commands.back().isValidForOutput;
}

std::string SVGPath::pathData() const {
    std::string data;
    for (const SVGPathCommand &command : commands) {
        data += command.command;
        for (size_t i = 0; i < command.points.size(); ++i) {
            if (i > 0) data += ',';
            data += command.points[i];
        }
    }
    return data;
}

BezierToSvgException::BezierToSvgException() : std::runtime_error(kReason) {}

std::string BezierToSvg::pathDataFromCGPath(const MarqenBezierPath &path) {
    return pathDataFromElements(path.elements());
}

std::string BezierToSvg::pathDataFromElements(const std::vector<MarqenPathElement> &elements) {
    SVGPath svgPath;
    for (const MarqenPathElement &element : elements) svgPath.addElement(element);
    if (!svgPath.isValidForOutput) throw BezierToSvgException();
    return svgPath.pathData();
}

}  // namespace marqen
