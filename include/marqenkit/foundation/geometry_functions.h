#pragma once
// Rectangle, size and transform arithmetic built on the CG value types: centring, aspect-ratio
// fitting and rotation about a frame's centre.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include "../export.h"
#include "geometry.h"

namespace marqen {

// The rectangle of `size` centred on `center`, grown to integer edges (CGRectIntegral).
MARQEN_EXPORT CGRect CGRectMakeWithSizeAndCenter(CGSize size, CGPoint center);

// The largest rectangle of width/height ratio `aspect` centred in `rect`. A wide aspect (> 1) always
// takes the full width, even when the resulting height overflows the rectangle; narrower aspects
// are limited on both sides.
MARQEN_EXPORT CGRect CGRectNormalizeWithAspect(CGRect rect, CGFloat aspect);

// The factor that fits `size` into `bounds` keeping its aspect ratio; 1 for a size with a zero side.
// Small sizes get a factor above 1.
MARQEN_EXPORT CGFloat CGSizeGetAspectFitScale(CGSize size, CGSize bounds);
MARQEN_EXPORT CGSize CGSizeScaleAspectFit(CGSize size, CGSize bounds);

// A rotation by `angle` radians about the centre of a frame of the given size. The frame's origin
// is ignored: the transform works on coordinates local to the frame.
MARQEN_EXPORT CGAffineTransform CGAffineTransformRotateAroundCenterOfFrame(CGFloat angle, CGRect frame);

// `rect` moved so that its centre is the centre of `anchor`; its size is unchanged.
MARQEN_EXPORT CGRect MarqenRectAlignMidpoint(CGRect anchor, CGRect rect);

}  // namespace marqen
