#pragma once
// Pixel work behind the bitmap element: drawing one image into another through a transform (for
// merges and resampling).
//
// Threads: functions of their arguments; safe on any thread.
#include "foundation/geometry.h"
#include "platform/image.h"

namespace marqen {

// Composites source over destination (premultiplied source-over), both of one size.
void MarqenImageCompositeOver(MarqenImage &destination, const MarqenImage &source);

// Draws the source pixels inside sourceRect over the destination, mapped onto destinationRect (both in
// pixels). An integral, unscaled placement copies exactly; anything else is resampled (Lanczos for a
// pure scale, bicubic otherwise). False with *error when resampling fails.
bool MarqenImageDrawImageInRect(MarqenImage &destination, const MarqenImage &source, CGRect sourceRect,
                                CGRect destinationRect, MarqenError *error = nullptr);

}  // namespace marqen
