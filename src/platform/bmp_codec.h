#pragma once
// Reading and writing Windows BMP files. libvips reads BMP only through ImageMagick, which we do not
// let near untrusted files, so BMP has its own small, bounds-checked codec.
// Reads: 1, 2, 4, 8 bit palette images (uncompressed, RLE8, RLE4), 16, 24 and 32 bit (plain and
// bit-field masks, alpha from a V4/V5 alpha mask), top-down and bottom-up; OS/2 core headers.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdint>
#include <vector>

#include "platform/image.h"

namespace marqen {

struct MarqenBMPInfo {
    int width = 0;
    int height = 0;  // always positive; top-down files are flipped on read
    int bitsPerPixel = 0;
    double dpiWidth = 0;   // 0 when the file gives no resolution
    double dpiHeight = 0;
    bool hasAlpha = false;
};

// Parses and validates the headers only.
bool MarqenBMPReadInfo(const uint8_t *bytes, size_t length, MarqenBMPInfo *info, MarqenError *error);
// Decodes after checking width × height against maximumPixelCount.
MarqenImageRef MarqenBMPDecode(const uint8_t *bytes, size_t length, uint64_t maximumPixelCount,
                               MarqenBMPInfo *info, MarqenError *error);
// Opaque images are written as 24-bit, others as 32-bit with a V4 header carrying an alpha mask.
// A DPI of 0 writes no resolution.
std::vector<uint8_t> MarqenBMPEncode(const MarqenImage &image, double dpiWidth, double dpiHeight);

}  // namespace marqen
