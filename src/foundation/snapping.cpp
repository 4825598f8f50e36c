#include "foundation/snapping.h"

#include <algorithm>
#include <cmath>

namespace marqen {

CGPoint MarqenSnapEndpointAt45Degrees(CGPoint start, CGPoint end) {
    CGFloat dx = std::fabs(end.x - start.x), dy = std::fabs(end.y - start.y);
    if (dx > 2 * dy) return {end.x, start.y};
    if (dy > 2 * dx) return {start.x, end.y};
    if (dx > dy) return {end.x, end.y > start.y ? start.y + dx : start.y - dx};
    return {end.x > start.x ? start.x + dy : start.x - dy, end.y};
}

namespace {

constexpr CGFloat kSnapTolerance = 0.0873;
constexpr CGFloat kAngleClamp = 300;

bool isNear(CGFloat theta, CGFloat target) { return theta >= target - kSnapTolerance && theta <= target + kSnapTolerance; }

// start + length·(cos direction, sin direction): the trigonometric form keeps the tiny cross
// components (such as length × sin 2π) that callers see.
CGPoint pointAlong(CGPoint start, CGFloat length, CGFloat direction) {
    return {start.x + length * std::cos(direction), start.y + length * std::sin(direction)};
}

}  // namespace

CGPoint MarqenSnapEndpointNear90Degrees(CGPoint start, CGPoint end) {
    CGFloat dx = end.x - start.x, dy = end.y - start.y;
    CGFloat length = std::sqrt(dx * dx + dy * dy);
    // The horizontal delta goes first on purpose: theta is measured from the +y axis.
    CGFloat theta = std::atan2(std::clamp(dx, -kAngleClamp, kAngleClamp), std::clamp(dy, -kAngleClamp, kAngleClamp));
    if (theta <= 0) theta += 2 * M_PI;

    if (isNear(theta, M_PI / 2)) return pointAlong(start, length, 2 * M_PI);
    if (isNear(theta, M_PI)) return pointAlong(start, length, 3 * M_PI / 2);
    if (isNear(theta, 3 * M_PI / 2)) return pointAlong(start, length, M_PI);
    if (isNear(theta, 2 * M_PI)) return pointAlong(start, length, M_PI / 2);
    return end;
}

}  // namespace marqen
