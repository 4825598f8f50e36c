#include <cmath>

#include "formats/legacy_svg/svg_import_scanner.h"
#include "formats/legacy_svg_import.h"

namespace marqen {

namespace {

std::optional<CGPoint> scanPoint(SvgImportScanner &scanner) {
    auto x = scanner.scanDouble();
    if (!x || !std::isfinite(*x)) return std::nullopt;
    auto y = scanner.scanDouble();
    if (!y || !std::isfinite(*y)) return std::nullopt;
    return CGPoint{*x, *y};
}

}  // namespace

std::optional<MarqenBezierPath> svgImport_bezierPathFromSVGPathNodeDAttr(const std::string &d) {
    MarqenBezierPath path;
    SvgImportScanner scanner(d);
    if (scanner.atEnd()) return path;
    for (;;) {
        // Each group opens with a move.
        if (!scanner.scanString("M")) return std::nullopt;
        auto start = scanPoint(scanner);
        if (!start) return std::nullopt;
        path.moveToPoint(*start);
        bool groupEnded = false;
        while (!groupEnded) {
            if (scanner.atEnd()) return path;
            auto letter = scanner.scanCharacter();
            if (letter == 'C') {
                auto control1 = scanPoint(scanner);
                if (!control1) return std::nullopt;
                auto control2 = scanPoint(scanner);
                if (!control2) return std::nullopt;
                auto end = scanPoint(scanner);
                if (!end) return std::nullopt;
                path.addCurveToPoint(*control1, *control2, *end);
            } else if (letter == 'z') {
                // Only a separator: the old writer's shapes were filled, never closed explicitly.
                groupEnded = true;
            } else {
                return std::nullopt;
            }
        }
        if (scanner.atEnd()) return path;
    }
}

}  // namespace marqen
