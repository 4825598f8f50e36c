#include "dom/bitmap_pixels.h"

#include <cmath>
#include <vector>

#include "platform/image_resample.h"

namespace marqen {

namespace {

uint32_t over(uint32_t source, uint32_t destination) {
    uint32_t alpha = source >> 24;
    if (alpha == 255) return source;
    if (alpha == 0) return destination;
    uint32_t inverse = 255 - alpha;
    uint32_t result = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        uint32_t s = (source >> shift) & 0xFF, d = (destination >> shift) & 0xFF;
        uint32_t value = s + (d * inverse + 127) / 255;
        result |= std::min<uint32_t>(255, value) << shift;
    }
    return result;
}

bool isIntegral(CGFloat value) { return std::fabs(value - std::round(value)) < 1e-9; }

}  // namespace

void MarqenImageCompositeOver(MarqenImage &destination, const MarqenImage &source) {
    int width = std::min(destination.width(), source.width());
    int height = std::min(destination.height(), source.height());
    for (int y = 0; y < height; ++y) {
        uint32_t *d = destination.row(y);
        const uint32_t *s = source.row(y);
        for (int x = 0; x < width; ++x) d[x] = over(s[x], d[x]);
    }
}

bool MarqenImageDrawImageInRect(MarqenImage &destination, const MarqenImage &source, CGRect sourceRect,
                                CGRect destinationRect, MarqenError *error) {
    sourceRect = CGRectStandardize(sourceRect);
    destinationRect = CGRectStandardize(destinationRect);
    if (CGRectIsEmpty(sourceRect) || CGRectIsEmpty(destinationRect)) return true;
    CGFloat sx = destinationRect.size.width / sourceRect.size.width;
    CGFloat sy = destinationRect.size.height / sourceRect.size.height;
    CGFloat tx = destinationRect.origin.x - sourceRect.origin.x * sx;
    CGFloat ty = destinationRect.origin.y - sourceRect.origin.y * sy;
    bool exact = std::fabs(sx - 1) < 1e-9 && std::fabs(sy - 1) < 1e-9 && isIntegral(tx) && isIntegral(ty) &&
                 isIntegral(sourceRect.origin.x) && isIntegral(sourceRect.origin.y) &&
                 isIntegral(sourceRect.size.width) && isIntegral(sourceRect.size.height);
    if (exact) {
        int dx = static_cast<int>(std::lround(tx)), dy = static_cast<int>(std::lround(ty));
        int x0 = static_cast<int>(std::lround(sourceRect.origin.x)), y0 = static_cast<int>(std::lround(sourceRect.origin.y));
        int x1 = x0 + static_cast<int>(std::lround(sourceRect.size.width));
        int y1 = y0 + static_cast<int>(std::lround(sourceRect.size.height));
        for (int y = std::max(0, y0); y < std::min(source.height(), y1); ++y) {
            int ty2 = y + dy;
            if (ty2 < 0 || ty2 >= destination.height()) continue;
            const uint32_t *s = source.row(y);
            uint32_t *d = destination.row(ty2);
            for (int x = std::max(0, x0); x < std::min(source.width(), x1); ++x) {
                int tx2 = x + dx;
                if (tx2 >= 0 && tx2 < destination.width()) d[tx2] = over(s[x], d[tx2]);
            }
        }
        return true;
    }
    // Resample only the visible part of the source.
    MarqenImageRef part = MarqenImageCrop(source, sourceRect, error);
    if (!part) return false;
    bool integralTarget = isIntegral(destinationRect.origin.x) && isIntegral(destinationRect.origin.y) &&
                          isIntegral(destinationRect.size.width) && isIntegral(destinationRect.size.height);
    if (integralTarget && part->width() == static_cast<int>(std::lround(sourceRect.size.width)) &&
        part->height() == static_cast<int>(std::lround(sourceRect.size.height))) {
        // A pure scale between whole pixels: the high-quality resize, then an exact placement.
        MarqenImageRef resized = MarqenImageResize(*part, static_cast<int>(std::lround(destinationRect.size.width)),
                                                   static_cast<int>(std::lround(destinationRect.size.height)), error);
        if (!resized) return false;
        CGRect whole = CGRectMake(0, 0, resized->width(), resized->height());
        return MarqenImageDrawImageInRect(destination, *resized, whole, CGRectOffset(whole, destinationRect.origin.x,
                                                                                    destinationRect.origin.y), error);
    }
    CGRect cropped = CGRectIntersection(CGRectIntegral(sourceRect), CGRectMake(0, 0, source.width(), source.height()));
    CGAffineTransform t = CGAffineTransformMake(sx, 0, 0, sy, destinationRect.origin.x + (cropped.origin.x - sourceRect.origin.x) * sx,
                                                destinationRect.origin.y + (cropped.origin.y - sourceRect.origin.y) * sy);
    MarqenImageRef layer =
        MarqenImageApplyAffineTransform(*part, t, CGRectMake(0, 0, destination.width(), destination.height()), error);
    if (!layer) return false;
    MarqenImageCompositeOver(destination, *layer);
    return true;
}

}  // namespace marqen
