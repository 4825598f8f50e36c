// MarqenCompositionPNGCodec: a bundle to and from rich-image chunks.
#include "formats/rich_image/composition_png_codec.h"

#include <cstring>

#include "formats/composition_bundle.h"
#include "formats/resource_uri.h"
#include "formats/rich_image/rich_heic.h"
#include "formats/rich_image/rich_image_stream.h"
#include "formats/rich_image/rich_jpeg.h"
#include "formats/rich_image/rich_png.h"
#include "foundation/atomic_file.h"
#include "foundation/log.h"
#include "foundation/uuid.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

bool codecFailure(MarqenError *error, int code) {
    if (error) *error = MarqenError{MarqenPNGImageErrorDomain, code, nlohmann::ordered_json::object()};
    return false;
}

bool isRegularFileInBundle(const fs::path &path) {
    std::error_code ec;
    return fs::is_regular_file(fs::symlink_status(path, ec));
}

using ContainerTest = int (*)(FILE *);
bool passes(const fs::path &path, ContainerTest test) {
    FILE *file = MarqenRichImageOpen(path.c_str(), "rb");
    if (!file) return false;
    const int result = test(file);
    std::fclose(file);
    return result == kMarqenRichImageSuccess;
}

std::string uuidText(const uint8_t bytes[16]) {
    static const char digits[] = "0123456789ABCDEF";
    std::string text;
    for (int i = 0; i < 16; ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        text += digits[bytes[i] >> 4];
        text += digits[bytes[i] & 15];
    }
    return text;
}

bool uuidBytes(const std::string &text, uint8_t bytes[16]) {
    if (!marqen_isUUIDString(text)) return false;
    std::string hex;
    for (char c : text)
        if (c != '-') hex += c;
    for (int i = 0; i < 16; ++i) bytes[i] = uint8_t(std::stoi(hex.substr(size_t(i) * 2, 2), nullptr, 16));
    return true;
}

// A fresh file in the temporary directory, holding one chunk's data; removed by its owner.
class ChunkDataFile {
public:
    ChunkDataFile(FILE *input, uint32_t offset, uint32_t length, const char *extension) {
        std::error_code ec;
        path_ = fs::temp_directory_path(ec) / (marqen_stringWithNewUUID() + extension);
        FILE *output = MarqenRichImageOpen(path_.c_str(), "wbx");
        if (!output) return;
        MarqenRichImageCopyContentsOfRangeToFile(input, offset, length, output);
        const bool failed = std::ferror(output) != 0;
        ok_ = std::fclose(output) == 0 && !failed;
    }
    ChunkDataFile(const ChunkDataFile &) = delete;
    ChunkDataFile &operator=(const ChunkDataFile &) = delete;
    ~ChunkDataFile() {
        std::error_code ec;
        fs::remove(path_, ec);
    }
    bool ok() const { return ok_; }
    const fs::path &path() const { return path_; }

private:
    fs::path path_;
    bool ok_ = false;
};

}  // namespace

std::optional<std::set<std::string>> MarqenCompositionPNGCodecDelegate::compositionPNGCodecResourceURIsForBundle(
    MarqenCompositionPNGCodec &, const MarqenCompositionBundle &) {
    return std::nullopt;
}

bool MarqenCompositionPNGCodec::encodeBundle(std::shared_ptr<MarqenCompositionBundle> bundle,
                                             const fs::path &destination, MarqenError *error) {
    bundle_ = std::move(bundle);
    if (!bundle_) return codecFailure(error, kMarqenRichImageCannotOpen);
    const fs::path source = bundle_->previewURL();
    // The preview is read only from inside the bundle.
    if (!isRegularFileInBundle(source)) return codecFailure(error, kMarqenRichImageCannotOpen);
    // A destination that may not be replaced (a link, a folder, a device) is refused before any work.
    std::string reason;
    if (!checkReplaceableTarget(destination, &reason)) return codecFailure(error, kMarqenRichImageCannotOpen);
    auto writer = MarqenPNGWriteChunks;
    if (passes(source, MarqenJPGImageIsJPGFile))
        writer = MarqenJPGWriteChunks;
    else if (passes(source, MarqenHEICImageIsHEICFile))
        writer = MarqenHEICWriteChunks;
    // The image is completed beside the destination, so a failure never leaves half of it in its place.
    const fs::path temporary = temporaryPathBeside(destination);
    const int result = writer(this, source.c_str(), temporary.c_str(), MarqenCompositionPNGCodecWriteChunkCallback);
    if (result != kMarqenRichImageSuccess) {
        std::error_code ec;
        fs::remove(temporary, ec);
        return codecFailure(error, result);
    }
    if (!moveIntoPlace(temporary, destination, &reason)) return codecFailure(error, kMarqenRichImageCannotOpen);
    return true;
}

void MarqenCompositionPNGCodec::MarqenCompositionPNGCodecWriteChunkCallback(void *context, FILE *output) {
    auto *codec = static_cast<MarqenCompositionPNGCodec *>(context);
    const MarqenCompositionBundle &bundle = *codec->bundle_;
    const fs::path index = bundle.indexJSONFileURL();
    std::error_code ec;
    if (isRegularFileInBundle(index))
        MarqenPNGImageWriteMetadataChunk(index.c_str(), output);
    else if (fs::exists(fs::symlink_status(index, ec)))
        marqenLog("Skipped the index " + index.string() + ": not a regular file");

    std::optional<std::set<std::string>> allowed;
    if (auto delegate = codec->delegate()) allowed = delegate->compositionPNGCodecResourceURIsForBundle(*codec, bundle);
    for (const MarqenCompositionBundleResource &resource : bundle.resources()) {
        if (resource.resourceURI.empty() || (allowed && !allowed->count(resource.resourceURI))) continue;
        uint8_t uuid[16];
        const std::string name = MarqenTrimCharacters(MarqenSplitURI(resource.resourceURI).path, "/");
        if (!uuidBytes(name, uuid)) {
            marqenLog("Skipped resource " + resource.resourceURI + ": its name is not a UUID");
            continue;
        }
        MarqenPNGImageWriteResourceChunk(resource.dataURL.c_str(), uuid, output);
    }
}

bool MarqenCompositionPNGCodec::decodeImageAtURL(const fs::path &image, std::shared_ptr<MarqenCompositionBundle> bundle,
                                                 MarqenError *error) {
    bundle_ = std::move(bundle);
    lastError_.reset();
    if (!bundle_) return codecFailure(error, kMarqenRichImageCannotOpen);
    if (MarqenJPGReadChunkTokens(this, image.c_str(), MarqenCompositionPNGCodecDidReadChunkTokenCallback) == 0) return true;
    if (MarqenHEICReadChunkTokens(this, image.c_str(), MarqenCompositionPNGCodecDidReadChunkTokenCallback) == 0) return true;
    const int result = MarqenPNGReadChunkTokens(this, image.c_str(), MarqenCompositionPNGCodecDidReadChunkTokenCallback);
    return result == kMarqenRichImageSuccess || codecFailure(error, result);
}

int MarqenCompositionPNGCodec::MarqenCompositionPNGCodecDidReadChunkTokenCallback(void *context, FILE *input,
                                                                                  MarqenRichImageChunkToken token) {
    auto *codec = static_cast<MarqenCompositionPNGCodec *>(context);
    if (MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageMetadataChunkType))
        codec->storeMetadata(input, token);
    else if (MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageResourceChunkType))
        codec->storeResource(input, token);
    return 0;
}

void MarqenCompositionPNGCodec::storeMetadata(FILE *input, const MarqenRichImageChunkToken &token) {
    ChunkDataFile file(input, token.dataOffset, token.dataLength, ".json");
    MarqenError error;
    std::string data;
    bool read = false;
    if (file.ok()) {
        // The chunk lies inside the file, so this is bounded by the file's real size.
        FILE *stream = MarqenRichImageOpen(file.path().c_str(), "rb");
        data.resize(token.dataLength);
        read = stream && MarqenRichImageReadExactly(stream, data.data(), data.size());
        if (stream) std::fclose(stream);
    }
    if (!read) {
        lastError_ = MarqenError{MarqenPNGImageErrorDomain, kMarqenRichImageCannotOpen, nlohmann::ordered_json::object()};
        return;
    }
    if (bundle_->writeDataForIndexJSONFile(data, &error))
        lastError_.reset();
    else
        lastError_ = error;
}

void MarqenCompositionPNGCodec::storeResource(FILE *input, const MarqenRichImageChunkToken &token) {
    if (token.dataLength < 16) {
        marqenLog("Skipped the resource chunk at offset " + std::to_string(token.chunkOffset) + ": shorter than 16 bytes");
        return;
    }
    uint8_t uuid[16];
    const long saved = std::ftell(input);
    std::fseek(input, long(token.dataOffset), SEEK_SET);
    const bool read = MarqenRichImageReadExactly(input, uuid, sizeof uuid);
    std::fseek(input, saved, SEEK_SET);
    if (!read) return;
    // Written in any case, read back in upper case: the URI text is normalised on the way.
    const std::string uri = std::string(MarqenCompositionBundleURIScheme) + ":///" + uuidText(uuid);
    ChunkDataFile file(input, token.dataOffset + 16, token.dataLength - 16, ".resource");
    MarqenError error;
    if (!file.ok())
        lastError_ = MarqenError{MarqenPNGImageErrorDomain, kMarqenRichImageCannotOpen, nlohmann::ordered_json::object()};
    else if (bundle_->writeDataFromURL(file.path(), uri, &error))
        lastError_.reset();
    else
        lastError_ = error;
}

}  // namespace marqen
