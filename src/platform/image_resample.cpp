#include "platform/image_resample.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>
#include <string>

#include "platform/vips_support.h"

namespace marqen {

using vips_support::ImageHandle;

namespace {

bool fail(MarqenError *error, long code, const std::string &description) {
    return marqenFail(error, kMarqenNativeImageErrorDomain, code, description);
}

// A libvips view of the pixels (no copy). Every band is treated alike by the resamplers, so the
// byte order of the packed ARGB words does not matter.
ImageHandle wrap(const MarqenImage &image) {
    vips_support::ensureStarted();
    return ImageHandle(vips_image_new_from_memory(image.data(), image.byteCount(), image.width(), image.height(), 4,
                                                  VIPS_FORMAT_UCHAR));
}

// libvips calls copyRows on a worker thread of its own and hands back through GLib primitives that thread
// checkers cannot see; the rows are written under `rows`, which the caller takes once after the sink.
struct RowsTarget {
    MarqenImage *image;
    std::mutex rows;
};

int copyRows(VipsRegion *region, VipsRect *area, void *userData) {
    auto *rowsTarget = static_cast<RowsTarget *>(userData);
    std::lock_guard lock(rowsTarget->rows);
    MarqenImage *target = rowsTarget->image;
    for (int y = area->top; y < area->top + area->height; ++y) {
        const auto *src = reinterpret_cast<const uint32_t *>(VIPS_REGION_ADDR(region, area->left, y));
        uint32_t *dst = target->row(y) + area->left;
        for (int x = 0; x < area->width; ++x) {
            // Kernels with negative lobes can overshoot: a colour above its alpha is not premultiplied.
            uint32_t p = src[x];
            uint32_t a = p >> 24;
            if (a != 255) {
                uint32_t r = std::min((p >> 16) & 0xFF, a), g = std::min((p >> 8) & 0xFF, a), b = std::min(p & 0xFF, a);
                p = (a << 24) | (r << 16) | (g << 8) | b;
            }
            dst[x] = p;
        }
    }
    return 0;
}

MarqenImageRef materialise(VipsImage *image, MarqenError *error) {
    MarqenImageRef result = MarqenImage::createUninitialized(vips_image_get_width(image), vips_image_get_height(image), error);
    if (!result) return nullptr;
    if (vips_image_get_bands(image) != 4 || vips_image_get_format(image) != VIPS_FORMAT_UCHAR) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "Resampling gave an unexpected pixel layout.");
        return nullptr;
    }
    RowsTarget target{result.get(), {}};
    const int sunk = vips_sink_disc(image, copyRows, &target);
    { std::lock_guard handedOver(target.rows); }
    if (sunk != 0) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "Resampling failed: " + vips_support::takeErrorText() + ".");
        return nullptr;
    }
    return result;
}

}  // namespace

MarqenImageRef MarqenImageResize(const MarqenImage &image, int width, int height, MarqenError *error) {
    if (width <= 0 || height <= 0 || width > MarqenImage::kMaximumDimension || height > MarqenImage::kMaximumDimension) {
        fail(error, MarqenNativeImageErrorInvalidArgument,
             "Cannot resize to " + std::to_string(width) + "x" + std::to_string(height) + ".");
        return nullptr;
    }
    if (width == image.width() && height == image.height()) return image.copy(error);
    ImageHandle in = wrap(image), resized, exact;
    const double hscale = double(width) / image.width(), vscale = double(height) / image.height();
    if (!in || vips_resize(in.get(), resized.out(), hscale, "vscale", vscale, "kernel", VIPS_KERNEL_LANCZOS3, nullptr) != 0) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "Resizing failed: " + vips_support::takeErrorText() + ".");
        return nullptr;
    }
    // The scale factors can round one pixel either way: trim or pad (repeating the edge) to the size asked.
    if (vips_image_get_width(resized.get()) != width || vips_image_get_height(resized.get()) != height) {
        if (vips_gravity(resized.get(), exact.out(), VIPS_COMPASS_DIRECTION_NORTH_WEST, width, height, "extend",
                         VIPS_EXTEND_COPY, nullptr) != 0) {
            fail(error, MarqenNativeImageErrorInvalidArgument, "Resizing failed: " + vips_support::takeErrorText() + ".");
            return nullptr;
        }
        resized = std::move(exact);
    }
    return materialise(resized.get(), error);
}

MarqenImageRef MarqenImageApplyAffineTransform(const MarqenImage &image, const CGAffineTransform &t, CGRect outputArea,
                                               MarqenError *error) {
    const double determinant = t.a * t.d - t.b * t.c;
    if (!std::isfinite(determinant) || std::fabs(determinant) < 1e-12 || !std::isfinite(t.tx) || !std::isfinite(t.ty)) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "The transform cannot be inverted.");
        return nullptr;
    }
    CGRect area = CGRectIntegral(CGRectStandardize(outputArea));
    if (CGRectIsEmpty(area) || CGRectIsInfinite(area) || area.size.width > MarqenImage::kMaximumDimension ||
        area.size.height > MarqenImage::kMaximumDimension || std::fabs(area.origin.x) > 1e9 ||
        std::fabs(area.origin.y) > 1e9) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "The output area of the transform is empty or too large.");
        return nullptr;
    }
    // libvips maps pixel indices (centres at whole numbers); the transform maps CG coordinates (centres
    // at +0.5), so the displacement takes the half-pixel difference of both sides.
    const double odx = t.tx + 0.5 * (t.a + t.c) - 0.5;
    const double ody = t.ty + 0.5 * (t.b + t.d) - 0.5;
    ImageHandle in = wrap(image), out;
    VipsInterpolate *interpolate = vips_interpolate_new("bicubic");
    VipsArrayInt *oarea = vips_array_int_newv(4, int(area.origin.x), int(area.origin.y), int(area.size.width),
                                              int(area.size.height));
    VipsArrayDouble *background = vips_array_double_newv(1, 0.0);
    int status = in ? vips_affine(in.get(), out.out(), t.a, t.c, t.b, t.d, "odx", odx, "ody", ody, "oarea", oarea,
                                  "interpolate", interpolate, "extend", VIPS_EXTEND_BACKGROUND, "background",
                                  background, "premultiplied", TRUE, nullptr)
                    : -1;
    vips_area_unref(VIPS_AREA(oarea));
    vips_area_unref(VIPS_AREA(background));
    g_object_unref(interpolate);
    if (status != 0) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "Resampling failed: " + vips_support::takeErrorText() + ".");
        return nullptr;
    }
    return materialise(out.get(), error);
}

MarqenImageRef MarqenImageCrop(const MarqenImage &image, CGRect rect, MarqenError *error) {
    CGRect bounds = CGRectMake(0, 0, image.width(), image.height());
    CGRect clipped = CGRectIntersection(CGRectIntegral(CGRectStandardize(rect)), bounds);
    if (CGRectIsNull(clipped) || CGRectIsEmpty(clipped)) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "The crop rectangle lies outside the image.");
        return nullptr;
    }
    const int x0 = int(clipped.origin.x), y0 = int(clipped.origin.y);
    const int w = int(clipped.size.width), h = int(clipped.size.height);
    MarqenImageRef result = MarqenImage::createUninitialized(w, h, error);
    if (!result) return nullptr;
    for (int y = 0; y < h; ++y) std::memcpy(result->row(y), image.row(y0 + y) + x0, size_t(w) * 4);
    return result;
}

MarqenImageRef MarqenImageRotateQuarterTurns(const MarqenImage &image, int quarterTurns, MarqenError *error) {
    const int turns = ((quarterTurns % 4) + 4) % 4;
    if (turns == 0) return image.copy(error);
    const int w = image.width(), h = image.height();
    const bool swap = turns % 2 == 1;
    MarqenImageRef result = MarqenImage::createUninitialized(swap ? h : w, swap ? w : h, error);
    if (!result) return nullptr;
    for (int y = 0; y < h; ++y) {
        const uint32_t *src = image.row(y);
        for (int x = 0; x < w; ++x) {
            switch (turns) {
                case 1: result->setPixelAt(h - 1 - y, x, src[x]); break;          // clockwise
                case 2: result->setPixelAt(w - 1 - x, h - 1 - y, src[x]); break;
                default: result->setPixelAt(y, w - 1 - x, src[x]); break;         // anticlockwise
            }
        }
    }
    return result;
}

}  // namespace marqen
