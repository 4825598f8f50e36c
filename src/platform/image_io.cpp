#include "platform/image_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <fstream>

#include "platform/bmp_codec.h"
#include "platform/image_resolution.h"
#include "platform/vips_support.h"
#include "foundation/atomic_file.h"

namespace marqen {

using vips_support::ImageHandle;

namespace {


bool fail(MarqenError *error, long code, const std::string &description) {
    return marqenFail(error, kMarqenNativeImageErrorDomain, code, description);
}

std::string formatDisplayName(MarqenImageFormat format) {
    switch (format) {
        case MarqenImageFormat::PNG: return "PNG";
        case MarqenImageFormat::JPEG: return "JPEG";
        case MarqenImageFormat::HEIC: return "HEIC";
        case MarqenImageFormat::TIFF: return "TIFF";
        case MarqenImageFormat::GIF: return "GIF";
        case MarqenImageFormat::BMP: return "BMP";
        case MarqenImageFormat::JPEG2000: return "JPEG 2000";
        case MarqenImageFormat::Unknown: break;
    }
    return "image";
}

bool failTooLarge(MarqenError *error, uint64_t width, uint64_t height, uint64_t limit) {
    return fail(error, MarqenNativeImageErrorTooLarge,
                "The image is " + std::to_string(width) + "x" + std::to_string(height) +
                    " pixels, more than the limit of " + std::to_string(limit) + " pixels.");
}

// Opens the header lazily with the loader that belongs to the detected format. Pixels are decoded
// only when the image is read, so the dimensions can be checked first.
bool openWithVips(const uint8_t *bytes, size_t length, MarqenImageFormat format, bool sequential,
                  ImageHandle *image, MarqenError *error) {
    vips_support::ensureStarted();
    void *buffer = const_cast<uint8_t *>(bytes);
    VipsAccess access = sequential ? VIPS_ACCESS_SEQUENTIAL : VIPS_ACCESS_RANDOM;
    int status = -1;
    switch (format) {
        case MarqenImageFormat::PNG:
            status = vips_pngload_buffer(buffer, length, image->out(), "access", access, "fail_on",
                                         VIPS_FAIL_ON_TRUNCATED, nullptr);
            break;
        case MarqenImageFormat::JPEG:
            status = vips_jpegload_buffer(buffer, length, image->out(), "access", access, "fail_on",
                                          VIPS_FAIL_ON_TRUNCATED, nullptr);
            break;
        case MarqenImageFormat::HEIC:
            status = vips_heifload_buffer(buffer, length, image->out(), "access", access, "fail_on",
                                          VIPS_FAIL_ON_TRUNCATED, nullptr);
            break;
        case MarqenImageFormat::TIFF:
            status = vips_tiffload_buffer(buffer, length, image->out(), "access", access, "fail_on",
                                          VIPS_FAIL_ON_TRUNCATED, nullptr);
            break;
        case MarqenImageFormat::GIF:
            status = vips_gifload_buffer(buffer, length, image->out(), "access", access, "fail_on",
                                         VIPS_FAIL_ON_TRUNCATED, nullptr);
            break;
        case MarqenImageFormat::JPEG2000:
            status = vips_jp2kload_buffer(buffer, length, image->out(), "access", access, "fail_on",
                                          VIPS_FAIL_ON_TRUNCATED, nullptr);
            break;
        default: break;
    }
    if (status != 0 || !*image) {
        image->reset();
        return fail(error, MarqenNativeImageErrorCorruptData,
                    "The " + formatDisplayName(format) +
                        " data is damaged or unsupported: " + vips_support::takeErrorText() + ".");
    }
    return true;
}

// An EXIF rational field as libvips shows it ("299999/1000 (299.999, Rational, ...)").
std::optional<double> exifRational(VipsImage *image, const char *field) {
    const char *text = nullptr;
    if (vips_image_get_typeof(image, field) == 0 || vips_image_get_string(image, field, &text) != 0 || !text) {
        vips_error_clear();
        return std::nullopt;
    }
    long long numerator = 0, denominator = 0;
    if (std::sscanf(text, "%lld/%lld", &numerator, &denominator) != 2 || denominator == 0 || numerator <= 0) {
        return std::nullopt;
    }
    return double(numerator) / double(denominator);
}

std::optional<int> intField(VipsImage *image, const char *field) {
    int value = 0;
    if (vips_image_get_typeof(image, field) == 0) return std::nullopt;
    if (vips_image_get_int(image, field, &value) != 0) {
        vips_error_clear();
        return std::nullopt;
    }
    return value;
}

// DPI as the file states it. libvips leaves 1 pixel/mm when a file carries no resolution, so
// that value counts as absent; HEIC keeps its resolution only in EXIF.
bool vipsResolution(VipsImage *image, double *dpiWidth, double *dpiHeight) {
    if (image->Xres != 1.0 || image->Yres != 1.0) {
        if (image->Xres > 0 && image->Yres > 0) {
            *dpiWidth = MarqenImageTidyDPI(image->Xres * 25.4);
            *dpiHeight = MarqenImageTidyDPI(image->Yres * 25.4);
            return true;
        }
    }
    auto x = exifRational(image, "exif-ifd0-XResolution");
    auto y = exifRational(image, "exif-ifd0-YResolution");
    if (!x || !y) return false;
    const char *unit = nullptr;
    double scale = 1.0;  // inches unless the unit says centimetres
    if (vips_image_get_typeof(image, "exif-ifd0-ResolutionUnit") &&
        vips_image_get_string(image, "exif-ifd0-ResolutionUnit", &unit) == 0 && unit && unit[0] == '3') {
        scale = 2.54;
    }
    vips_error_clear();
    *dpiWidth = MarqenImageTidyDPI(*x * scale);
    *dpiHeight = MarqenImageTidyDPI(*y * scale);
    return *dpiWidth > 0 && *dpiHeight > 0;
}

// libvips always hands GIFs over with an alpha band; whether the file really has transparency is
// told by the graphic control block in front of the first frame.
bool gifHasTransparency(const uint8_t *b, size_t length) {
    if (length < 13) return false;
    size_t pos = 13;
    if (b[10] & 0x80) pos += size_t(3) << ((b[10] & 0x07) + 1);  // global colour table
    while (pos < length) {
        if (b[pos] == 0x21 && pos + 1 < length) {  // extension: label, then data sub-blocks
            if (b[pos + 1] == 0xF9 && pos + 3 < length && b[pos + 2] == 4) return (b[pos + 3] & 0x01) != 0;
            pos += 2;
            while (pos < length && b[pos] != 0) pos += size_t(b[pos]) + 1;
            ++pos;
        } else {
            return false;  // the first image (or the end) comes before any graphic control block
        }
    }
    return false;
}

const char *colorModel(VipsInterpretation interpretation) {
    switch (interpretation) {
        case VIPS_INTERPRETATION_B_W:
        case VIPS_INTERPRETATION_GREY16: return "Gray";
        case VIPS_INTERPRETATION_CMYK: return "CMYK";
        case VIPS_INTERPRETATION_LAB:
        case VIPS_INTERPRETATION_LABQ:
        case VIPS_INTERPRETATION_LABS: return "Lab";
        default: return "RGB";
    }
}

void fillVipsProperties(VipsImage *image, const uint8_t *bytes, size_t length, MarqenImageFormat format,
                        MarqenImageProperties *properties) {
    auto &dictionary = properties->dictionary;
    dictionary = nlohmann::ordered_json::object();
    properties->format = format;
    dictionary[kMarqenImagePropertyPixelWidth] = vips_image_get_width(image);
    dictionary[kMarqenImagePropertyPixelHeight] = vips_image_get_height(image);
    double dpiWidth = 0, dpiHeight = 0;
    bool hasResolution = format == MarqenImageFormat::JPEG2000
                             ? MarqenJP2ReadResolution(bytes, length, &dpiWidth, &dpiHeight)
                             : format != MarqenImageFormat::GIF && vipsResolution(image, &dpiWidth, &dpiHeight);
    if (hasResolution) {
        dictionary[kMarqenImagePropertyDPIWidth] = dpiWidth;
        dictionary[kMarqenImagePropertyDPIHeight] = dpiHeight;
    }
    if (auto orientation = intField(image, VIPS_META_ORIENTATION); orientation && *orientation >= 1 && *orientation <= 8) {
        dictionary[kMarqenImagePropertyOrientation] = *orientation;
    }
    dictionary[kMarqenImagePropertyColorModel] = colorModel(vips_image_get_interpretation(image));
    dictionary[kMarqenImagePropertyHasAlpha] =
        format == MarqenImageFormat::GIF ? gifHasTransparency(bytes, length) : vips_image_hasalpha(image) != 0;
    dictionary[kMarqenImagePropertyDepth] = static_cast<int>(vips_format_sizeof(vips_image_get_format(image)) * 8);
    properties->iccProfile.clear();
    const void *icc = nullptr;
    size_t iccLength = 0;
    if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) &&
        vips_image_get_blob(image, VIPS_META_ICC_NAME, &icc, &iccLength) == 0 && icc) {
        const auto *p = static_cast<const uint8_t *>(icc);
        properties->iccProfile.assign(p, p + iccLength);
    }
    vips_error_clear();
}

void fillBMPProperties(const MarqenBMPInfo &info, MarqenImageProperties *properties) {
    auto &dictionary = properties->dictionary;
    dictionary = nlohmann::ordered_json::object();
    properties->format = MarqenImageFormat::BMP;
    properties->iccProfile.clear();
    dictionary[kMarqenImagePropertyPixelWidth] = info.width;
    dictionary[kMarqenImagePropertyPixelHeight] = info.height;
    if (info.dpiWidth > 0 && info.dpiHeight > 0) {
        dictionary[kMarqenImagePropertyDPIWidth] = info.dpiWidth;
        dictionary[kMarqenImagePropertyDPIHeight] = info.dpiHeight;
    }
    dictionary[kMarqenImagePropertyColorModel] = "RGB";
    dictionary[kMarqenImagePropertyHasAlpha] = info.hasAlpha;
    dictionary[kMarqenImagePropertyDepth] = 8;
}

// Brings any decoded image to 8-bit RGB or grey with or without alpha (1 to 4 bands).
bool normaliseForPixels(ImageHandle *image, MarqenError *error) {
    VipsImage *in = image->get();
    VipsInterpretation interpretation = vips_image_get_interpretation(in);
    bool plain = vips_image_get_format(in) == VIPS_FORMAT_UCHAR && vips_image_get_bands(in) <= 4 &&
                 (interpretation == VIPS_INTERPRETATION_sRGB || interpretation == VIPS_INTERPRETATION_B_W ||
                  interpretation == VIPS_INTERPRETATION_RGB || interpretation == VIPS_INTERPRETATION_MULTIBAND);
    if (plain) return true;
    ImageHandle converted;
    if (vips_colourspace_issupported(in) &&
        vips_colourspace(in, converted.out(), VIPS_INTERPRETATION_sRGB, nullptr) == 0) {
        *image = std::move(converted);
    } else {
        vips_error_clear();
    }
    in = image->get();
    if (vips_image_get_bands(in) > 4) {
        ImageHandle extracted;
        if (vips_extract_band(in, extracted.out(), 0, "n", 4, nullptr) != 0) {
            return fail(error, MarqenNativeImageErrorCorruptData,
                        "The image has an unsupported layout: " + vips_support::takeErrorText() + ".");
        }
        *image = std::move(extracted);
        in = image->get();
    }
    if (vips_image_get_format(in) != VIPS_FORMAT_UCHAR) {
        ImageHandle cast;
        if (vips_cast_uchar(in, cast.out(), nullptr) != 0) {
            return fail(error, MarqenNativeImageErrorCorruptData,
                        "The image has an unsupported sample format: " + vips_support::takeErrorText() + ".");
        }
        *image = std::move(cast);
    }
    return true;
}

struct SinkTarget {
    MarqenImage *image;
    int bands;
    // libvips calls sinkRows on a worker thread of its own and hands back through GLib primitives that
    // thread checkers cannot see; the rows are written under this lock, which the caller takes once after
    // the sink, so that the hand-over is explicit.
    std::mutex rows;
};

// Receives decoded rows in order and packs them as premultiplied ARGB32.
int sinkRows(VipsRegion *region, VipsRect *area, void *userData) {
    auto *target = static_cast<SinkTarget *>(userData);
    std::lock_guard lock(target->rows);
    const int bands = target->bands;
    for (int y = area->top; y < area->top + area->height; ++y) {
        const auto *src = reinterpret_cast<const uint8_t *>(VIPS_REGION_ADDR(region, area->left, y));
        uint32_t *dst = target->image->row(y) + area->left;
        const int width = area->width;
        switch (bands) {
            case 1:
                for (int x = 0; x < width; ++x) {
                    uint32_t g = src[x];
                    dst[x] = 0xFF000000u | (g << 16) | (g << 8) | g;
                }
                break;
            case 2:
                for (int x = 0; x < width; ++x) dst[x] = MarqenImagePremultiply(src[2 * x + 1], src[2 * x], src[2 * x], src[2 * x]);
                break;
            case 3:
                for (int x = 0; x < width; ++x, src += 3) {
                    dst[x] = 0xFF000000u | (uint32_t(src[0]) << 16) | (uint32_t(src[1]) << 8) | src[2];
                }
                break;
            default:
                for (int x = 0; x < width; ++x, src += 4) dst[x] = MarqenImagePremultiply(src[3], src[0], src[1], src[2]);
                break;
        }
    }
    return 0;
}

bool checkLimit(uint64_t width, uint64_t height, uint64_t limit, MarqenError *error) {
    if (width == 0 || height == 0) return fail(error, MarqenNativeImageErrorCorruptData, "The image has no pixels.");
    if (width * height > limit) return failTooLarge(error, width, height, limit);
    if (width > MarqenImage::kMaximumDrawableSide || height > MarqenImage::kMaximumDrawableSide) {
        return fail(error, MarqenNativeImageErrorTooLarge,
                    "The image is " + std::to_string(width) + "x" + std::to_string(height) +
                        " pixels, more than the " + std::to_string(MarqenImage::kMaximumDrawableSide) +
                        " pixels a side that can be drawn.");
    }
    return true;
}

// Opens the picture as decoding hands it over: within the pixel limit, turned upright, in 8-bit RGB or
// grey with or without alpha. *found gets what the file says about itself.
bool openForPixels(const uint8_t *bytes, size_t length, MarqenImageFormat format, const MarqenImageDecodeOptions &options,
                   ImageHandle *image, MarqenImageProperties *found, MarqenError *error) {
    const uint64_t limit = options.maximumPixelCount ? options.maximumPixelCount : MarqenImageMaximumPixelCount();
    if (!openWithVips(bytes, length, format, true, image, error)) return false;
    if (!checkLimit(static_cast<uint64_t>(vips_image_get_width(image->get())),
                    static_cast<uint64_t>(vips_image_get_height(image->get())), limit, error)) {
        return false;
    }
    fillVipsProperties(image->get(), bytes, length, format, found);

    int orientation = found->dictionary.value(kMarqenImagePropertyOrientation, 1);
    if (format == MarqenImageFormat::JPEG && options.applyOrientation && orientation > 1) {
        // Turning needs random access to the pixels: open again without the streaming hint.
        ImageHandle random, upright;
        if (!openWithVips(bytes, length, format, false, &random, error)) return false;
        if (vips_autorot(random.get(), upright.out(), nullptr) != 0) {
            return fail(error, MarqenNativeImageErrorCorruptData,
                        "The JPEG image could not be turned upright: " + vips_support::takeErrorText() + ".");
        }
        *image = std::move(upright);
    }
    return normaliseForPixels(image, error);
}

}  // namespace

const char *MarqenImageFormatName(MarqenImageFormat format) {
    switch (format) {
        case MarqenImageFormat::PNG: return "png";
        case MarqenImageFormat::JPEG: return "jpeg";
        case MarqenImageFormat::HEIC: return "heic";
        case MarqenImageFormat::TIFF: return "tiff";
        case MarqenImageFormat::GIF: return "gif";
        case MarqenImageFormat::BMP: return "bmp";
        case MarqenImageFormat::JPEG2000: return "jp2";
        case MarqenImageFormat::Unknown: break;
    }
    return "";
}

const char *MarqenImageFormatFileExtension(MarqenImageFormat format) {
    return format == MarqenImageFormat::JPEG ? "jpg" : MarqenImageFormatName(format);
}

MarqenImageFormat MarqenImageDetectFormat(const void *data, size_t length) {
    const auto *b = static_cast<const uint8_t *>(data);
    auto starts = [&](const char *magic, size_t n, size_t offset = 0) {
        return length >= offset + n && std::memcmp(b + offset, magic, n) == 0;
    };
    if (starts("\x89PNG\r\n\x1a\n", 8)) return MarqenImageFormat::PNG;
    if (starts("\xFF\xD8\xFF", 3)) return MarqenImageFormat::JPEG;
    if (starts("GIF87a", 6) || starts("GIF89a", 6)) return MarqenImageFormat::GIF;
    if (starts("II*\0", 4) || starts("MM\0*", 4) || starts("II+\0", 4) || starts("MM\0+", 4)) {
        return MarqenImageFormat::TIFF;
    }
    if (starts("\0\0\0\x0CjP  \r\n\x87\n", 12) || starts("\xFF\x4F\xFF\x51", 4)) return MarqenImageFormat::JPEG2000;
    if (starts("ftyp", 4, 4)) {
        static const char *brands[] = {"heic", "heix", "heim", "heis", "hevc", "hevx", "mif1", "msf1", "avif", "avis"};
        for (const char *brand : brands) {
            if (starts(brand, 4, 8)) return MarqenImageFormat::HEIC;
        }
    }
    if (starts("BM", 2) && length >= 18) {
        uint32_t header = uint32_t(b[14]) | (uint32_t(b[15]) << 8) | (uint32_t(b[16]) << 16) | (uint32_t(b[17]) << 24);
        if (header == 12 || header == 40 || header == 52 || header == 56 || header == 64 || header == 108 ||
            header == 124) {
            return MarqenImageFormat::BMP;
        }
    }
    return MarqenImageFormat::Unknown;
}

int MarqenImageProperties::pixelWidth() const { return dictionary.value(kMarqenImagePropertyPixelWidth, 0); }
int MarqenImageProperties::pixelHeight() const { return dictionary.value(kMarqenImagePropertyPixelHeight, 0); }
std::optional<double> MarqenImageProperties::dpiWidth() const {
    auto it = dictionary.find(kMarqenImagePropertyDPIWidth);
    if (it == dictionary.end() || !it->is_number()) return std::nullopt;
    return it->get<double>();
}
std::optional<double> MarqenImageProperties::dpiHeight() const {
    auto it = dictionary.find(kMarqenImagePropertyDPIHeight);
    if (it == dictionary.end() || !it->is_number()) return std::nullopt;
    return it->get<double>();
}


bool MarqenImageCopyPropertiesFromData(const void *data, size_t length, MarqenImageProperties *properties,
                                       MarqenError *error) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    MarqenImageFormat format = MarqenImageDetectFormat(bytes, length);
    if (format == MarqenImageFormat::Unknown) {
        return fail(error, MarqenNativeImageErrorUnknownFormat, "The data is not in an image format that can be read.");
    }
    if (format == MarqenImageFormat::BMP) {
        MarqenBMPInfo info;
        if (!MarqenBMPReadInfo(bytes, length, &info, error)) return false;
        if (properties) fillBMPProperties(info, properties);
        return true;
    }
    ImageHandle image;
    if (!openWithVips(bytes, length, format, true, &image, error)) return false;
    if (properties) fillVipsProperties(image.get(), bytes, length, format, properties);
    return true;
}

MarqenImageRef MarqenImageDecodeData(const void *data, size_t length, MarqenImageProperties *properties,
                                     MarqenError *error, const MarqenImageDecodeOptions &options) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    const uint64_t limit = options.maximumPixelCount ? options.maximumPixelCount : MarqenImageMaximumPixelCount();
    MarqenImageFormat format = MarqenImageDetectFormat(bytes, length);
    if (format == MarqenImageFormat::Unknown) {
        fail(error, MarqenNativeImageErrorUnknownFormat, "The data is not in an image format that can be read.");
        return nullptr;
    }
    if (format == MarqenImageFormat::BMP) {
        MarqenBMPInfo info;
        MarqenImageRef image = MarqenBMPDecode(bytes, length, limit, &info, error);
        if (image && properties) fillBMPProperties(info, properties);
        return image;
    }

    ImageHandle image;
    MarqenImageProperties found;
    if (!openForPixels(bytes, length, format, options, &image, &found, error)) return nullptr;

    VipsImage *ready = image.get();
    MarqenImageRef result =
        MarqenImage::createUninitialized(vips_image_get_width(ready), vips_image_get_height(ready), error);
    if (!result) return nullptr;
    SinkTarget target{result.get(), vips_image_get_bands(ready), {}};
    const int sunk = vips_sink_disc(ready, sinkRows, &target);
    { std::lock_guard handedOver(target.rows); }
    if (sunk != 0) {
        fail(error, MarqenNativeImageErrorCorruptData,
             "The " + formatDisplayName(format) + " data is damaged or truncated: " + vips_support::takeErrorText() +
                 ".");
        return nullptr;
    }
    // One or three bands: the picture has no alpha, so every packed pixel is opaque.
    if (target.bands == 1 || target.bands == 3) result->markKnownOpaque();
    if (properties) *properties = std::move(found);
    return result;
}

namespace {

// Reads up to length bytes at the descriptor's position; the count read, or -1 on an error.
ssize_t readFully(int descriptor, uint8_t *into, size_t length) {
    size_t done = 0;
    while (done < length) {
        ssize_t got = ::read(descriptor, into + done, length - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

struct Descriptor {
    int fd;
    ~Descriptor() {
        if (fd >= 0) ::close(fd);
    }
};

}  // namespace

// The file is opened once and everything is learnt from the held descriptor: what it is and how
// large, then its first bytes, so that a file that is no image is refused before the rest is read.
bool MarqenImageReadFileBytes(const std::filesystem::path &path, std::vector<uint8_t> *bytes, MarqenError *error,
                              uint64_t maximumBytes, bool followSymbolicLink) {
    Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (followSymbolicLink ? 0 : O_NOFOLLOW))};
    if (file.fd < 0)
        return fail(error, MarqenNativeImageErrorFileAccess, "Cannot open " + path.string() + ": " + std::strerror(errno) + ".");
    struct stat status {};
    if (::fstat(file.fd, &status) != 0 || !S_ISREG(status.st_mode))
        return fail(error, MarqenNativeImageErrorFileAccess, "Cannot read " + path.string() + ": not a regular file.");
    const uint64_t size = static_cast<uint64_t>(status.st_size);
    if (size > maximumBytes) {
        return fail(error, MarqenNativeImageErrorTooLarge, "The file " + path.string() + " is too large to read.");
    }
    constexpr size_t kSignatureBytes = 64;
    uint8_t signature[kSignatureBytes];
    const ssize_t signatureLength = readFully(file.fd, signature, std::min<uint64_t>(size, kSignatureBytes));
    if (signatureLength < 0)
        return fail(error, MarqenNativeImageErrorFileAccess, "Cannot read " + path.string() + ": " + std::strerror(errno) + ".");
    if (MarqenImageDetectFormat(signature, static_cast<size_t>(signatureLength)) == MarqenImageFormat::Unknown)
        return fail(error, MarqenNativeImageErrorUnknownFormat,
                    "The file " + path.string() + " is not in an image format that can be read.");
    try {
        bytes->resize(static_cast<size_t>(size));
    } catch (const std::bad_alloc &) {
        return fail(error, MarqenNativeImageErrorOutOfMemory, "Not enough memory to read " + path.string() + ".");
    }
    std::memcpy(bytes->data(), signature, static_cast<size_t>(signatureLength));
    const size_t rest = static_cast<size_t>(size) - static_cast<size_t>(signatureLength);
    const ssize_t restLength = readFully(file.fd, bytes->data() + signatureLength, rest);
    if (restLength < 0 || static_cast<size_t>(restLength) != rest) {
        bytes->clear();
        return fail(error, MarqenNativeImageErrorFileAccess, "Cannot read all of " + path.string() + ".");
    }
    return true;
}

MarqenImageRef MarqenImageDecodeFile(const std::filesystem::path &path, MarqenImageProperties *properties,
                                     MarqenError *error, const MarqenImageDecodeOptions &options) {
    std::vector<uint8_t> bytes;
    if (!MarqenImageReadFileBytes(path, &bytes, error)) return nullptr;
    return MarqenImageDecodeData(bytes.data(), bytes.size(), properties, error, options);
}

bool MarqenImageCopyPropertiesFromFile(const std::filesystem::path &path, MarqenImageProperties *properties,
                                       MarqenError *error) {
    std::vector<uint8_t> bytes;
    if (!MarqenImageReadFileBytes(path, &bytes, error)) return false;
    return MarqenImageCopyPropertiesFromData(bytes.data(), bytes.size(), properties, error);
}

// ---- Encoding ----

namespace {

// Straight (unpremultiplied) 8-bit samples for libvips, RGBA; or RGB composited over white for
// formats without alpha.
std::vector<uint8_t> straightSamples(const MarqenImage &image, bool overWhite, int *bands) {
    *bands = overWhite ? 3 : 4;
    std::vector<uint8_t> samples(static_cast<size_t>(image.width()) * image.height() * *bands);
    uint8_t *out = samples.data();
    for (int y = 0; y < image.height(); ++y) {
        const uint32_t *row = image.row(y);
        for (int x = 0; x < image.width(); ++x) {
            uint32_t p = row[x];
            if (overWhite) {
                uint32_t rest = 255 - (p >> 24);  // premultiplied colour over white
                out[0] = uint8_t(std::min<uint32_t>(255, ((p >> 16) & 0xFF) + rest));
                out[1] = uint8_t(std::min<uint32_t>(255, ((p >> 8) & 0xFF) + rest));
                out[2] = uint8_t(std::min<uint32_t>(255, (p & 0xFF) + rest));
                out += 3;
            } else {
                uint8_t c[4];
                MarqenImageUnpremultiply(p, c);
                out[0] = c[1];
                out[1] = c[2];
                out[2] = c[3];
                out[3] = c[0];
                out += 4;
            }
        }
    }
    return samples;
}

int qualityPercent(double quality) {
    if (!std::isfinite(quality)) quality = 0.85;
    return std::clamp(static_cast<int>(std::lround(quality * 100)), 1, 100);
}

double pixelsPerMillimetre(double dpi) { return dpi > 0 && std::isfinite(dpi) ? dpi / 25.4 : 1.0; }

// The image as libvips will save it. Opaque images are read in place (the colour bytes of the
// packed words picked out lazily, so the encoder works while they are read); images with alpha are
// unpremultiplied into `samples`, which must outlive the result.
bool checkEncoderLimit(int width, int height, MarqenImageFormat format, MarqenError *error) {
    const uint64_t pixelCount = static_cast<uint64_t>(width) * static_cast<uint64_t>(height);
    if (const uint64_t limit = MarqenImageEncoderPixelLimit(format); limit && pixelCount > limit) {
        return fail(error, MarqenNativeImageErrorTooLarge,
                    "The image is " + std::to_string(width) + "x" + std::to_string(height) + " pixels, more than the " +
                        std::to_string(limit) + " pixels the " + formatDisplayName(format) + " encoder takes.");
    }
    return true;
}

// The samples as the encoder takes them: sRGB at the options' resolution, with the options' profile and
// nothing else the pixels' source may have carried.
bool finishForSaving(VipsImage *pixels, MarqenImageFormat format, const MarqenImageEncodeOptions &options,
                     ImageHandle *ready, MarqenError *error) {
    if (!pixels || vips_copy(pixels, ready->out(), "interpretation", VIPS_INTERPRETATION_sRGB, "xres",
                             pixelsPerMillimetre(options.dpiWidth), "yres", pixelsPerMillimetre(options.dpiHeight),
                             "xoffset", 0, "yoffset", 0, nullptr) != 0) {
        return fail(error, MarqenNativeImageErrorEncodeFailed,
                    "The image could not be prepared: " + vips_support::takeErrorText() + ".");
    }
    // A decoder's metadata (EXIF, profiles, bit depth, palette, pages) would steer the encoder.
    if (gchar **fields = vips_image_get_fields(ready->get())) {
        for (gchar **field = fields; *field; ++field) vips_image_remove(ready->get(), *field);
        g_strfreev(fields);
    }
    if (!options.iccProfile.empty() && format != MarqenImageFormat::GIF) {
        vips_image_set_blob_copy(ready->get(), VIPS_META_ICC_NAME, options.iccProfile.data(), options.iccProfile.size());
    }
    return true;
}

bool prepareForSaving(const MarqenImage &image, MarqenImageFormat format, const MarqenImageEncodeOptions &options,
                      std::vector<uint8_t> *samples, ImageHandle *ready, MarqenError *error) {
    if (!checkEncoderLimit(image.width(), image.height(), format, error)) return false;
    vips_support::ensureStarted();
    ImageHandle pixels;
    if (image.isOpaque()) {
        ImageHandle packed(vips_image_new_from_memory(image.data(), image.byteCount(), image.width(), image.height(),
                                                      4, VIPS_FORMAT_UCHAR));
        // Byte order of 0xAARRGGBB words in memory.
        const int order[3] = {std::endian::native == std::endian::little ? 2 : 1, std::endian::native == std::endian::little ? 1 : 2,
                              std::endian::native == std::endian::little ? 0 : 3};
        ImageHandle channels[3];
        bool ok = static_cast<bool>(packed);
        for (int i = 0; ok && i < 3; ++i) ok = vips_extract_band(packed.get(), channels[i].out(), order[i], nullptr) == 0;
        VipsImage *parts[3] = {channels[0].get(), channels[1].get(), channels[2].get()};
        if (!ok || vips_bandjoin(parts, pixels.out(), 3, nullptr) != 0) {
            return fail(error, MarqenNativeImageErrorEncodeFailed,
                        "The image could not be prepared: " + vips_support::takeErrorText() + ".");
        }
    } else {
        int bands = 0;
        try {
            *samples = straightSamples(image, format == MarqenImageFormat::JPEG, &bands);
        } catch (const std::bad_alloc &) {
            return fail(error, MarqenNativeImageErrorOutOfMemory, "Not enough memory to encode the image.");
        }
        pixels.reset(vips_image_new_from_memory(samples->data(), samples->size(), image.width(), image.height(), bands,
                                                VIPS_FORMAT_UCHAR));
    }
    return finishForSaving(pixels.get(), format, options, ready, error);
}

bool saveToTarget(VipsImage *image, MarqenImageFormat format, const MarqenImageEncodeOptions &options,
                  VipsTarget *target, MarqenError *error) {
    const int q = qualityPercent(options.quality);
    int status = -1;
    switch (format) {
        case MarqenImageFormat::PNG: status = vips_pngsave_target(image, target, nullptr); break;
        case MarqenImageFormat::JPEG: status = vips_jpegsave_target(image, target, "Q", q, nullptr); break;
        case MarqenImageFormat::HEIC:
            status = vips_heifsave_target(image, target, "Q", q, "compression", VIPS_FOREIGN_HEIF_COMPRESSION_HEVC,
                                          nullptr);
            break;
        case MarqenImageFormat::TIFF:
            status = vips_tiffsave_target(image, target, "compression", VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE,
                                          "predictor", VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL, "resunit",
                                          VIPS_FOREIGN_TIFF_RESUNIT_INCH, nullptr);
            break;
        case MarqenImageFormat::GIF: status = vips_gifsave_target(image, target, nullptr); break;
        case MarqenImageFormat::JPEG2000:
            status = vips_jp2ksave_target(image, target, "Q", q, "lossless", q >= 100, nullptr);
            break;
        default: break;
    }
    if (status != 0) {
        return fail(error, MarqenNativeImageErrorEncodeFailed,
                    "The image could not be encoded as " + formatDisplayName(format) + ": " +
                        vips_support::takeErrorText() + ".");
    }
    return true;
}

bool writeFailed(const std::filesystem::path &path, const std::string &reason, MarqenError *error) {
    return fail(error, MarqenNativeImageErrorFileAccess, "Cannot write " + path.string() + ": " + reason + ".");
}

bool writeBytes(const std::vector<uint8_t> &bytes, const std::filesystem::path &path, MarqenError *error) {
    std::string reason;
    if (writeFileAtomically(path, std::string_view(reinterpret_cast<const char *>(bytes.data()), bytes.size()),
                            &reason))
        return true;
    return writeFailed(path, reason, error);
}

// Encodes straight into a temporary file beside `path` (no second copy of the encoded bytes in memory),
// renamed into place once complete; the target was checked to be replaceable.
bool saveStreamed(VipsImage *ready, const std::filesystem::path &path, MarqenImageFormat format,
                  const MarqenImageEncodeOptions &options, MarqenError *error) {
    std::filesystem::path temporary = temporaryPathBeside(path);
    int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        return writeFailed(path, std::strerror(errno), error);
    }
    VipsTarget *target = vips_target_new_to_descriptor(descriptor);
    bool saved = target && saveToTarget(ready, format, options, target, error);
    if (target) g_object_unref(target);
    bool closed = ::close(descriptor) == 0;
    if (!saved || !closed) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        return saved ? writeFailed(path, "the file could not be written", error) : false;
    }
    std::string reason;
    return moveIntoPlace(temporary, path, &reason) || writeFailed(path, reason, error);
}

}  // namespace

// PNG, JPEG and TIFF stream rows; the GIF encoder quantises the whole frame and the HEIC and JPEG 2000
// encoders convert it whole, each holding several copies (about 14 to 20 bytes a pixel), so they get
// an 8K frame and a bit.
uint64_t MarqenImageEncoderPixelLimit(MarqenImageFormat format) {
    switch (format) {
        case MarqenImageFormat::GIF:
        case MarqenImageFormat::HEIC:
        case MarqenImageFormat::JPEG2000: return 40'000'000;
        default: return 0;
    }
}

std::optional<std::vector<uint8_t>> MarqenImageEncode(const MarqenImage &image, MarqenImageFormat format,
                                                      const MarqenImageEncodeOptions &options, MarqenError *error) {
    if (format == MarqenImageFormat::Unknown) {
        fail(error, MarqenNativeImageErrorInvalidArgument, "No image format was given to encode to.");
        return std::nullopt;
    }
    if (format == MarqenImageFormat::BMP) {
        if (static_cast<uint64_t>(image.width()) * image.height() * 4 > 0xFFFF'0000u) {
            fail(error, MarqenNativeImageErrorTooLarge, "The image is too large for a BMP file.");
            return std::nullopt;
        }
        return MarqenBMPEncode(image, options.dpiWidth, options.dpiHeight);
    }
    std::vector<uint8_t> samples;
    ImageHandle ready;
    if (!prepareForSaving(image, format, options, &samples, &ready, error)) return std::nullopt;
    VipsTarget *target = vips_target_new_to_memory();
    if (!saveToTarget(ready.get(), format, options, target, error)) {
        g_object_unref(target);
        return std::nullopt;
    }
    VipsBlob *blob = nullptr;
    g_object_get(target, "blob", &blob, nullptr);
    std::vector<uint8_t> result;
    if (blob) {
        size_t length = 0;
        const auto *data = static_cast<const uint8_t *>(vips_blob_get(blob, &length));
        result.assign(data, data + length);
        vips_area_unref(VIPS_AREA(blob));
    }
    g_object_unref(target);
    if (result.empty()) {
        fail(error, MarqenNativeImageErrorEncodeFailed, "The " + formatDisplayName(format) + " encoder produced nothing.");
        return std::nullopt;
    }
    if (format == MarqenImageFormat::JPEG2000) result = MarqenJP2WithResolution(result, options.dpiWidth, options.dpiHeight);
    return result;
}

bool MarqenImageWriteToFile(const MarqenImage &image, const std::filesystem::path &path, MarqenImageFormat format,
                            const MarqenImageEncodeOptions &options, MarqenError *error) {
    if (format == MarqenImageFormat::BMP || format == MarqenImageFormat::JPEG2000 || format == MarqenImageFormat::Unknown) {
        auto encoded = MarqenImageEncode(image, format, options, error);
        return encoded && writeBytes(*encoded, path, error);
    }
    if (std::string refusal; !checkReplaceableTarget(path, &refusal)) return writeFailed(path, refusal, error);
    std::vector<uint8_t> samples;
    ImageHandle ready;
    if (!prepareForSaving(image, format, options, &samples, &ready, error)) return false;
    return saveStreamed(ready.get(), path, format, options, error);
}

MarqenImageTranscodeResult MarqenImageTranscodeData(const void *data, size_t length, const std::filesystem::path &path,
                                                    MarqenImageFormat format, const MarqenImageEncodeOptions &options,
                                                    const MarqenImageDecodeOptions &decodeOptions, MarqenError *error) {
    const auto *bytes = static_cast<const uint8_t *>(data);
    const MarqenImageFormat source = MarqenImageDetectFormat(bytes, length);
    // BMP pictures have a decoder of their own, and BMP and JPEG 2000 files are written whole.
    if (source == MarqenImageFormat::Unknown || source == MarqenImageFormat::BMP || format == MarqenImageFormat::Unknown ||
        format == MarqenImageFormat::BMP || format == MarqenImageFormat::JPEG2000)
        return MarqenImageTranscodeResult::NotStreamable;
    ImageHandle image;
    MarqenImageProperties found;
    if (!openForPixels(bytes, length, source, decodeOptions, &image, &found, error))
        return MarqenImageTranscodeResult::Failed;
    // Only pictures without alpha are packed unchanged: grey spread over the three colours, RGB as it is.
    const int bands = vips_image_get_bands(image.get());
    if (found.dictionary.value(kMarqenImagePropertyHasAlpha, true) || (bands != 1 && bands != 3))
        return MarqenImageTranscodeResult::NotStreamable;
    const int width = vips_image_get_width(image.get()), height = vips_image_get_height(image.get());
    if (!checkEncoderLimit(width, height, format, error)) return MarqenImageTranscodeResult::Failed;
    if (std::string refusal; !checkReplaceableTarget(path, &refusal)) {
        writeFailed(path, refusal, error);
        return MarqenImageTranscodeResult::Failed;
    }
    if (bands == 1) {
        ImageHandle colour;
        VipsImage *grey[3] = {image.get(), image.get(), image.get()};
        if (vips_bandjoin(grey, colour.out(), 3, nullptr) != 0) {
            fail(error, MarqenNativeImageErrorEncodeFailed,
                 "The image could not be prepared: " + vips_support::takeErrorText() + ".");
            return MarqenImageTranscodeResult::Failed;
        }
        image = std::move(colour);
    }
    ImageHandle ready;
    if (!finishForSaving(image.get(), format, options, &ready, error) ||
        !saveStreamed(ready.get(), path, format, options, error))
        return MarqenImageTranscodeResult::Failed;
    return MarqenImageTranscodeResult::Written;
}

}  // namespace marqen
