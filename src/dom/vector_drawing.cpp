#include "dom/vector_drawing.h"

#include <cmath>

namespace marqen {

CGPoint squareEndPointFromStart(CGPoint start, CGPoint end) {
    CGFloat dx = end.x - start.x, dy = end.y - start.y;
    auto sign = [](CGFloat value) { return value < 0 ? -1.0 : 1.0; };
    if (std::fabs(dx) > std::fabs(dy)) return {start.x + sign(dx) * std::fabs(dy), end.y};
    return {end.x, start.y + sign(dy) * std::fabs(dx)};
}

}  // namespace marqen
