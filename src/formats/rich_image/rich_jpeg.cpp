// Walking and writing rich JPEG files: the chunk sequence follows the image, closed by its length and
// "marqen".
#include "formats/rich_image/rich_jpeg.h"

#include <cstring>

#include "formats/rich_image/rich_image_stream.h"

namespace marqen {

int MarqenJPGImageIsJPGFile(FILE *input) {
    const long size = MarqenRichImageStreamSize(input);
    if (size < 125) return kMarqenRichImageTooShort;
    uint8_t head[20];
    if (std::fseek(input, 0, SEEK_SET) != 0 || !MarqenRichImageReadExactly(input, head, sizeof head))
        return kMarqenRichImageTooShort;
    const bool named = std::memcmp(head + 6, "Exif", 4) == 0 || std::memcmp(head + 6, "JFIF", 4) == 0;
    return named && head[10] == 0 ? kMarqenRichImageSuccess : kMarqenRichImageWrongHeader;
}

bool MarqenJPGImageIsJPG(const char *path) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) return false;
    const int result = MarqenJPGImageIsJPGFile(input);
    std::fclose(input);
    return result == kMarqenRichImageSuccess;
}

int MarqenJPGImageIsValidMarqenJPGFile(FILE *input) {
    const int result = MarqenJPGImageIsJPGFile(input);
    if (result != kMarqenRichImageSuccess) return result;
    const long size = MarqenRichImageStreamSize(input);
    uint8_t trailer[10];
    if (std::fseek(input, size - 10, SEEK_SET) != 0 || !MarqenRichImageReadExactly(input, trailer, sizeof trailer))
        return kMarqenRichImageNoMarker;
    if (std::memcmp(trailer + 4, MarqenJPGImageTrailerMarker, 6) != 0) return kMarqenRichImageNoMarker;
    const uint32_t length = MarqenRichImageUint32FromUint8Array(trailer);
    // A length that reaches before the start of the file cannot name a chunk sequence either.
    if (length == 0 || int64_t(length) > int64_t(size) - 10) return kMarqenRichImageNoChunks;
    std::fseek(input, size - 10 - long(length), SEEK_SET);
    return kMarqenRichImageSuccess;
}

bool MarqenJPGImageIsValidMarqenJPG(const char *path) {
    return MarqenRichImageFileIsRich(path, MarqenJPGImageIsValidMarqenJPGFile);
}

int MarqenJPGReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback) {
    // The 10-byte trailer is shorter than a chunk, so it ends the walk as a short tail.
    return MarqenRichImageReadTokensOfRichFile(context, path, MarqenJPGImageIsValidMarqenJPGFile, callback);
}

int MarqenJPGWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                         MarqenRichImageChunkWriterCallback writer) {
    FILE *output = MarqenRichImageCopyAndOpenForAppend(sourcePath, destinationPath);
    if (!output) return kMarqenRichImageCopyFailed;
    const long start = std::ftell(output);
    if (writer) writer(context, output);
    uint8_t length[4];
    MarqenRichImageUint8ArrayFromUint32(uint32_t(std::ftell(output) - start), length);
    std::fwrite(length, 1, sizeof length, output);
    std::fwrite(MarqenJPGImageTrailerMarker, 1, sizeof MarqenJPGImageTrailerMarker, output);
    const bool failed = std::ferror(output) != 0;
    if (std::fclose(output) != 0 || failed) return kMarqenRichImageCopyFailed;
    return kMarqenRichImageSuccess;
}

}  // namespace marqen
