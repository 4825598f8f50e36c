#include "foundation/svg_path/svg_path_writer.h"

#include <charconv>

namespace marqen {

namespace {

// Appends the number as "%.3f" writes it (the largest double takes 309 digits before the point).
void appendNumber(std::string &text, CGFloat value) {
    char digits[330];
    std::to_chars_result written = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, 3);
    text.append(digits, written.ptr);
}

void appendPoint(std::string &text, CGPoint p) {
    appendNumber(text, p.x);
    text += ',';
    appendNumber(text, p.y);
}

std::string pointText(CGPoint p) {
    std::string text;
    appendPoint(text, p);
    return text;
}

char commandLetter(MarqenPathElementType type) {
    switch (type) {
        case MarqenPathElementType::MoveToPoint: return 'M';
        case MarqenPathElementType::AddLineToPoint: return 'L';
        case MarqenPathElementType::AddQuadCurveToPoint: return 'Q';
        case MarqenPathElementType::AddCurveToPoint: return 'C';
        case MarqenPathElementType::CloseSubpath: return 'Z';
    }
    return '\0';
}

}  // namespace

SVGPathCommand SVGPathCommand::commandWithElement(const MarqenPathElement &element) {
    SVGPathCommand command;
    char letter = commandLetter(element.type);
    if (!letter) return command;  // unknown type: no letter, no points, not valid
    command.command = std::string(1, letter);
    for (int i = 0; i < element.pointCount(); ++i) command.points.push_back(pointText(element.points[i]));
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
    std::string data;
    data.reserve(path.elementCount() * 48);
    for (const MarqenPathElement &element : path.elements()) {
        data += commandLetter(element.type);
        for (int i = 0; i < element.pointCount(); ++i) {
            if (i > 0) data += ',';
            appendPoint(data, element.points[i]);
        }
    }
    return data;
}

std::string BezierToSvg::pathDataFromElements(const std::vector<MarqenPathElement> &elements) {
    SVGPath svgPath;
    for (const MarqenPathElement &element : elements) svgPath.addElement(element);
    if (!svgPath.isValidForOutput) throw BezierToSvgException();
    return svgPath.pathData();
}

}  // namespace marqen
