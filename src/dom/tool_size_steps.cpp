#include "dom/tool_size_steps.h"

namespace marqen {

namespace {

constexpr std::array<CGFloat, 5> kRelativeSizes{0.2, 0.4, 0.6, 0.8, 1.0};
constexpr CGFloat kRelativeBoundSlack = 2.3e-16;
constexpr CGFloat kAbsoluteTolerance = 0.01;

}  // namespace

CGFloat MarqenToolSizeSteps::absoluteForRelative(CGFloat relative, CGFloat absoluteScale,
                                                 CGFloat contentScaleFactor) const {
    size_t step = 0;
    // Written so that a NaN falls through to the last step.
    while (step + 1 < absoluteSizes.size() && !(relative <= kRelativeSizes[step] + kRelativeBoundSlack)) ++step;
    return absoluteSizes[step] * contentScaleFactor * absoluteScale;
}

CGFloat MarqenToolSizeSteps::relativeForAbsolute(CGFloat absolute, CGFloat absoluteScale,
                                                 CGFloat contentScaleFactor) const {
    CGFloat v = absolute / contentScaleFactor / absoluteScale;
    for (size_t step = 0; step + 1 < absoluteSizes.size(); ++step)
        if (v - absoluteSizes[step] <= kAbsoluteTolerance) return kRelativeSizes[step];
    return kRelativeSizes.back();
}

}  // namespace marqen
