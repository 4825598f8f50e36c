#pragma once
// Writes a path as SVG path data: absolute "M", "L", "Q", "C" and "Z" commands, three decimals, no spaces.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/bezier_path.h"

namespace marqen {

// One command of the data being written: its letter and the "%.3f,%.3f" text of each of its points.
struct SVGPathCommand {
    std::string command;
    std::vector<std::string> points;
    bool isValidForOutput = false;

    static SVGPathCommand commandWithElement(const MarqenPathElement &element);
};

struct SVGPath {
    std::vector<SVGPathCommand> commands;
    bool isValidForOutput = true;

    // Adds the element's command; the path's validity follows the element added last.
    void addElement(const MarqenPathElement &element);
    std::string pathData() const;
};

// Raised for a path element of a type the writer does not know.
class BezierToSvgException : public std::runtime_error {
public:
    BezierToSvgException();
    static constexpr const char *kName = "BezierToSvg Error";
    static constexpr const char *kReason = "could not export svg from cgpath";
    const char *name() const { return kName; }
};

class BezierToSvg {
public:
    // The path's elements as SVG path data; an empty path gives "". A path holds only the five element
    // types the writer knows, so this never raises; it writes straight into one string.
    static std::string pathDataFromCGPath(const MarqenBezierPath &path);
    // The same text for elements from elsewhere, built through SVGPath: raises BezierToSvgException when
    // the last element is of a type the writer does not know (an unknown one before it writes nothing).
    static std::string pathDataFromElements(const std::vector<MarqenPathElement> &elements);
};

}  // namespace marqen
