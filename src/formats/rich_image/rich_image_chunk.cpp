// The chunk record shared by the three rich-image containers: constants, byte helpers, copies and the
// single-chunk reader.
#include "formats/rich_image/rich_image_chunk.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "formats/rich_image/rich_image_stream.h"

namespace marqen {

const uint8_t MarqenPNGImageMetadataChunkType[4] = {0x6D, 0x71, 0x4D, 0x66};
const uint8_t MarqenPNGImageResourceChunkType[4] = {0x6D, 0x71, 0x52, 0x66};
const uint8_t MarqenPNGImageEndChunkType[4] = {0x49, 0x45, 0x4E, 0x44};
const uint8_t MarqenPNGImageSignature[8] = {0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A};
const uint8_t MarqenPNGImageEndChunk[12] = {0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};
const uint8_t MarqenHEICImageFileBox[24] = {0x00, 0x00, 0x00, 0x00, 0x75, 0x75, 0x69, 0x64,
                                            0x5B, 0xB2, 0x43, 0x93, 0x89, 0x69, 0x4D, 0x17,
                                            0xA7, 0x8C, 0x5C, 0x95, 0xB2, 0x5B, 0x48, 0x2E};
const uint8_t MarqenJPGImageTrailerMarker[6] = {0x6D, 0x61, 0x72, 0x71, 0x65, 0x6E};

namespace {
// Big stdio buffers keep the small reads of chunk frames and trailers cheap.
constexpr size_t kStreamBufferSize = 64 * 1024;
}  // namespace

uint32_t MarqenRichImageUint32FromUint8Array(const uint8_t bytes[4]) {
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | uint32_t(bytes[3]);
}

uint64_t MarqenRichImageUint64FromUint8Array(const uint8_t bytes[8]) {
    return uint64_t(MarqenRichImageUint32FromUint8Array(bytes)) << 32 | MarqenRichImageUint32FromUint8Array(bytes + 4);
}

void MarqenRichImageUint8ArrayFromUint32(uint32_t value, uint8_t bytes[4]) {
    bytes[0] = uint8_t(value >> 24);
    bytes[1] = uint8_t(value >> 16);
    bytes[2] = uint8_t(value >> 8);
    bytes[3] = uint8_t(value);
}

int MarqenRichImageChunkTypeEquals(const uint8_t a[4], const uint8_t b[4]) { return std::memcmp(a, b, 4) == 0 ? 1 : 0; }

void MarqenRichImageChunkTypeCopy(uint8_t destination[4], const uint8_t source[4]) { std::memcpy(destination, source, 4); }

void ConvertCFUUIDBytesToMarqenRichImageUUIDBytes(const uint8_t uuidRecord[16], uint8_t bytes[16]) {
    std::memcpy(bytes, uuidRecord, 16);
}

FILE *MarqenRichImageOpen(const char *path, const char *mode) {
    FILE *file = std::fopen(path, mode);
    if (file) std::setvbuf(file, nullptr, _IOFBF, kStreamBufferSize);
    return file;
}

long MarqenRichImageStreamSize(FILE *stream) {
    long position = std::ftell(stream);
    if (position < 0 || std::fseek(stream, 0, SEEK_END) != 0) return -1;
    long size = std::ftell(stream);
    std::fseek(stream, position, SEEK_SET);
    return size;
}

bool MarqenRichImageReadExactly(FILE *input, void *bytes, size_t count) {
    return std::fread(bytes, 1, count, input) == count;
}

int MarqenRichImageCopyFile(const char *sourcePath, const char *destinationPath) {
    FILE *source = MarqenRichImageOpen(sourcePath, "rb");
    if (!source) return 1;
    FILE *destination = MarqenRichImageOpen(destinationPath, "wb");
    if (!destination) {
        std::fclose(source);
        return 2;
    }
    std::vector<uint8_t> block(MarqenRichImageCopyBlockSize);
    bool failed = false;
    for (size_t count; (count = std::fread(block.data(), 1, block.size(), source)) > 0;)
        if (std::fwrite(block.data(), 1, count, destination) != count) {
            failed = true;
            break;
        }
    failed = failed || std::ferror(source);
    std::fclose(source);
    // A destination that could not be written completely counts as one that could not be opened.
    if (std::fclose(destination) != 0 || failed) return 2;
    return 0;
}

int MarqenRichImageCopyContentsOfRangeToFile(FILE *input, uint32_t offset, uint32_t length, FILE *output) {
    long saved = std::ftell(input);
    std::fseek(input, long(offset), SEEK_SET);
    std::vector<uint8_t> block(length < MarqenRichImageCopyBlockSize ? length : MarqenRichImageCopyBlockSize);
    for (uint32_t left = length; left > 0;) {
        size_t want = left < block.size() ? left : block.size();
        size_t got = std::fread(block.data(), 1, want, input);
        if (got == 0) break;
        std::fwrite(block.data(), 1, got, output);
        left -= uint32_t(got);
    }
    std::fseek(input, saved, SEEK_SET);
    return 0;
}

namespace {

// Reads exactly count bytes at offset without moving the stream: the walks touch only the twelve bytes
// of each chunk's frame, where a buffered stream would read the whole file around them.
bool readExactlyAt(int descriptor, void *bytes, size_t count, int64_t offset) {
    auto *cursor = static_cast<uint8_t *>(bytes);
    while (count > 0) {
        const ssize_t got = ::pread(descriptor, cursor, count, off_t(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        cursor += got;
        count -= size_t(got);
        offset += got;
    }
    return true;
}

// Reads chunk frames (length, type and CRC) of one stream up to end. A walk reads each CRC together with
// the next chunk's length and type, so that a chunk costs one read.
class ChunkFrameReader {
public:
    ChunkFrameReader(FILE *input, long end) : input_(input), descriptor_(::fileno(input)), end_(end) {}

    int read(int64_t position, MarqenRichImageChunkToken *token) {
        if (position == end_) return kMarqenRichImageAtEnd;
        if (int64_t(end_) - position < 12) return kMarqenRichImageShortTail;
        uint8_t header[8];
        if (position == nextHeaderPosition_)
            std::memcpy(header, nextHeader_, sizeof header);
        else if (!readAt(header, sizeof header, position))
            return kMarqenRichImageShortTail;
        const uint32_t length = MarqenRichImageUint32FromUint8Array(header);
        const int64_t crcPosition = position + 8 + int64_t(length);
        if (int64_t(end_) - crcPosition < 4) return kMarqenRichImageChunkPastEnd;
        uint8_t tail[12];
        const bool withNextHeader = int64_t(end_) - crcPosition >= int64_t(sizeof tail);
        if (!readAt(tail, withNextHeader ? sizeof tail : 4, crcPosition)) return kMarqenRichImageChunkPastEnd;
        if (withNextHeader) {
            std::memcpy(nextHeader_, tail + 4, sizeof nextHeader_);
            nextHeaderPosition_ = crcPosition + 4;
        }
        token->chunkOffset = uint32_t(position);
        token->chunkSize = length + 12;
        MarqenRichImageChunkTypeCopy(token->type, header + 4);
        token->dataOffset = uint32_t(position) + 8;
        token->dataLength = length;
        token->crc = MarqenRichImageUint32FromUint8Array(tail);
        return kMarqenRichImageSuccess;
    }

private:
    bool readAt(void *bytes, size_t count, int64_t offset) {
        if (descriptor_ >= 0) return readExactlyAt(descriptor_, bytes, count, offset);
        // A stream without a descriptor (in memory) is read through its own position.
        return std::fseek(input_, long(offset), SEEK_SET) == 0 && MarqenRichImageReadExactly(input_, bytes, count);
    }

    FILE *input_;
    int descriptor_;
    long end_;
    int64_t nextHeaderPosition_ = -1;
    uint8_t nextHeader_[8] = {};
};

}  // namespace

int MarqenPNGImageReadSingleChunkToken(FILE *input, long end, MarqenRichImageChunkToken *token) {
    const long position = std::ftell(input);
    if (position < 0) return kMarqenRichImageShortTail;
    const int result = ChunkFrameReader(input, end).read(position, token);
    // The stream is left after the chunk read, or where it was.
    std::fseek(input, result == kMarqenRichImageSuccess ? position + long(token->chunkSize) : position, SEEK_SET);
    return result;
}

int MarqenRichImageWalkChunkTokens(void *context, FILE *input, long end, MarqenRichImageChunkTokenCallback callback) {
    int64_t position = std::ftell(input);
    if (position < 0) return kMarqenRichImageShortTail;
    ChunkFrameReader reader(input, end);
    for (;;) {
        MarqenRichImageChunkToken token;
        const int result = reader.read(position, &token);
        if (result != kMarqenRichImageSuccess) {
            std::fseek(input, long(position), SEEK_SET);
            return result;
        }
        position += token.chunkSize;
        // Callbacks may move the stream; the walk keeps its own position.
        if (callback) callback(context, input, token);
    }
}

bool MarqenRichImageFileIsRich(const char *path, MarqenRichImageContainerTest isRich) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) return false;
    const int result = isRich(input);
    std::fclose(input);
    return result == kMarqenRichImageSuccess;
}

int MarqenRichImageReadTokensOfRichFile(void *context, const char *path, MarqenRichImageContainerTest isRich,
                                        MarqenRichImageChunkTokenCallback callback) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) return kMarqenRichImageCannotOpen;
    if (isRich(input) != kMarqenRichImageSuccess) {
        std::fclose(input);
        return kMarqenRichImageNotRichImage;
    }
    MarqenRichImageWalkChunkTokens(context, input, MarqenRichImageStreamSize(input), callback);
    std::fclose(input);
    return kMarqenRichImageSuccess;
}

FILE *MarqenRichImageCopyAndOpenForAppend(const char *sourcePath, const char *destinationPath) {
    if (MarqenRichImageCopyFile(sourcePath, destinationPath) != 0) return nullptr;
    FILE *output = MarqenRichImageOpen(destinationPath, "r+b");
    if (output && std::fseek(output, 0, SEEK_END) != 0) {
        std::fclose(output);
        return nullptr;
    }
    return output;
}

}  // namespace marqen
