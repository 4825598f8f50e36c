#include "platform/shadow_compositor.h"

#include <cairo.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/pixel_over.h"
#include "platform/shadow_blur.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace marqen {

namespace {

constexpr int kBlock = 16;  // pixels per block: 64 bytes of a group row, 16 of a mask row
constexpr double kMaxMaskPixels = 64.0 * 1024 * 1024;
constexpr int kMaxCast = 1024;  // the largest shadow offset, in pixels, composited here

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

// Where the group or its shadow has ink, row by row, on one grid of blocks for both: block e covers
// the group's columns [kBlock·(e − margin), kBlock·(e − margin + 1)), so that a row of the shadow
// and the row of the group that land on the same target row share their blocks. Also the box of
// the inked pixels, in the image's own columns and rows.
struct InkMap {
    int blocks = 0, rowBegin = 0, rowEnd = 0;  // flags for the rows [rowBegin, rowEnd)
    std::vector<uint8_t> inked;                // per row, one flag per block
    std::vector<int> firstBlock, lastBlock;    // per row; first > last when the row has no ink
    int minX = 0, minY = 0, maxX = -1, maxY = -1;  // inclusive; maxY < 0 when there is no ink

    void reset(int blockCount, int begin, int end) {
        blocks = blockCount;
        rowBegin = begin;
        rowEnd = end;
        const size_t rows = static_cast<size_t>(std::max(0, end - begin));
        inked.assign(rows * static_cast<size_t>(blocks), 0);
        firstBlock.assign(rows, INT_MAX);
        lastBlock.assign(rows, -1);
        minX = minY = INT_MAX;
        maxX = maxY = -1;
    }
    bool empty() const { return maxY < 0; }
    bool hasRow(long long y) const {
        return y >= rowBegin && y < rowEnd && firstBlock[static_cast<size_t>(y - rowBegin)] <= lastBlock[static_cast<size_t>(y - rowBegin)];
    }
    uint8_t *flags(int y) { return inked.data() + static_cast<size_t>(y - rowBegin) * blocks; }
    const uint8_t *flags(int y) const { return inked.data() + static_cast<size_t>(y - rowBegin) * blocks; }
    // Row y has ink in the blocks [first, last], its pixels within the columns [from, to].
    void addRow(int y, int first, int last, int from, int to) {
        firstBlock[static_cast<size_t>(y - rowBegin)] = first;
        lastBlock[static_cast<size_t>(y - rowBegin)] = last;
        minX = std::min(minX, from);
        maxX = std::max(maxX, to);
        minY = std::min(minY, y);
        maxY = y;
    }
};

// The inked blocks of one row as a scan meets them: the first and last block, and the first and last
// inked column (bits holds a block's inked columns, lowest first).
struct InkedBlocks {
    int first = -1, last = -1, from = 0, to = 0;

    void note(uint8_t *inked, int block, unsigned bits) {
        inked[block] = 1;
        if (first < 0) {
            first = block;
            from = block * kBlock + __builtin_ctz(bits);
        }
        last = block;
        to = block * kBlock + 31 - __builtin_clz(bits);
    }
};

// Working memory kept between groups, so that a run of small shadows allocates nothing.
struct Scratch {
    std::vector<uint8_t> mask;
    InkMap groupInk, shadowInk;
    std::vector<std::pair<const uint32_t *, const uint32_t *>> runs;  // the first and last target pixel of each run
    void trim() {
        constexpr size_t kKeep = size_t(4) << 20;
        if (mask.capacity() > kKeep) std::vector<uint8_t>().swap(mask);
        if (runs.capacity() * sizeof(runs[0]) > kKeep) decltype(runs)().swap(runs);
    }
};

// The alpha bytes of 16 pixels into out; a bit for each pixel that has a byte other than zero.
inline unsigned alphaOfBlock(const uint32_t *pixels, uint8_t *out) {
#if defined(__SSE2__)
    const __m128i p0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels));
    const __m128i p1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels + 4));
    const __m128i p2 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels + 8));
    const __m128i p3 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(pixels + 12));
    const __m128i low = _mm_packs_epi32(_mm_srli_epi32(p0, 24), _mm_srli_epi32(p1, 24));
    const __m128i high = _mm_packs_epi32(_mm_srli_epi32(p2, 24), _mm_srli_epi32(p3, 24));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_packus_epi16(low, high));
    const __m128i zero = _mm_setzero_si128();
    auto empty = [&](__m128i p) { return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(p, zero)))); };
    return ~(empty(p0) | empty(p1) << 4 | empty(p2) << 8 | empty(p3) << 12) & 0xFFFFu;
#else
    unsigned inked = 0;
    for (int i = 0; i < kBlock; ++i) {
        out[i] = static_cast<uint8_t>(pixels[i] >> 24);
        if (pixels[i]) inked |= 1u << i;
    }
    return inked;
#endif
}

// A bit for each of 16 mask bytes that is not zero.
inline unsigned inkOfMaskBlock(const uint8_t *samples) {
#if defined(__SSE2__)
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(samples));
    return ~static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, _mm_setzero_si128()))) & 0xFFFFu;
#else
    unsigned inked = 0;
    for (int i = 0; i < kBlock; ++i)
        if (samples[i]) inked |= 1u << i;
    return inked;
#endif
}

// Copies the group's alpha into the mask (group pixel (x, y) to mask row y + top, column x + left)
// and maps the group's ink, `margin` blocks in from the left of the grid, in one pass over its pixels.
// A pixel has ink when any of its bytes is not zero (premultiplied, that is when it has alpha).
void readGroup(const Raster &group, uint8_t *mask, int maskStride, int top, int left, int margin, int blocks, InkMap &ink) {
    ink.reset(blocks, 0, group.height);
    const int wholeBlocks = group.width / kBlock;
    for (int y = 0; y < group.height; ++y) {
        const auto *row = reinterpret_cast<const uint32_t *>(group.data + static_cast<size_t>(y) * group.stride);
        uint8_t *out = mask + static_cast<size_t>(y + top) * maskStride + left;
        uint8_t *inked = ink.flags(y) + margin;
        InkedBlocks span;
        for (int b = 0; b < wholeBlocks; ++b)
            if (const unsigned bits = alphaOfBlock(row + b * kBlock, out + b * kBlock)) span.note(inked, b, bits);
        unsigned bits = 0;
        for (int x = wholeBlocks * kBlock; x < group.width; ++x) {
            out[x] = static_cast<uint8_t>(row[x] >> 24);
            if (row[x]) bits |= 1u << (x - wholeBlocks * kBlock);
        }
        if (bits) span.note(inked, wholeBlocks, bits);
        if (span.first >= 0) ink.addRow(y, span.first + margin, span.last + margin, span.from, span.to);
    }
}

// Maps the ink of the mask rows [y0, y1) on the grid: block e reads the mask's columns from
// kBlock·e + start on, which the mask's margins keep within its rows.
void mapMask(const uint8_t *mask, int maskStride, int y0, int y1, int start, int blocks, InkMap &ink) {
    ink.reset(blocks, y0, y1);
    for (int y = y0; y < y1; ++y) {
        const uint8_t *row = mask + static_cast<size_t>(y) * maskStride + start;
        uint8_t *inked = ink.flags(y);
        InkedBlocks span;
        for (int e = 0; e < blocks; ++e)
            if (const unsigned bits = inkOfMaskBlock(row + e * kBlock)) span.note(inked, e, bits);
        if (span.first >= 0) ink.addRow(y, span.first, span.last, span.from + start, span.to + start);
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
    // A whole-pixel offset of the shadow, across (its height points up; device rows point down).
    const bool wholeOffset = shadow.offset.width == std::floor(shadow.offset.width) &&
                             shadow.offset.height == std::floor(shadow.offset.height) &&
                             std::fabs(shadow.offset.width) <= kMaxCast && std::fabs(shadow.offset.height) <= kMaxCast;
    const int castX = wholeOffset ? static_cast<int>(shadow.offset.width) : 0;
    const int castY = wholeOffset ? -static_cast<int>(shadow.offset.height) : 0;
    // The mask: the group's alpha with room around it for the blur, and for the blocks of the grid
    // that the shadow covers, whole: `margin` blocks on each side of the group's own.
    const int margin = (reach + std::abs(castX) + kBlock - 1) / kBlock;
    const int groupBlocks = (group.width + kBlock - 1) / kBlock, blocks = groupBlocks + 2 * margin;
    const int maskLeft = margin * kBlock + std::abs(castX), maskTop = reach;
    const long long maskWidth = static_cast<long long>(blocks) * kBlock + 2LL * std::abs(castX);
    const long long maskHeight = group.height + 2LL * reach;
    if (static_cast<double>(maskWidth) * static_cast<double>(maskHeight) > kMaxMaskPixels)
        return ShadowCompositing::NotRaster;
    const int maskStride = static_cast<int>((maskWidth + 3) & ~3LL);  // whole 32-bit words per row, as Cairo wants

    thread_local Scratch scratch;
    scratch.mask.assign(static_cast<size_t>(maskStride) * static_cast<size_t>(maskHeight), 0);
    uint8_t *mask = scratch.mask.data();
    InkMap &groupInk = scratch.groupInk, &shadowInk = scratch.shadowInk;
    cairo_surface_flush(groupSurface);
    readGroup(group, mask, maskStride, maskTop, maskLeft, margin, blocks, groupInk);
    // No ink: no shadow, and painting the group would change nothing.
    if (groupInk.empty()) return ShadowCompositing::Direct;

    // The blur spreads ink by `reach` at most: it works on the inked box grown by that much.
    const int blurWidth = groupInk.maxX - groupInk.minX + 1 + 2 * reach;
    const int blurHeight = groupInk.maxY - groupInk.minY + 1 + 2 * reach;
    MarqenBlurAlphaMask(mask + static_cast<size_t>(groupInk.minY + maskTop - reach) * maskStride + groupInk.minX +
                            maskLeft - reach,
                        blurWidth, blurHeight, maskStride, sigma);
    // Grid block e holds the shadow of the mask's columns from kBlock·(e − margin) + maskLeft − castX.
    mapMask(mask, maskStride, groupInk.minY + maskTop - reach, groupInk.minY + maskTop - reach + blurHeight,
            maskLeft - castX - margin * kBlock, blocks, shadowInk);

    // Device positions of group pixel (0, 0) and of mask pixel (0, 0) with the shadow's offset.
    const long long groupX = -static_cast<long long>(group.offsetX), groupY = -static_cast<long long>(group.offsetY);
    const double shadowX = static_cast<double>(groupX - maskLeft) + shadow.offset.width;
    const double shadowY = static_cast<double>(groupY - maskTop) - shadow.offset.height;
    const double red = std::clamp(shadow.color.red, 0.0, 1.0), green = std::clamp(shadow.color.green, 0.0, 1.0);
    const double blue = std::clamp(shadow.color.blue, 0.0, 1.0);
    const double shadowAlpha = std::clamp(shadow.color.alpha * alpha, 0.0, 1.0);

    // Composited here when every inked pixel that lands on the target lands where the clip covers it
    // wholly (there Cairo's clip changes nothing); at the clip's edges Cairo composites.
    bool direct = clip && alpha >= 1 && wholeOffset;
    const PixelBox targetBox{-static_cast<long long>(target.offsetX), -static_cast<long long>(target.offsetY),
                             static_cast<long long>(target.width) - target.offsetX,
                             static_cast<long long>(target.height) - target.offsetY};
    const long long shiftX = groupX - maskLeft + castX, shiftY = groupY - maskTop + castY;
    if (direct) {
        const PixelBox allowed = wholePixelsOf(*clip).intersect(targetBox);
        const PixelBox groupBox{groupInk.minX + groupX, groupInk.minY + groupY, groupInk.maxX + 1 + groupX,
                                groupInk.maxY + 1 + groupY};
        const PixelBox shadowBox{shadowInk.minX + shiftX, shadowInk.minY + shiftY, shadowInk.maxX + 1 + shiftX,
                                 shadowInk.maxY + 1 + shiftY};
        direct = allowed.contains(groupBox.intersect(targetBox)) &&
                 (shadowInk.empty() || allowed.contains(shadowBox.intersect(targetBox)));
    }

    if (direct) {
        const PixelBox allowed = wholePixelsOf(*clip).intersect(targetBox);
        // Cairo's solid colour: premultiplied, each component rounded to 16 bits, of which pixman keeps
        // the top 8.
        auto component = [](double value) { return static_cast<uint32_t>(colorShort(value) >> 8); };
        const uint32_t color = component(shadowAlpha) << 24 | component(red * shadowAlpha) << 16 |
                               component(green * shadowAlpha) << 8 | component(blue * shadowAlpha);
        // Target row by target row, over the grid's blocks where the shadow or the group has ink: the
        // shadow and then the group over it, each target pixel read and written once.
        long long firstRow = groupInk.minY + groupY, endRow = groupInk.maxY + 1 + groupY;
        if (color && !shadowInk.empty()) {
            firstRow = std::min(firstRow, shadowInk.minY + shiftY);
            endRow = std::max(endRow, shadowInk.maxY + 1 + shiftY);
        }
        firstRow = std::max(firstRow, allowed.y0);
        endRow = std::min(endRow, allowed.y1);
        const long long gridX = groupX - static_cast<long long>(margin) * kBlock;  // device column of the grid's start
        // The runs of grid blocks of target row y that hold shadow or ink, cut to the clip: f(x0, x1,
        // shadowed, inked) for each, in device columns, with whether the row has shadow and ink.
        auto forEachRun = [&](long long y, auto &&f) {
            const long long maskRow = y - shiftY, groupRow = y - groupY;
            const bool shadowed = color && shadowInk.hasRow(maskRow), inked = groupInk.hasRow(groupRow);
            if (!shadowed && !inked) return;
            const uint8_t *shadowFlags = shadowed ? shadowInk.flags(static_cast<int>(maskRow)) : nullptr;
            const uint8_t *groupFlags = inked ? groupInk.flags(static_cast<int>(groupRow)) : nullptr;
            int first = INT_MAX, last = -1;
            if (shadowed) {
                first = shadowInk.firstBlock[static_cast<size_t>(maskRow - shadowInk.rowBegin)];
                last = shadowInk.lastBlock[static_cast<size_t>(maskRow - shadowInk.rowBegin)];
            }
            if (inked) {
                first = std::min(first, groupInk.firstBlock[static_cast<size_t>(groupRow)]);
                last = std::max(last, groupInk.lastBlock[static_cast<size_t>(groupRow)]);
            }
            auto held = [&](int e) { return (shadowFlags && shadowFlags[e]) || (groupFlags && groupFlags[e]); };
            for (int e = first; e <= last;) {
                if (!held(e)) {
                    ++e;
                    continue;
                }
                const int start = e;
                while (e <= last && held(e)) ++e;
                const long long x0 = std::max(gridX + static_cast<long long>(start) * kBlock, allowed.x0);
                const long long x1 = std::min(gridX + static_cast<long long>(e) * kBlock, allowed.x1);
                if (x0 < x1) f(x0, x1, shadowed, inked);
            }
        };
        auto targetRow = [&](long long y) {
            return reinterpret_cast<uint32_t *>(target.data + static_cast<size_t>(y + target.offsetY) * target.stride);
        };
        // Before compositing, every run's target lines are asked for at once, so that they arrive
        // together instead of one row's after another's. Each target row lies on pages of its own,
        // and a prefetch into a page the processor has not mapped lately comes to nothing: the first
        // line of a run (and its last, past a page boundary) is loaded, the others prefetched. The
        // runs are listed first, so that the loop asking for them is short and many loads are in
        // flight at once.
        cairo_surface_flush(targetSurface);
        auto &runs = scratch.runs;
        runs.clear();
        for (long long y = firstRow; y < endRow; ++y) {
            const uint32_t *row = targetRow(y) + target.offsetX;
            forEachRun(y, [&](long long x0, long long x1, bool, bool) { runs.emplace_back(row + x0, row + x1 - 1); });
        }
        for (const auto &[first, last] : runs) {
            constexpr uintptr_t kPage = 4096;
            uint32_t value = *first;
            asm volatile("" : : "r"(value));
            if ((reinterpret_cast<uintptr_t>(first) ^ reinterpret_cast<uintptr_t>(last)) >= kPage) {
                value = *last;
                asm volatile("" : : "r"(value));
            }
            for (const uint32_t *line = first + kBlock; line < last; line += kBlock) __builtin_prefetch(line, 1, 3);
            __builtin_prefetch(last, 1, 3);
        }
        for (long long y = firstRow; y < endRow; ++y) {
            uint32_t *row = targetRow(y);
            const long long maskRow = y - shiftY, groupRow = y - groupY;
            forEachRun(y, [&](long long x0, long long x1, bool shadowed, bool inked) {
                const uint8_t *maskPixels = shadowed ? mask + static_cast<size_t>(maskRow) * maskStride : nullptr;
                const auto *groupPixels =
                    inked ? reinterpret_cast<const uint32_t *>(group.data + static_cast<size_t>(groupRow) * group.stride)
                          : nullptr;
                // Cut where the group's row ends: past it only the shadow is read.
                const long long cuts[4] = {x0, std::clamp(groupX, x0, x1), std::clamp(groupX + group.width, x0, x1), x1};
                for (int k = 0; k < 3; ++k) {
                    if (cuts[k] >= cuts[k + 1]) continue;
                    const bool onGroup = groupPixels && cuts[k] >= groupX && cuts[k + 1] <= groupX + group.width;
                    overShadowThenInk(row + (cuts[k] + target.offsetX), maskPixels ? maskPixels + (cuts[k] - shiftX) : nullptr,
                                      onGroup ? groupPixels + (cuts[k] - groupX) : nullptr,
                                      static_cast<int>(cuts[k + 1] - cuts[k]), color);
                }
            });
        }
        cairo_surface_mark_dirty(targetSurface);
        scratch.trim();
        return ShadowCompositing::Direct;
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
