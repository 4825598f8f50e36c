#pragma once
// The five absolute tool sizes that an element kind offers for the relative sizes 0.2, 0.4, 0.6, 0.8 and 1.0.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <array>

#include "../export.h"
#include "../foundation/geometry.h"

namespace marqen {

struct MARQEN_EXPORT MarqenToolSizeSteps {
    // In document units at a content scale and an absolute scale of 1.
    std::array<CGFloat, 5> absoluteSizes;

    // The step of the smallest relative size not below `relative` (each bound allows about 2.3e-16 of rounding;
    // anything above 0.8 takes the last step), times both scales.
    CGFloat absoluteForRelative(CGFloat relative, CGFloat absoluteScale, CGFloat contentScaleFactor) const;
    // The smallest relative size whose step the absolute size, divided by both scales, passes by at most 0.01;
    // 1.0 when it passes the first four.
    CGFloat relativeForAbsolute(CGFloat absolute, CGFloat absoluteScale, CGFloat contentScaleFactor) const;
};

}  // namespace marqen
