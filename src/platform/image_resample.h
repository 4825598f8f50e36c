#pragma once
// Geometric operations on MarqenImage: high-quality resize and affine resampling, crop, and quarter
// turns. All work on the premultiplied pixels directly, so transparent edges do not bleed colour and
// opaque colours do not shift.
//
// Threads: safe on any thread (functions of their arguments; they split rows over workers).
#include "foundation/geometry.h"
#include "platform/image.h"

namespace marqen {

// Scales to exactly width × height with a Lanczos-3 kernel (separate horizontal and vertical factors).
MarqenImageRef MarqenImageResize(const MarqenImage &image, int width, int height, MarqenError *error = nullptr);

// Resamples through `transform` (input pixel coordinates to output pixel coordinates, CG convention
// x' = a·x + c·y + tx, y' = b·x + d·y + ty, pixel centres at +0.5) with bicubic interpolation. The
// result covers `outputArea` of the output plane (rounded outwards to whole pixels); everything the
// source does not reach is transparent. A singular transform is an error.
MarqenImageRef MarqenImageApplyAffineTransform(const MarqenImage &image, const CGAffineTransform &transform,
                                               CGRect outputArea, MarqenError *error = nullptr);

// The part of the image inside `rect` (in pixels, rounded outwards, clipped to the image); an error
// when nothing of the image is inside.
MarqenImageRef MarqenImageCrop(const MarqenImage &image, CGRect rect, MarqenError *error = nullptr);

// Turns by quarterTurns × 90° clockwise (any integer; negative turns anticlockwise). Exact.
MarqenImageRef MarqenImageRotateQuarterTurns(const MarqenImage &image, int quarterTurns, MarqenError *error = nullptr);

}  // namespace marqen
