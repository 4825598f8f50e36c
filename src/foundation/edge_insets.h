#pragma once
// Insets from the four edges of a rectangle.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "foundation/geometry.h"

namespace marqen {

struct MarqenEdgeInsets {
    CGFloat top = 0, left = 0, bottom = 0, right = 0;
    friend bool operator==(const MarqenEdgeInsets &, const MarqenEdgeInsets &) = default;
};

// The type encoding that boxed edge insets carry in generic value containers.
inline constexpr const char *kMarqenEdgeInsetsTypeEncoding = "{NSEdgeInsets=dddd}";

inline constexpr MarqenEdgeInsets MarqenEdgeInsetsMake(CGFloat top, CGFloat left, CGFloat bottom, CGFloat right) {
    return {top, left, bottom, right};
}

// (x + left, y + top, width − (left + right), height − (top + bottom)); negative insets grow the rectangle.
CGRect MarqenEdgeInsetsInsetRect(CGRect rect, MarqenEdgeInsets insets);

}  // namespace marqen
