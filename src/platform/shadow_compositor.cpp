#include "platform/shadow_compositor.h"

#include <cairo.h>
#include <pixman.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <vector>

#include "platform/shadow_blur.h"

namespace marqen {

namespace {

constexpr int kBlock = 16;  // columns per block: 64 bytes of a group row
constexpr int kBand = 16;   // rows per band
constexpr double kMaxMaskPixels = 64.0 * 1024 * 1024;

// An ARGB32 image surface at one pixel per device unit: device (x, y) is pixel (x + offsetX, y + offsetY).
struct Raster {
    unsigned char *data = nullptr;
    int width = 0, height = 0, stride = 0, offsetX = 0, offsetY = 0;
};

bool rasterOf(cairo_surface_t *surface, Raster &raster) {
    if (!surface || cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS ||
        cairo_surface_get_type(surface) != CAIRO_SURFACE_TYPE_IMAGE ||
        cairo_image_surface_get_format(surface) != CAIRO_FORMAT_ARGB32)
        return false;
    double sx = 1, sy = 1, dx = 0, dy = 0;
    cairo_surface_get_device_scale(surface, &sx, &sy);
    cairo_surface_get_device_offset(surface, &dx, &dy);
    if (sx != 1 || sy != 1 || dx != std::floor(dx) || dy != std::floor(dy) || std::fabs(dx) > 1e9 || std::fabs(dy) > 1e9)
        return false;
    raster.data = cairo_image_surface_get_data(surface);
    raster.width = cairo_image_surface_get_width(surface);
    raster.height = cairo_image_surface_get_height(surface);
    raster.stride = cairo_image_surface_get_stride(surface);
    raster.offsetX = static_cast<int>(dx);
    raster.offsetY = static_cast<int>(dy);
    return raster.data && raster.width > 0 && raster.height > 0;
}

// Where an image has ink: which blocks of each band hold some, and the box of the inked pixels.
struct InkMap {
    int blocks = 0, bands = 0;
    std::vector<uint8_t> inked;  // bands × blocks
    int minX = 0, minY = 0, maxX = -1, maxY = -1;  // inclusive; maxY < 0 when there is no ink

    void reset(int width, int height) {
        blocks = (width + kBlock - 1) / kBlock;
        bands = (height + kBand - 1) / kBand;
        inked.assign(static_cast<size_t>(blocks) * static_cast<size_t>(bands), 0);
        minX = minY = INT_MAX;
        maxX = maxY = -1;
    }
    bool empty() const { return maxY < 0; }
    void addRow(int y, int first, int last) {
        minX = std::min(minX, first);
        maxX = std::max(maxX, last);
        minY = std::min(minY, y);
        maxY = y;
    }
};

// Working memory kept between groups, so that a run of small shadows allocates nothing.
struct Scratch {
    std::vector<uint8_t> mask;
    InkMap groupInk, shadowInk;
    void trim() {
        constexpr size_t kKeep = size_t(4) << 20;
        if (mask.capacity() > kKeep) std::vector<uint8_t>().swap(mask);
    }
};

// Copies the group's alpha into the mask and maps the group's ink, in one pass over its pixels. A
// pixel has ink when any of its bytes is not zero (premultiplied, that is when it has alpha).
void readGroup(const Raster &group, uint8_t *mask, int maskStride, InkMap &ink) {
    ink.reset(group.width, group.height);
    for (int y = 0; y < group.height; ++y) {
        const auto *row = reinterpret_cast<const uint32_t *>(group.data + static_cast<size_t>(y) * group.stride);
        uint8_t *out = mask + static_cast<size_t>(y) * maskStride;
        uint8_t *bandInked = ink.inked.data() + static_cast<size_t>(y / kBand) * ink.blocks;
        int firstBlock = -1, lastBlock = -1;
        for (int b = 0; b < ink.blocks; ++b) {
            const int x0 = b * kBlock, n = std::min(kBlock, group.width - x0);
            uint32_t any = 0;
            if (n == kBlock) {
                for (int i = 0; i < kBlock; ++i) {
                    any |= row[x0 + i];
                    out[x0 + i] = static_cast<uint8_t>(row[x0 + i] >> 24);
                }
            } else {
                for (int i = 0; i < n; ++i) {
                    any |= row[x0 + i];
                    out[x0 + i] = static_cast<uint8_t>(row[x0 + i] >> 24);
                }
            }
            if (any) {
                bandInked[b] = 1;
                if (firstBlock < 0) firstBlock = b;
                lastBlock = b;
            }
        }
        if (firstBlock < 0) continue;
        int first = firstBlock * kBlock, last = std::min(group.width, (lastBlock + 1) * kBlock) - 1;
        while (!row[first]) ++first;
        while (!row[last]) --last;
        ink.addRow(y, first, last);
    }
}

// Maps the ink of the mask rows [y0, y1).
void mapMask(const uint8_t *mask, int maskStride, int width, int height, int y0, int y1, InkMap &ink) {
    ink.reset(width, height);
    for (int y = y0; y < y1; ++y) {
        const uint8_t *row = mask + static_cast<size_t>(y) * maskStride;
        uint8_t *bandInked = ink.inked.data() + static_cast<size_t>(y / kBand) * ink.blocks;
        int firstBlock = -1, lastBlock = -1;
        for (int b = 0; b < ink.blocks; ++b) {
            const int x0 = b * kBlock, n = std::min(kBlock, width - x0);
            uint64_t any = 0;
            if (n == kBlock) {
                uint64_t words[2];
                std::memcpy(words, row + x0, sizeof words);
                any = words[0] | words[1];
            } else {
                for (int i = 0; i < n; ++i) any |= row[x0 + i];
            }
            if (any) {
                bandInked[b] = 1;
                if (firstBlock < 0) firstBlock = b;
                lastBlock = b;
            }
        }
        if (firstBlock < 0) continue;
        int first = firstBlock * kBlock, last = std::min(width, (lastBlock + 1) * kBlock) - 1;
        while (!row[first]) ++first;
        while (!row[last]) --last;
        ink.addRow(y, first, last);
    }
}

// Calls composite(x, y, width, height) for each run of inked blocks along each band, cut to the ink's box.
template <typename Composite>
void forEachInkedRun(const InkMap &ink, Composite composite) {
    for (int band = 0; band < ink.bands; ++band) {
        const int y0 = std::max(band * kBand, ink.minY), y1 = std::min((band + 1) * kBand, ink.maxY + 1);
        if (y0 >= y1) continue;
        const uint8_t *inked = ink.inked.data() + static_cast<size_t>(band) * ink.blocks;
        for (int b = 0; b < ink.blocks;) {
            if (!inked[b]) {
                ++b;
                continue;
            }
            const int start = b;
            while (b < ink.blocks && inked[b]) ++b;
            const int x0 = std::max(start * kBlock, ink.minX), x1 = std::min(b * kBlock, ink.maxX + 1);
            if (x0 < x1) composite(x0, y0, x1 - x0, y1 - y0);
        }
    }
}

// A box of whole device pixels, [x0, x1) × [y0, y1).
struct PixelBox {
    long long x0, y0, x1, y1;
    PixelBox intersect(const PixelBox &o) const {
        return {std::max(x0, o.x0), std::max(y0, o.y0), std::min(x1, o.x1), std::min(y1, o.y1)};
    }
    bool empty() const { return x0 >= x1 || y0 >= y1; }
    bool contains(const PixelBox &o) const { return o.empty() || (o.x0 >= x0 && o.y0 >= y0 && o.x1 <= x1 && o.y1 <= y1); }
};

// The pixels a clip rectangle covers wholly, as Cairo sees it: its edges on Cairo's 1/256 grid.
PixelBox wholePixelsOf(const CGRect &clip) {
    auto grid = [](double v) { return std::round(v * 256) / 256; };
    const double left = grid(CGRectGetMinX(clip)), top = grid(CGRectGetMinY(clip));
    const double right = grid(CGRectGetMaxX(clip)), bottom = grid(CGRectGetMaxY(clip));
    auto bounded = [](double v) { return static_cast<long long>(std::clamp(v, -4e9, 4e9)); };
    return {bounded(std::ceil(left)), bounded(std::ceil(top)), bounded(std::floor(right)), bounded(std::floor(bottom))};
}

// A colour component as Cairo keeps it, in 16 bits.
uint16_t colorShort(double value) { return static_cast<uint16_t>(value * 65535.0 + 0.5); }

}  // namespace

ShadowCompositing compositeShadowedRasterGroup(cairo_t *context, cairo_pattern_t *pattern, double alpha,
                                               const MarqenShadow &shadow, const CGRect *clip) {
    cairo_surface_t *groupSurface = nullptr, *targetSurface = cairo_get_group_target(context);
    Raster group, target;
    if (cairo_pattern_get_surface(pattern, &groupSurface) != CAIRO_STATUS_SUCCESS || !rasterOf(groupSurface, group) ||
        !rasterOf(targetSurface, target) || cairo_get_operator(context) != CAIRO_OPERATOR_OVER)
        return ShadowCompositing::NotRaster;
    // The group's pattern maps user space as the CTM does: its pixels lie on the device's one to one.
    cairo_matrix_t patternMatrix, ctm;
    cairo_pattern_get_matrix(pattern, &patternMatrix);
    cairo_get_matrix(context, &ctm);
    if (patternMatrix.xx != ctm.xx || patternMatrix.yx != ctm.yx || patternMatrix.xy != ctm.xy ||
        patternMatrix.yy != ctm.yy || patternMatrix.x0 != ctm.x0 || patternMatrix.y0 != ctm.y0)
        return ShadowCompositing::NotRaster;

    const double sigma = shadow.blur / 2.0;
    const int reach = MarqenShadowBlurReach(sigma);
    const long long maskWidth = group.width + 2LL * reach, maskHeight = group.height + 2LL * reach;
    if (static_cast<double>(maskWidth) * static_cast<double>(maskHeight) > kMaxMaskPixels)
        return ShadowCompositing::NotRaster;
    const int maskStride = static_cast<int>((maskWidth + 3) & ~3LL);  // whole 32-bit words per row, for pixman

    thread_local Scratch scratch;
    scratch.mask.assign(static_cast<size_t>(maskStride) * static_cast<size_t>(maskHeight), 0);
    uint8_t *mask = scratch.mask.data();
    InkMap &groupInk = scratch.groupInk, &shadowInk = scratch.shadowInk;
    // Mask pixel (x, y) lies under group pixel (x - reach, y - reach), before the shadow's offset.
    cairo_surface_flush(groupSurface);
    readGroup(group, mask + static_cast<size_t>(reach) * maskStride + reach, maskStride, groupInk);
    // No ink: no shadow, and painting the group would change nothing.
    if (groupInk.empty()) return ShadowCompositing::Pixman;

    // The blur spreads ink by `reach` at most: it works on the inked box grown by that much.
    const int blurWidth = groupInk.maxX - groupInk.minX + 1 + 2 * reach;
    const int blurHeight = groupInk.maxY - groupInk.minY + 1 + 2 * reach;
    MarqenBlurAlphaMask(mask + static_cast<size_t>(groupInk.minY) * maskStride + groupInk.minX, blurWidth, blurHeight,
                        maskStride, sigma);
    mapMask(mask, maskStride, static_cast<int>(maskWidth), static_cast<int>(maskHeight), groupInk.minY,
            groupInk.minY + blurHeight, shadowInk);

    // Device position of mask pixel (0, 0), with the shadow's offset (its height points up).
    const double shadowX = -reach - group.offsetX + shadow.offset.width;
    const double shadowY = -reach - group.offsetY - shadow.offset.height;
    const double red = std::clamp(shadow.color.red, 0.0, 1.0), green = std::clamp(shadow.color.green, 0.0, 1.0);
    const double blue = std::clamp(shadow.color.blue, 0.0, 1.0);
    const double shadowAlpha = std::clamp(shadow.color.alpha * alpha, 0.0, 1.0);

    // Straight through pixman when every inked pixel that lands on the target lands where the clip
    // covers it wholly (there Cairo's clip changes nothing); at the clip's edges Cairo composites.
    bool direct = clip && alpha >= 1 && shadowX == std::floor(shadowX) && shadowY == std::floor(shadowY) &&
                  std::fabs(shadowX) < 1e9 && std::fabs(shadowY) < 1e9;
    const PixelBox targetBox{-static_cast<long long>(target.offsetX), -static_cast<long long>(target.offsetY),
                             static_cast<long long>(target.width) - target.offsetX,
                             static_cast<long long>(target.height) - target.offsetY};
    const long long shiftX = static_cast<long long>(shadowX), shiftY = static_cast<long long>(shadowY);
    if (direct) {
        const PixelBox allowed = wholePixelsOf(*clip).intersect(targetBox);
        const PixelBox groupBox{groupInk.minX - static_cast<long long>(group.offsetX),
                                groupInk.minY - static_cast<long long>(group.offsetY),
                                groupInk.maxX + 1LL - group.offsetX, groupInk.maxY + 1LL - group.offsetY};
        const PixelBox shadowBox{shadowInk.minX + shiftX, shadowInk.minY + shiftY, shadowInk.maxX + 1 + shiftX,
                                 shadowInk.maxY + 1 + shiftY};
        direct = allowed.contains(groupBox.intersect(targetBox)) &&
                 (shadowInk.empty() || allowed.contains(shadowBox.intersect(targetBox)));
    }

    if (direct) {
        const PixelBox allowed = wholePixelsOf(*clip).intersect(targetBox);
        cairo_surface_flush(targetSurface);
        pixman_image_t *destination = pixman_image_create_bits(PIXMAN_a8r8g8b8, target.width, target.height,
                                                               reinterpret_cast<uint32_t *>(target.data), target.stride);
        pixman_image_t *source = pixman_image_create_bits(PIXMAN_a8r8g8b8, group.width, group.height,
                                                          reinterpret_cast<uint32_t *>(group.data), group.stride);
        pixman_image_t *maskImage = pixman_image_create_bits(PIXMAN_a8, static_cast<int>(maskWidth),
                                                             static_cast<int>(maskHeight),
                                                             reinterpret_cast<uint32_t *>(mask), maskStride);
        // Cairo's solid colour: premultiplied, each component rounded to 16 bits.
        const pixman_color_t color{colorShort(red * shadowAlpha), colorShort(green * shadowAlpha),
                                   colorShort(blue * shadowAlpha), colorShort(shadowAlpha)};
        pixman_image_t *solid = pixman_image_create_solid_fill(&color);
        if (destination && source && maskImage && solid) {
            // Composites the box [x, x + w) × [y, y + h) of an image whose pixel (0, 0) lies at device
            // (originX, originY), cut to the allowed pixels.
            auto composite = [&](pixman_image_t *from, pixman_image_t *through, long long originX, long long originY,
                                 int x, int y, int w, int h) {
                const PixelBox box = PixelBox{originX + x, originY + y, originX + x + w, originY + y + h}.intersect(allowed);
                if (box.empty()) return;
                const int fromX = static_cast<int>(box.x0 - originX), fromY = static_cast<int>(box.y0 - originY);
                const int toX = static_cast<int>(box.x0 + target.offsetX), toY = static_cast<int>(box.y0 + target.offsetY);
                const int width = static_cast<int>(box.x1 - box.x0), height = static_cast<int>(box.y1 - box.y0);
                if (through)
                    pixman_image_composite32(PIXMAN_OP_OVER, from, through, destination, 0, 0, fromX, fromY, toX, toY,
                                             width, height);
                else
                    pixman_image_composite32(PIXMAN_OP_OVER, from, nullptr, destination, fromX, fromY, 0, 0, toX, toY,
                                             width, height);
            };
            if (colorShort(shadowAlpha) >> 8) {  // a shadow whose alpha rounds to nothing leaves the target alone
                forEachInkedRun(shadowInk, [&](int x, int y, int w, int h) {
                    composite(solid, maskImage, shiftX, shiftY, x, y, w, h);
                });
            }
            forEachInkedRun(groupInk, [&](int x, int y, int w, int h) {
                composite(source, nullptr, -static_cast<long long>(group.offsetX), -static_cast<long long>(group.offsetY),
                          x, y, w, h);
            });
        } else {
            direct = false;
        }
        for (pixman_image_t *image : {destination, source, maskImage, solid})
            if (image) pixman_image_unref(image);
        cairo_surface_mark_dirty(targetSurface);
        if (direct) {
            scratch.trim();
            return ShadowCompositing::Pixman;
        }
    }

    // Cairo composites: the shadow through the blurred mask, then the group.
    cairo_surface_t *maskSurface = cairo_image_surface_create_for_data(mask, CAIRO_FORMAT_A8, static_cast<int>(maskWidth),
                                                                       static_cast<int>(maskHeight), maskStride);
    cairo_save(context);
    cairo_identity_matrix(context);
    cairo_set_source_rgba(context, shadow.color.red, shadow.color.green, shadow.color.blue, shadow.color.alpha * alpha);
    cairo_mask_surface(context, maskSurface, shadowX, shadowY);
    cairo_restore(context);
    cairo_surface_finish(maskSurface);
    cairo_surface_destroy(maskSurface);
    cairo_save(context);
    cairo_set_source(context, pattern);
    cairo_paint_with_alpha(context, alpha);
    cairo_restore(context);
    scratch.trim();
    return ShadowCompositing::Cairo;
}

}  // namespace marqen
