// Walking and writing rich PNG files.
#include "formats/rich_image/rich_png.h"

#include <cstring>

#include "formats/rich_image/rich_image_stream.h"
#include "formats/rich_image/rich_jpeg.h"

namespace marqen {

int MarqenPNGReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) return kMarqenRichImageCannotOpen;
    const long size = MarqenRichImageStreamSize(input);
    uint8_t signature[8];
    if (size <= 31 || !MarqenRichImageReadExactly(input, signature, sizeof signature) ||
        std::memcmp(signature, MarqenPNGImageSignature, sizeof signature) != 0) {
        std::fclose(input);
        return kMarqenRichImageNotRichImage;
    }
    int result = MarqenRichImageWalkChunkTokens(context, input, size, callback);
    std::fclose(input);
    return result == kMarqenRichImageChunkPastEnd ? kMarqenRichImageChunkPastEnd : kMarqenRichImageSuccess;
}

int MarqenPNGWriteChunksReadChunkTokensCallback(void *context, FILE *input, MarqenRichImageChunkToken token) {
    if (!MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageEndChunkType))
        MarqenRichImageCopyContentsOfRangeToFile(input, token.chunkOffset, token.chunkSize, static_cast<FILE *>(context));
    return 0;
}

int MarqenPNGWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                         MarqenRichImageChunkWriterCallback writer) {
    FILE *output = MarqenRichImageOpen(destinationPath, "wb");
    if (!output) return kMarqenRichImageCannotOpen;
    std::fwrite(MarqenPNGImageSignature, 1, sizeof MarqenPNGImageSignature, output);
    int result = MarqenPNGReadChunkTokens(output, sourcePath, MarqenPNGWriteChunksReadChunkTokensCallback);
    if (result != kMarqenRichImageSuccess) {
        std::fclose(output);
        return result;
    }
    if (writer) writer(context, output);
    std::fwrite(MarqenPNGImageEndChunk, 1, sizeof MarqenPNGImageEndChunk, output);
    const bool failed = std::ferror(output) != 0;
    if (std::fclose(output) != 0 || failed) return kMarqenRichImageCannotOpen;
    return kMarqenRichImageSuccess;
}

namespace {
int flagPrivateChunk(void *context, FILE *, MarqenRichImageChunkToken token) {
    if (MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageMetadataChunkType) ||
        MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageResourceChunkType))
        *static_cast<bool *>(context) = true;
    return 0;
}
}  // namespace

bool URLContainsMarqenPNGChunks(const char *path) {
    bool found = false;
    MarqenPNGReadChunkTokens(&found, path, flagPrivateChunk);
    if (!found) MarqenJPGReadChunkTokens(&found, path, flagPrivateChunk);
    return found;
}

}  // namespace marqen
