#pragma once
// The pixel work of the pixelate tool: blocks of one average colour over a region of an image.
// Pure function over immutable inputs; any thread.
#include "foundation/error.h"
#include "foundation/geometry.h"
#include "platform/image.h"

namespace marqen {

// A copy of image in which the pixels inside region (image pixels, cut to the image and widened to whole
// pixels) are replaced by square blocks of blockSize pixels, laid from the region's top left corner, each
// filled with the average of its own pixels (premultiplied, so transparent pixels add no colour); blocks
// at the region's right and bottom edges are cut short. Null (with the reason) when the region misses the
// image or the copy cannot be made.
MarqenImageRef MarqenImageCreatePixelated(const MarqenImage &image, CGRect region, int blockSize,
                                          MarqenError *error = nullptr);

}  // namespace marqen
