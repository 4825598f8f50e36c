#pragma once
// Decoding and encoding image files (PNG, JPEG, HEIC, TIFF, GIF, BMP, JPEG 2000) to and from
// MarqenImage, with the file's properties in a dictionary whose keys mirror the platform's
// ("PixelWidth", "PixelHeight", "DPIWidth", "DPIHeight", "Orientation", "ColorModel", "HasAlpha",
// "Depth"). The format is always recognised from the bytes themselves, never from a file name.
//
// Safety: decoding refuses images with more pixels than a limit (default 256 megapixels) after
// reading only the header, and truncated or damaged files are errors, not partial images.
//
// Threads: safe on any thread; decoding and encoding run as background work.
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "../export.h"
#include "image.h"

namespace marqen {

enum class MarqenImageFormat { Unknown, PNG, JPEG, HEIC, TIFF, GIF, BMP, JPEG2000 };

// "png", "jpeg", "heic", "tiff", "gif", "bmp", "jp2"; "" for Unknown.
MARQEN_EXPORT const char *MarqenImageFormatName(MarqenImageFormat format);
// The usual file extension ("png", "jpg", "heic", "tiff", "gif", "bmp", "jp2").
MARQEN_EXPORT const char *MarqenImageFormatFileExtension(MarqenImageFormat format);
// Recognises a format by its leading bytes (16 bytes are enough).
MARQEN_EXPORT MarqenImageFormat MarqenImageDetectFormat(const void *bytes, size_t length);

inline constexpr const char *kMarqenImagePropertyPixelWidth = "PixelWidth";
inline constexpr const char *kMarqenImagePropertyPixelHeight = "PixelHeight";
inline constexpr const char *kMarqenImagePropertyDPIWidth = "DPIWidth";    // present only when the file says
inline constexpr const char *kMarqenImagePropertyDPIHeight = "DPIHeight";
inline constexpr const char *kMarqenImagePropertyOrientation = "Orientation";  // EXIF/TIFF 1..8, when stored
inline constexpr const char *kMarqenImagePropertyColorModel = "ColorModel";    // "RGB", "Gray", "CMYK", "Lab"
inline constexpr const char *kMarqenImagePropertyHasAlpha = "HasAlpha";
inline constexpr const char *kMarqenImagePropertyDepth = "Depth";  // bits per sample

// What the file says about itself. PixelWidth/PixelHeight are the stored dimensions: for a JPEG
// with an EXIF orientation of 5 to 8 the decoded (upright) image has them swapped.
struct MARQEN_EXPORT MarqenImageProperties {
    MarqenImageFormat format = MarqenImageFormat::Unknown;
    nlohmann::ordered_json dictionary = nlohmann::ordered_json::object();
    std::vector<uint8_t> iccProfile;  // the embedded colour profile, empty when none

    int pixelWidth() const;
    int pixelHeight() const;
    std::optional<double> dpiWidth() const;
    std::optional<double> dpiHeight() const;
};


struct MARQEN_EXPORT MarqenImageDecodeOptions {
    uint64_t maximumPixelCount = 0;  // 0: the process-wide limit
    bool applyOrientation = true;    // turn JPEGs upright according to their EXIF orientation
};

MARQEN_EXPORT MarqenImageRef MarqenImageDecodeData(const void *bytes, size_t length, MarqenImageProperties *properties = nullptr,
                                                   MarqenError *error = nullptr, const MarqenImageDecodeOptions &options = {});
MARQEN_EXPORT MarqenImageRef MarqenImageDecodeFile(const std::filesystem::path &path, MarqenImageProperties *properties = nullptr,
                                                   MarqenError *error = nullptr, const MarqenImageDecodeOptions &options = {});

// Reads the properties from the header without decoding pixels.
MARQEN_EXPORT bool MarqenImageCopyPropertiesFromData(const void *bytes, size_t length, MarqenImageProperties *properties,
                                                     MarqenError *error = nullptr);
MARQEN_EXPORT bool MarqenImageCopyPropertiesFromFile(const std::filesystem::path &path, MarqenImageProperties *properties,
                                                     MarqenError *error = nullptr);

struct MARQEN_EXPORT MarqenImageEncodeOptions {
    double quality = 0.85;    // 0..1 for JPEG, HEIC and JPEG 2000 (1 is lossless for JPEG 2000)
    double dpiWidth = 72;     // 0 writes no resolution. GIF has no place for one.
    double dpiHeight = 72;
    std::vector<uint8_t> iccProfile;  // embedded where the format allows (PNG, JPEG, HEIC, TIFF, JPEG 2000)
};

// Formats without alpha (JPEG; BMP and the others keep it) get transparent areas composited over white.
// The largest picture (in pixels) the format's encoder is given, 0 when it streams rows and takes any
// size a MarqenImage can have. Larger images are refused before encoding starts.
MARQEN_EXPORT uint64_t MarqenImageEncoderPixelLimit(MarqenImageFormat format);
MARQEN_EXPORT std::optional<std::vector<uint8_t>> MarqenImageEncode(const MarqenImage &image, MarqenImageFormat format,
                                                                    const MarqenImageEncodeOptions &options = {},
                                                                    MarqenError *error = nullptr);
// Encodes and writes through a temporary file beside the target, renamed into place.
MARQEN_EXPORT bool MarqenImageWriteToFile(const MarqenImage &image, const std::filesystem::path &path, MarqenImageFormat format,
                                          const MarqenImageEncodeOptions &options = {}, MarqenError *error = nullptr);

enum class MarqenImageTranscodeResult {
    Written,        // the file is in place
    NotStreamable,  // nothing was done: the picture has alpha, or a format is read or written whole
    Failed,         // nothing was written; *error says why
};
// Writes the picture held in `bytes` as an image file without a MarqenImage in between: rows go from the
// decoder to the encoder as they are decoded. The file is the one that MarqenImageDecodeData (with
// decodeOptions) followed by MarqenImageWriteToFile would write, with the same limits and the same safe
// write; it is offered for pictures without alpha, whose pixels pass unchanged, and for the formats that
// stream (not BMP pictures, nor BMP or JPEG 2000 files).
MARQEN_EXPORT MarqenImageTranscodeResult MarqenImageTranscodeData(const void *bytes, size_t length,
                                                                  const std::filesystem::path &path,
                                                                  MarqenImageFormat format,
                                                                  const MarqenImageEncodeOptions &options = {},
                                                                  const MarqenImageDecodeOptions &decodeOptions = {},
                                                                  MarqenError *error = nullptr);

// Reads a whole file (bounded by maximumBytes) for the decoders; exposed for callers that keep the bytes.
// With followSymbolicLink false, a symbolic link at the path itself is refused instead of followed: for
// files that were checked by name and must not be swapped for a link before they are opened.
MARQEN_EXPORT bool MarqenImageReadFileBytes(const std::filesystem::path &path, std::vector<uint8_t> *bytes, MarqenError *error,
                                            uint64_t maximumBytes = uint64_t(4) << 30, bool followSymbolicLink = true);

}  // namespace marqen
