// The type of a file the facade is asked to open, read from its content, and the profile a picture
// file is kept in.
#include <fstream>

#include "core/core_document.h"
#include "foundation/string_helpers.h"
#include "platform/image_io.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

bool unreadable(MarqenError *error, const std::string &reason) {
    if (error) {
        marqenFail(error, kCoreMarqenErrorDomain, kCoreMarqenErrorCode, "Unable to read document.");
        error->userInfo["reason"] = reason;
    }
    return false;
}

const char *typeOfImageFormat(MarqenImageFormat format) {
    switch (format) {
        case MarqenImageFormat::PNG: return kMarqenTypePNG;
        case MarqenImageFormat::JPEG: return kMarqenTypeJPEG;
        case MarqenImageFormat::HEIC: return kMarqenTypeHEIC;
        case MarqenImageFormat::TIFF: return kMarqenTypeTIFF;
        case MarqenImageFormat::GIF: return kMarqenTypeGIF;
        case MarqenImageFormat::BMP: return kMarqenTypeBMP;
        case MarqenImageFormat::JPEG2000: return kMarqenTypeJPEG2000;
        default: return nullptr;
    }
}

}  // namespace

std::optional<std::string> CoreMarqenTypeIdentifierOfURL(const fs::path &url, MarqenError *error) {
    std::error_code ec;
    const auto status = fs::status(url, ec);
    if (ec || !fs::exists(status)) {
        unreadable(error, "No file at " + url.string());
        return std::nullopt;
    }
    if (fs::is_directory(status)) return std::string(kMarqenTypeCompositionBundle);
    if (!fs::is_regular_file(status)) {
        unreadable(error, url.string() + " is not a regular file");
        return std::nullopt;
    }
    std::ifstream stream(url, std::ios::binary);
    std::string head(1024, '\0');
    stream.read(head.data(), std::streamsize(head.size()));
    head.resize(size_t(stream.gcount()));
    if (head.empty()) {
        unreadable(error, url.string() + " is empty");
        return std::nullopt;
    }
    // A PDF's header may follow up to 1024 bytes of anything, as PDF readers accept.
    if (head.find("%PDF-") != std::string::npos) return std::string(kMarqenTypePDF);
    if (const char *type = typeOfImageFormat(MarqenImageDetectFormat(head.data(), head.size()))) return std::string(type);
    if (marqen_asciiLowercase(url.extension().string()) == ".marqen") return std::string(kMarqenTypeLegacySVGDocument);
    unreadable(error, url.string() + " is neither a picture, a PDF nor a document of this library");
    return std::nullopt;
}

std::optional<unsigned long> MarqenImageFileURLProfile(const fs::path &url) {
    MarqenImageProperties properties;
    if (!MarqenImageCopyPropertiesFromFile(url, &properties) || properties.iccProfile.empty()) return std::nullopt;
    if (properties.format == MarqenImageFormat::JPEG) return 1;
    if (properties.format == MarqenImageFormat::HEIC) return 2;
    return std::nullopt;
}

}  // namespace marqen
