#include "interaction/pixelate.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "foundation/geometry_functions.h"

namespace marqen {

MarqenImageRef MarqenImageCreatePixelated(const MarqenImage &image, CGRect region, int blockSize, MarqenError *error) {
    CGRect bounds = CGRectMake(0, 0, image.width(), image.height());
    region = CGRectIntersection(CGRectIntegral(CGRectStandardize(region)), bounds);
    if (CGRectIsNull(region) || CGRectIsEmpty(region)) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorInvalidArgument,
                   "The region to pixelate misses the image.");
        return nullptr;
    }
    MarqenImageRef result = MarqenImage::createUninitialized(image.width(), image.height(), error);
    if (!result) return nullptr;
    std::memcpy(result->data(), image.data(), image.byteCount());
    blockSize = std::max(1, blockSize);
    const int left = static_cast<int>(region.origin.x), top = static_cast<int>(region.origin.y);
    const int right = left + static_cast<int>(region.size.width), bottom = top + static_cast<int>(region.size.height);
    for (int blockTop = top; blockTop < bottom; blockTop += blockSize) {
        const int blockBottom = std::min(bottom, blockTop + blockSize);
        for (int blockLeft = left; blockLeft < right; blockLeft += blockSize) {
            const int blockRight = std::min(right, blockLeft + blockSize);
            uint64_t sums[4] = {0, 0, 0, 0};
            for (int y = blockTop; y < blockBottom; ++y) {
                const uint32_t *row = image.row(y);
                for (int x = blockLeft; x < blockRight; ++x)
                    for (int channel = 0; channel < 4; ++channel) sums[channel] += (row[x] >> (8 * channel)) & 0xFF;
            }
            const uint64_t count = static_cast<uint64_t>(blockBottom - blockTop) * static_cast<uint64_t>(blockRight - blockLeft);
            uint32_t average = 0;
            // Rounded to the nearest; the premultiplied colour never exceeds its alpha, nor does its average.
            for (int channel = 0; channel < 4; ++channel)
                average |= static_cast<uint32_t>((sums[channel] + count / 2) / count) << (8 * channel);
            for (int y = blockTop; y < blockBottom; ++y) {
                uint32_t *row = result->row(y);
                std::fill(row + blockLeft, row + blockRight, average);
            }
        }
    }
    return result;
}

}  // namespace marqen
