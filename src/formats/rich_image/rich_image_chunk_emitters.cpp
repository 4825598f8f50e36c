// Emitting the two private chunks: the index JSON ("mqMf") and one resource file ("mqRf").
#include <zlib.h>

#include <cstring>
#include <vector>

#include "formats/rich_image/rich_image_chunk.h"
#include "formats/rich_image/rich_image_stream.h"

namespace marqen {
namespace {

void writeUint32(uint32_t value, FILE *output) {
    uint8_t bytes[4];
    MarqenRichImageUint8ArrayFromUint32(value, bytes);
    std::fwrite(bytes, 1, 4, output);
}

// Writes length, type, prefix, the file's bytes and the CRC in one pass over the file. A file that
// shrinks while it is read is padded with zeros so that the chunk keeps its declared length.
int writeFileChunk(const char *path, const uint8_t type[4], const uint8_t *prefix, size_t prefixLength, FILE *output) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) return kMarqenRichImageCannotOpen;
    const long size = MarqenRichImageStreamSize(input);
    if (size < 0 || uint64_t(size) + prefixLength > 0xFFFFFFF3u) {
        std::fclose(input);
        return kMarqenRichImageCannotOpen;
    }
    writeUint32(uint32_t(size + long(prefixLength)), output);
    std::fwrite(type, 1, 4, output);
    uLong crc = crc32(0, type, 4);
    if (prefixLength > 0) {
        std::fwrite(prefix, 1, prefixLength, output);
        crc = crc32(crc, prefix, uInt(prefixLength));
    }
    std::vector<uint8_t> block(size_t(size) < MarqenRichImageCopyBlockSize ? size_t(size) : MarqenRichImageCopyBlockSize);
    long left = size;
    while (left > 0) {
        size_t want = left < long(block.size()) ? size_t(left) : block.size();
        size_t got = std::fread(block.data(), 1, want, input);
        if (got == 0) {
            std::memset(block.data(), 0, want);
            got = want;
        }
        std::fwrite(block.data(), 1, got, output);
        crc = crc32(crc, block.data(), uInt(got));
        left -= long(got);
    }
    std::fclose(input);
    writeUint32(uint32_t(crc), output);
    return kMarqenRichImageSuccess;
}

}  // namespace

int MarqenPNGImageWriteMetadataChunk(const char *path, FILE *output) {
    return writeFileChunk(path, MarqenPNGImageMetadataChunkType, nullptr, 0, output);
}

int MarqenPNGImageWriteResourceChunk(const char *path, const uint8_t uuidBytes[16], FILE *output) {
    return writeFileChunk(path, MarqenPNGImageResourceChunkType, uuidBytes, 16, output);
}

}  // namespace marqen
