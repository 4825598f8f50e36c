// Copying the picture of a rich image without the chunks that carry the document.
#include "formats/rich_image/rich_image_plain_copy.h"

#include <cerrno>
#include <cstring>

#include "formats/rich_image/rich_heic.h"
#include "formats/rich_image/rich_image_stream.h"
#include "formats/rich_image/rich_jpeg.h"
#include "formats/rich_image/rich_png.h"
#include "foundation/atomic_file.h"

namespace marqen {

namespace fs = std::filesystem;

namespace {

// Where the picture ends: the first chunk of a rich JPEG, the marker box of a rich HEIC, the file's end.
long pictureLength(FILE *input, const std::string &container) {
    const long size = MarqenRichImageStreamSize(input);
    if (container == "jpeg" && MarqenJPGImageIsValidMarqenJPGFile(input) == 0) return std::ftell(input);
    if (container == "heic" && MarqenHEICImageIsValidMarqenHEICFile(input) == 0) return std::ftell(input) - 24;
    return size;
}

struct PNGCopy {
    FILE *output;
    bool ended = false;
};

int copyPictureChunk(void *context, FILE *input, MarqenRichImageChunkToken token) {
    auto *copy = static_cast<PNGCopy *>(context);
    if (copy->ended || MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageMetadataChunkType) ||
        MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageResourceChunkType))
        return 0;
    MarqenRichImageCopyContentsOfRangeToFile(input, token.chunkOffset, token.chunkSize, copy->output);
    copy->ended = MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageEndChunkType);
    return 0;
}

}  // namespace

std::string MarqenRichImageContainerName(const fs::path &image) {
    if (MarqenJPGReadChunkTokens(nullptr, image.c_str(), nullptr) == 0) return "jpeg";
    if (MarqenHEICReadChunkTokens(nullptr, image.c_str(), nullptr) == 0) return "heic";
    if (MarqenPNGReadChunkTokens(nullptr, image.c_str(), nullptr) == 0) return "png";
    return "";
}

bool MarqenRichImageWritePlainImage(const fs::path &image, const fs::path &destination, std::string *reason) {
    const std::string container = MarqenRichImageContainerName(image);
    FILE *input = MarqenRichImageOpen(image.c_str(), "rb");
    if (!input) {
        if (reason) *reason = "cannot read " + image.string() + ": " + std::strerror(errno);
        return false;
    }
    const fs::path temporary = temporaryPathBeside(destination);
    FILE *output = MarqenRichImageOpen(temporary.c_str(), "wbx");
    if (!output) {
        std::fclose(input);
        if (reason) *reason = "cannot write " + temporary.string() + ": " + std::strerror(errno);
        return false;
    }
    if (container == "png") {
        std::fwrite(MarqenPNGImageSignature, 1, sizeof MarqenPNGImageSignature, output);
        PNGCopy copy{output};
        std::fseek(input, 8, SEEK_SET);
        MarqenRichImageWalkChunkTokens(&copy, input, MarqenRichImageStreamSize(input), copyPictureChunk);
    } else {
        const long length = pictureLength(input, container);
        MarqenRichImageCopyContentsOfRangeToFile(input, 0, uint32_t(length < 0 ? 0 : length), output);
    }
    std::fclose(input);
    const bool failed = std::ferror(output) != 0;
    if (std::fclose(output) != 0 || failed) {
        std::error_code ec;
        fs::remove(temporary, ec);
        if (reason) *reason = "cannot write " + destination.string();
        return false;
    }
    return moveIntoPlace(temporary, destination, reason);
}

}  // namespace marqen
