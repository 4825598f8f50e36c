#include "platform/image.h"

#include <atomic>
#include <cstring>
#include <new>
#include <string>

namespace marqen {

MarqenImage::MarqenImage(int width, int height, std::unique_ptr<uint32_t[]> pixels)
    : width_(width), height_(height), pixels_(std::move(pixels)) {}

namespace {
std::atomic<uint64_t> gMaximumPixelCount{kMarqenImageDefaultMaximumPixelCount};
}  // namespace

void MarqenImageSetMaximumPixelCount(uint64_t pixels) {
    gMaximumPixelCount = pixels ? pixels : kMarqenImageDefaultMaximumPixelCount;
}
uint64_t MarqenImageMaximumPixelCount() { return gMaximumPixelCount; }

MarqenImageRef MarqenImage::allocate(int width, int height, bool zeroed, MarqenError *error) {
    if (width <= 0 || height <= 0) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorInvalidArgument,
                   "Image size " + std::to_string(width) + "x" + std::to_string(height) + " is empty.");
        return nullptr;
    }
    if (width > kMaximumDimension || height > kMaximumDimension ||
        uint64_t(width) * uint64_t(height) > MarqenImageMaximumPixelCount()) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorTooLarge,
                   "Image size " + std::to_string(width) + "x" + std::to_string(height) + " is too large.");
        return nullptr;
    }
    size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
    std::unique_ptr<uint32_t[]> pixels(zeroed ? new (std::nothrow) uint32_t[count]()
                                              : new (std::nothrow) uint32_t[count]);
    if (!pixels) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorOutOfMemory,
                   "Not enough memory for a " + std::to_string(width) + "x" + std::to_string(height) +
                       " image.");
        return nullptr;
    }
    return MarqenImageRef(new MarqenImage(width, height, std::move(pixels)));
}

MarqenImageRef MarqenImage::create(int width, int height, MarqenError *error) {
    return allocate(width, height, true, error);
}

MarqenImageRef MarqenImage::createUninitialized(int width, int height, MarqenError *error) {
    return allocate(width, height, false, error);
}

bool MarqenImage::isOpaque() const {
    if (knownOpaque_) return true;
    const uint32_t *p = pixels_.get();
    const size_t count = static_cast<size_t>(width_) * static_cast<size_t>(height_);
    // Blocks of pixels ANDed together (a loop the compiler vectorises), checked after each block, so a
    // transparent pixel ends the scan within one block of it.
    constexpr size_t kBlock = 1024;
    size_t i = 0;
    for (; i + kBlock <= count; i += kBlock) {
        uint32_t all = 0xFFFFFFFFu;
        for (size_t j = 0; j < kBlock; ++j) all &= p[i + j];
        if ((all >> 24) != 0xFF) return false;
    }
    for (; i < count; ++i)
        if ((p[i] >> 24) != 0xFF) return false;
    return true;
}

MarqenImageRef MarqenImage::copy(MarqenError *error) const {
    MarqenImageRef result = createUninitialized(width_, height_, error);
    if (result) {
        std::memcpy(result->data(), data(), byteCount());
        result->knownOpaque_ = knownOpaque_;
    }
    return result;
}

uint32_t MarqenImagePremultiply(uint8_t alpha, uint8_t red, uint8_t green, uint8_t blue) {
    auto scale = [alpha](uint8_t c) -> uint32_t {
        uint32_t t = static_cast<uint32_t>(c) * alpha + 128;
        return (t + (t >> 8)) >> 8;  // c·a/255 rounded to nearest, exact for all byte inputs
    };
    if (alpha == 255) return 0xFF000000u | (uint32_t(red) << 16) | (uint32_t(green) << 8) | blue;
    return (uint32_t(alpha) << 24) | (scale(red) << 16) | (scale(green) << 8) | scale(blue);
}

void MarqenImageUnpremultiply(uint32_t argb, uint8_t components[4]) {
    uint32_t a = argb >> 24;
    components[0] = static_cast<uint8_t>(a);
    if (a == 255) {
        components[1] = static_cast<uint8_t>(argb >> 16);
        components[2] = static_cast<uint8_t>(argb >> 8);
        components[3] = static_cast<uint8_t>(argb);
        return;
    }
    if (a == 0) {
        components[1] = components[2] = components[3] = 0;
        return;
    }
    for (int i = 0; i < 3; ++i) {
        uint32_t c = (argb >> (16 - 8 * i)) & 0xFF;
        uint32_t v = (c * 255 + a / 2) / a;
        components[1 + i] = static_cast<uint8_t>(v > 255 ? 255 : v);
    }
}

}  // namespace marqen
