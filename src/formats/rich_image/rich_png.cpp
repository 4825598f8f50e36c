// Walking and writing rich PNG files.
#include "formats/rich_image/rich_png.h"

#include <unistd.h>

#include <cstring>

#include "formats/rich_image/rich_image_stream.h"
#include "formats/rich_image/rich_jpeg.h"

namespace marqen {

namespace {

// Opens a PNG for a walk, positioned after the signature; nullptr with the result code otherwise.
FILE *openPNG(const char *path, long *size, int *result) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) {
        *result = kMarqenRichImageCannotOpen;
        return nullptr;
    }
    *size = MarqenRichImageStreamSize(input);
    uint8_t signature[8];
    if (*size <= 31 || !MarqenRichImageReadExactly(input, signature, sizeof signature) ||
        std::memcmp(signature, MarqenPNGImageSignature, sizeof signature) != 0) {
        std::fclose(input);
        *result = kMarqenRichImageNotRichImage;
        return nullptr;
    }
    return input;
}

int walkResult(int readResult) {
    return readResult == kMarqenRichImageChunkPastEnd ? kMarqenRichImageChunkPastEnd : kMarqenRichImageSuccess;
}

}  // namespace

int MarqenPNGReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback) {
    long size = 0;
    int result = 0;
    FILE *input = openPNG(path, &size, &result);
    if (!input) return result;
    result = walkResult(MarqenRichImageWalkChunkTokens(context, input, size, callback));
    std::fclose(input);
    return result;
}

int MarqenPNGWriteChunksReadChunkTokensCallback(void *context, FILE *input, MarqenRichImageChunkToken token) {
    if (!MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageEndChunkType))
        MarqenRichImageCopyContentsOfRangeToFile(input, token.chunkOffset, token.chunkSize, static_cast<FILE *>(context));
    return 0;
}

namespace {

// The copying walk of the writer: neighbouring chunks are gathered into one range, which the kernel
// copies file to file (the image data of a large preview is thousands of chunks in one run). The bytes
// are those MarqenPNGWriteChunksReadChunkTokensCallback writes.
struct RangeCopy {
    FILE *output;
    uint64_t start = 0, end = 0;
    bool failed = false;

    void flush(FILE *input) {
        if (end > start && !failed) {
            std::fflush(output);
            off64_t from = off64_t(start);
            uint64_t left = end - start;
            while (left > 0) {
                ssize_t copied = ::copy_file_range(fileno(input), &from, fileno(output), nullptr, left, 0);
                if (copied <= 0) break;
                left -= uint64_t(copied);
            }
            // Whatever the kernel did not copy goes through the streams; the output's stream position is
            // then taken from the file again.
            std::fseek(output, 0, SEEK_END);
            if (left > 0) MarqenRichImageCopyContentsOfRangeToFile(input, uint32_t(end - left), uint32_t(left), output);
        }
        start = end = 0;
    }
};

int gatherChunk(void *context, FILE *input, MarqenRichImageChunkToken token) {
    auto *copy = static_cast<RangeCopy *>(context);
    if (MarqenRichImageChunkTypeEquals(token.type, MarqenPNGImageEndChunkType)) {
        copy->flush(input);
        return 0;
    }
    if (copy->end != token.chunkOffset) copy->flush(input);
    if (copy->end == copy->start) copy->start = token.chunkOffset;
    copy->end = uint64_t(token.chunkOffset) + token.chunkSize;
    return 0;
}

}  // namespace

int MarqenPNGWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                         MarqenRichImageChunkWriterCallback writer) {
    FILE *output = MarqenRichImageOpen(destinationPath, "wb");
    if (!output) return kMarqenRichImageCannotOpen;
    std::fwrite(MarqenPNGImageSignature, 1, sizeof MarqenPNGImageSignature, output);
    long size = 0;
    int result = 0;
    FILE *input = openPNG(sourcePath, &size, &result);
    if (input) {
        RangeCopy copy{output};
        result = walkResult(MarqenRichImageWalkChunkTokens(&copy, input, size, gatherChunk));
        copy.flush(input);  // the chunks before a broken one are written too
        std::fclose(input);
    }
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
