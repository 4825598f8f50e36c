#pragma once
// A decoded raster image as the rest of the library draws it: premultiplied ARGB32 pixels laid out
// exactly like a Cairo CAIRO_FORMAT_ARGB32 image surface (one native-endian uint32 per pixel,
// 0xAARRGGBB, rows of `stride()` bytes), so that graphics code can draw it without conversion.
// Images are handed around as MarqenImageRef (a shared pointer); copy() makes an independent one.
//
// Threads: an image may be read from several threads at once (decoded in the background, drawn on
// the main thread); change pixels only in an image no other thread holds yet.
#include <cstddef>
#include <cstdint>
#include <memory>

#include "../export.h"
#include "../foundation/error.h"

namespace marqen {

inline constexpr const char *kMarqenNativeImageErrorDomain = "MarqenNativeImageErrorDomain";

// Error codes of kMarqenNativeImageErrorDomain.
enum MarqenNativeImageErrorCode : long {
    MarqenNativeImageErrorUnknownFormat = 1,    // the bytes are not an image format we decode
    MarqenNativeImageErrorCorruptData = 2,      // malformed, truncated or unsupported variant of a format
    MarqenNativeImageErrorTooLarge = 3,         // above the pixel limit, or dimensions out of range
    MarqenNativeImageErrorInvalidArgument = 4,  // zero sizes, bad rectangles, null images
    MarqenNativeImageErrorEncodeFailed = 5,
    MarqenNativeImageErrorFileAccess = 6,       // reading or writing the file failed
    MarqenNativeImageErrorOutOfMemory = 7,
};

inline constexpr uint64_t kMarqenImageDefaultMaximumPixelCount = 256'000'000;
// The process-wide pixel limit: no image larger is made, and decoding refuses larger pictures when its
// options give no limit of their own.
MARQEN_EXPORT void MarqenImageSetMaximumPixelCount(uint64_t pixels);
MARQEN_EXPORT uint64_t MarqenImageMaximumPixelCount();

class MarqenImage;
using MarqenImageRef = std::shared_ptr<MarqenImage>;

class MARQEN_EXPORT MarqenImage {
public:
    // Largest width or height accepted anywhere (the pixel limit usually bites first).
    static constexpr int kMaximumDimension = 1 << 20;
    // Largest width or height the drawing surfaces take: decoders refuse wider or taller images from
    // their headers, before any pixel is decoded.
    static constexpr int kMaximumDrawableSide = 32767;

    // A fully transparent image. Null (with an error) for non-positive or too large sizes, or when
    // the memory cannot be had.
    static MarqenImageRef create(int width, int height, MarqenError *error = nullptr);
    // Same, but the pixels are left uninitialised: for decoders that overwrite every pixel.
    static MarqenImageRef createUninitialized(int width, int height, MarqenError *error = nullptr);

    int width() const { return width_; }
    int height() const { return height_; }
    int stride() const { return width_ * 4; }  // equals cairo_format_stride_for_width(ARGB32, width)
    size_t byteCount() const { return static_cast<size_t>(stride()) * static_cast<size_t>(height_); }

    // Writable access forgets that the image was known to be opaque.
    uint8_t *data() {
        knownOpaque_ = false;
        return reinterpret_cast<uint8_t *>(pixels_.get());
    }
    const uint8_t *data() const { return reinterpret_cast<const uint8_t *>(pixels_.get()); }
    uint32_t *row(int y) {
        knownOpaque_ = false;
        return pixels_.get() + static_cast<size_t>(y) * static_cast<size_t>(width_);
    }
    const uint32_t *row(int y) const {
        return pixels_.get() + static_cast<size_t>(y) * static_cast<size_t>(width_);
    }

    // Premultiplied 0xAARRGGBB; coordinates must be inside the image.
    uint32_t pixelAt(int x, int y) const { return row(y)[x]; }
    void setPixelAt(int x, int y, uint32_t argb) { row(y)[x] = argb; }

    // Every alpha is 255. Answered at once for an image known to be opaque, else by a scan that stops
    // at the first pixel that is not.
    bool isOpaque() const;
    // For decoders of pictures without alpha, after their last write: every pixel is opaque, so
    // isOpaque needs no scan until the pixels are next opened for writing.
    void markKnownOpaque() { knownOpaque_ = true; }
    bool isKnownOpaque() const { return knownOpaque_; }
    MarqenImageRef copy(MarqenError *error = nullptr) const;

    MarqenImage(const MarqenImage &) = delete;
    MarqenImage &operator=(const MarqenImage &) = delete;

private:
    MarqenImage(int width, int height, std::unique_ptr<uint32_t[]> pixels);
    static MarqenImageRef allocate(int width, int height, bool zeroed, MarqenError *error);

    int width_;
    int height_;
    std::unique_ptr<uint32_t[]> pixels_;
    bool knownOpaque_ = false;
};

// Packing helpers. Components are 0..255; the result is premultiplied (colour scaled by alpha,
// rounded to nearest).
MARQEN_EXPORT uint32_t MarqenImagePremultiply(uint8_t alpha, uint8_t red, uint8_t green, uint8_t blue);
// The straight (unpremultiplied) components of a premultiplied pixel, as {alpha, red, green, blue}.
MARQEN_EXPORT void MarqenImageUnpremultiply(uint32_t argb, uint8_t components[4]);

}  // namespace marqen
