#include "platform/bmp_codec.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <string>

#include "platform/image_resolution.h"

namespace marqen {

namespace {

constexpr uint32_t kCompressionRGB = 0, kCompressionRLE8 = 1, kCompressionRLE4 = 2, kCompressionBitFields = 3,
                   kCompressionAlphaBitFields = 6;

uint16_t readU16(const uint8_t *p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }
uint32_t readU32(const uint8_t *p) {
    return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) | (uint32_t(p[3]) << 24);
}
int32_t readI32(const uint8_t *p) { return static_cast<int32_t>(readU32(p)); }

bool corrupt(MarqenError *error, const std::string &what) {
    return marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorCorruptData,
                      "The BMP file is damaged or unsupported: " + what + ".");
}

// One colour channel described by a bit mask.
struct Channel {
    uint32_t mask = 0;
    int shift = 0;
    uint32_t maximum = 0;
    explicit Channel(uint32_t m = 0) : mask(m) {
        if (mask) {
            shift = std::countr_zero(mask);
            maximum = mask >> shift;
        }
    }
    uint8_t extract(uint32_t pixel, uint8_t absent) const {
        if (!mask) return absent;
        uint64_t v = (pixel & mask) >> shift;
        return static_cast<uint8_t>((v * 255 + maximum / 2) / maximum);
    }
};

struct Layout {
    MarqenBMPInfo info;
    bool topDown = false;
    uint32_t compression = kCompressionRGB;
    uint32_t dataOffset = 0;
    Channel red, green, blue, alpha;
    std::vector<uint32_t> palette;  // 0xFFRRGGBB
};

bool parse(const uint8_t *bytes, size_t length, Layout *layout, MarqenError *error) {
    if (length < 26 || bytes[0] != 'B' || bytes[1] != 'M') return corrupt(error, "missing header");
    layout->dataOffset = readU32(bytes + 10);
    uint32_t headerSize = readU32(bytes + 14);
    const uint8_t *h = bytes + 14;
    if (headerSize < 12 || headerSize > length - 14) return corrupt(error, "bad header size");
    int64_t width, height;
    int bpp;
    size_t paletteEntrySize = 4;
    uint32_t colorsUsed = 0;
    MarqenBMPInfo &info = layout->info;
    if (headerSize == 12) {  // OS/2 core header
        width = readU16(h + 4);
        height = readU16(h + 6);
        bpp = readU16(h + 10);
        paletteEntrySize = 3;
    } else {
        if (headerSize < 40) return corrupt(error, "bad header size");
        width = readI32(h + 4);
        height = readI32(h + 8);
        bpp = readU16(h + 14);
        layout->compression = readU32(h + 16);
        int32_t xppm = readI32(h + 24), yppm = readI32(h + 28);
        if (xppm > 0 && yppm > 0) {
            info.dpiWidth = MarqenImageTidyDPI(xppm * 0.0254);
            info.dpiHeight = MarqenImageTidyDPI(yppm * 0.0254);
        }
        colorsUsed = readU32(h + 32);
    }
    if (height < 0) {
        layout->topDown = true;
        height = -height;
    }
    if (width <= 0 || height <= 0) return corrupt(error, "empty image");
    if (width > MarqenImage::kMaximumDrawableSide || height > MarqenImage::kMaximumDrawableSide) {
        return marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorTooLarge,
                          "The BMP image is too large.");
    }
    info.width = static_cast<int>(width);
    info.height = static_cast<int>(height);
    info.bitsPerPixel = bpp;

    uint32_t c = layout->compression;
    bool bitFields = c == kCompressionBitFields || c == kCompressionAlphaBitFields;
    if (c == kCompressionRLE8 && bpp != 8) return corrupt(error, "RLE8 needs 8 bits per pixel");
    if (c == kCompressionRLE4 && bpp != 4) return corrupt(error, "RLE4 needs 4 bits per pixel");
    if (c != kCompressionRGB && c != kCompressionRLE8 && c != kCompressionRLE4 && !bitFields) {
        return corrupt(error, "compression " + std::to_string(c) + " is not supported");
    }
    if (bitFields && bpp != 16 && bpp != 32) return corrupt(error, "bit fields need 16 or 32 bits per pixel");
    switch (bpp) {
        case 1: case 2: case 4: case 8: case 16: case 24: case 32: break;
        default: return corrupt(error, std::to_string(bpp) + " bits per pixel");
    }
    if (layout->topDown && (c == kCompressionRLE8 || c == kCompressionRLE4)) {
        return corrupt(error, "top-down RLE");
    }

    size_t afterHeader = 14 + headerSize;
    if (bitFields) {
        const uint8_t *masks = h + 40;
        size_t maskBytes = c == kCompressionAlphaBitFields ? 16 : 12;
        if (headerSize == 40) {  // masks follow the header
            if (afterHeader + maskBytes > length) return corrupt(error, "missing colour masks");
            afterHeader += maskBytes;
        } else if (headerSize < 52) {
            return corrupt(error, "missing colour masks");
        }
        layout->red = Channel(readU32(masks));
        layout->green = Channel(readU32(masks + 4));
        layout->blue = Channel(readU32(masks + 8));
        if (headerSize >= 56 || (headerSize == 40 && maskBytes == 16)) layout->alpha = Channel(readU32(masks + 12));
    } else if (bpp == 16) {
        layout->red = Channel(0x7C00);
        layout->green = Channel(0x03E0);
        layout->blue = Channel(0x001F);
    } else if (bpp == 32 || bpp == 24) {
        layout->red = Channel(0xFF0000);
        layout->green = Channel(0xFF00);
        layout->blue = Channel(0xFF);
        if (bpp == 32 && headerSize >= 56 && c == kCompressionRGB && readU32(h + 52) == 0xFF000000u) {
            layout->alpha = Channel(0xFF000000u);
        }
    }
    info.hasAlpha = layout->alpha.mask != 0;

    if (bpp <= 8) {
        size_t count = colorsUsed ? colorsUsed : (size_t(1) << bpp);
        if (count > (size_t(1) << bpp)) count = size_t(1) << bpp;
        size_t available = (length > afterHeader ? length - afterHeader : 0) / paletteEntrySize;
        if (layout->dataOffset > afterHeader) {
            available = std::min(available, (layout->dataOffset - afterHeader) / paletteEntrySize);
        }
        if (available == 0) return corrupt(error, "missing palette");
        count = std::min(count, available);
        for (size_t i = 0; i < count; ++i) {
            const uint8_t *e = bytes + afterHeader + i * paletteEntrySize;
            layout->palette.push_back(0xFF000000u | (uint32_t(e[2]) << 16) | (uint32_t(e[1]) << 8) | e[0]);
        }
    }
    if (layout->dataOffset >= length) return corrupt(error, "missing pixel data");
    return true;
}

uint32_t paletteColor(const Layout &layout, uint32_t index) {
    return index < layout.palette.size() ? layout.palette[index] : 0xFF000000u;
}

bool decodeRLE(const uint8_t *bytes, size_t length, const Layout &layout, MarqenImage &image,
               MarqenError *error) {
    // RLE pixels not written by the stream stay transparent, as skipped pixels should.
    const bool four = layout.compression == kCompressionRLE4;
    size_t pos = layout.dataOffset;
    int x = 0, y = 0;  // y counts rows from the bottom
    const int width = image.width(), height = image.height();
    auto put = [&](uint32_t index) {
        if (x < width && y < height) image.setPixelAt(x, height - 1 - y, paletteColor(layout, index));
        ++x;
    };
    while (y < height) {
        if (pos + 2 > length) return corrupt(error, "truncated RLE data");
        uint8_t count = bytes[pos], value = bytes[pos + 1];
        pos += 2;
        if (count > 0) {
            for (int i = 0; i < count; ++i) put(four ? ((i & 1) ? (value & 0x0F) : (value >> 4)) : value);
            continue;
        }
        if (value == 0) {  // end of line
            x = 0;
            ++y;
        } else if (value == 1) {  // end of bitmap
            return true;
        } else if (value == 2) {  // delta
            if (pos + 2 > length) return corrupt(error, "truncated RLE delta");
            x += bytes[pos];
            y += bytes[pos + 1];
            pos += 2;
        } else {  // absolute run of `value` pixels, padded to 16 bits
            size_t byteCount = four ? (value + 1) / 2 : value;
            if (pos + byteCount > length) return corrupt(error, "truncated RLE run");
            for (int i = 0; i < value; ++i) {
                put(four ? ((i & 1) ? (bytes[pos + i / 2] & 0x0F) : (bytes[pos + i / 2] >> 4)) : bytes[pos + i]);
            }
            pos += byteCount + (byteCount & 1);
        }
    }
    return true;
}

}  // namespace

bool MarqenBMPReadInfo(const uint8_t *bytes, size_t length, MarqenBMPInfo *info, MarqenError *error) {
    Layout layout;
    if (!parse(bytes, length, &layout, error)) return false;
    if (info) *info = layout.info;
    return true;
}

MarqenImageRef MarqenBMPDecode(const uint8_t *bytes, size_t length, uint64_t maximumPixelCount,
                               MarqenBMPInfo *info, MarqenError *error) {
    Layout layout;
    if (!parse(bytes, length, &layout, error)) return nullptr;
    if (info) *info = layout.info;
    const int width = layout.info.width, height = layout.info.height;
    if (static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > maximumPixelCount) {
        marqenFail(error, kMarqenNativeImageErrorDomain, MarqenNativeImageErrorTooLarge,
                   "The image is " + std::to_string(width) + "x" + std::to_string(height) +
                       " pixels, more than the limit of " + std::to_string(maximumPixelCount) + " pixels.");
        return nullptr;
    }
    const int bpp = layout.info.bitsPerPixel;
    if (layout.compression == kCompressionRLE8 || layout.compression == kCompressionRLE4) {
        MarqenImageRef image = MarqenImage::create(width, height, error);
        if (!image || !decodeRLE(bytes, length, layout, *image, error)) return nullptr;
        return image;
    }
    const size_t rowBytes = ((static_cast<size_t>(width) * bpp + 31) / 32) * 4;
    if (rowBytes * static_cast<size_t>(height) > length - layout.dataOffset) {
        corrupt(error, "truncated pixel data");
        return nullptr;
    }
    MarqenImageRef image = MarqenImage::createUninitialized(width, height, error);
    if (!image) return nullptr;
    for (int row = 0; row < height; ++row) {
        const uint8_t *src = bytes + layout.dataOffset + rowBytes * static_cast<size_t>(row);
        uint32_t *dst = image->row(layout.topDown ? row : height - 1 - row);
        for (int x = 0; x < width; ++x) {
            uint32_t pixel;
            if (bpp <= 8) {
                size_t bit = static_cast<size_t>(x) * bpp;
                uint32_t index = (src[bit / 8] >> (8 - bpp - bit % 8)) & ((1u << bpp) - 1);
                dst[x] = paletteColor(layout, index);
                continue;
            }
            if (bpp == 16) pixel = readU16(src + x * 2);
            else if (bpp == 24) pixel = uint32_t(src[x * 3]) | (uint32_t(src[x * 3 + 1]) << 8) | (uint32_t(src[x * 3 + 2]) << 16);
            else pixel = readU32(src + x * 4);
            dst[x] = MarqenImagePremultiply(layout.alpha.extract(pixel, 255), layout.red.extract(pixel, 0),
                                            layout.green.extract(pixel, 0), layout.blue.extract(pixel, 0));
        }
    }
    return image;
}

namespace {
void putU16(std::vector<uint8_t> &out, uint32_t v) {
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}
void putU32(std::vector<uint8_t> &out, uint32_t v) {
    putU16(out, v & 0xFFFF);
    putU16(out, v >> 16);
}
uint32_t pixelsPerMetre(double dpi) {
    if (!(dpi > 0) || dpi > 1e6) return 0;
    return static_cast<uint32_t>(std::lround(dpi / 0.0254));
}
}  // namespace

std::vector<uint8_t> MarqenBMPEncode(const MarqenImage &image, double dpiWidth, double dpiHeight) {
    const bool opaque = image.isOpaque();
    const uint32_t bpp = opaque ? 24 : 32;
    const uint32_t headerSize = opaque ? 40 : 108;
    const size_t rowBytes = ((static_cast<size_t>(image.width()) * bpp + 31) / 32) * 4;
    const size_t dataSize = rowBytes * static_cast<size_t>(image.height());
    const uint32_t offset = 14 + headerSize;
    std::vector<uint8_t> out;
    out.reserve(offset + dataSize);
    out.push_back('B');
    out.push_back('M');
    putU32(out, static_cast<uint32_t>(std::min<size_t>(offset + dataSize, 0xFFFFFFFFu)));
    putU32(out, 0);
    putU32(out, offset);
    putU32(out, headerSize);
    putU32(out, static_cast<uint32_t>(image.width()));
    putU32(out, static_cast<uint32_t>(image.height()));  // positive: bottom-up rows
    putU16(out, 1);
    putU16(out, bpp);
    putU32(out, opaque ? kCompressionRGB : kCompressionBitFields);
    putU32(out, static_cast<uint32_t>(std::min<size_t>(dataSize, 0xFFFFFFFFu)));
    putU32(out, pixelsPerMetre(dpiWidth));
    putU32(out, pixelsPerMetre(dpiHeight));
    putU32(out, 0);
    putU32(out, 0);
    if (!opaque) {
        putU32(out, 0x00FF0000u);
        putU32(out, 0x0000FF00u);
        putU32(out, 0x000000FFu);
        putU32(out, 0xFF000000u);
        putU32(out, 0x73524742u);  // 'sRGB' colour space
        out.insert(out.end(), 36 + 12, 0);  // end points and gamma, unused for sRGB
    }
    std::vector<uint8_t> row(rowBytes, 0);
    for (int y = image.height() - 1; y >= 0; --y) {
        const uint32_t *src = image.row(y);
        for (int x = 0; x < image.width(); ++x) {
            uint8_t c[4];
            MarqenImageUnpremultiply(src[x], c);
            uint8_t *d = row.data() + static_cast<size_t>(x) * (bpp / 8);
            d[0] = c[3];
            d[1] = c[2];
            d[2] = c[1];
            if (!opaque) d[3] = c[0];
        }
        out.insert(out.end(), row.begin(), row.end());
    }
    return out;
}

}  // namespace marqen
