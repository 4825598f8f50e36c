// Walking and writing rich HEIC files: the chunk sequence lives in a "uuid" box appended at the end.
#include "formats/rich_image/rich_heic.h"

#include <cstring>

#include "formats/rich_image/rich_image_stream.h"

namespace marqen {

int MarqenHEICImageIsHEICFile(FILE *input) {
    const long size = MarqenRichImageStreamSize(input);
    if (size < 20) return kMarqenRichImageTooShort;
    uint8_t head[20];
    if (std::fseek(input, 0, SEEK_SET) != 0 || !MarqenRichImageReadExactly(input, head, sizeof head))
        return kMarqenRichImageTooShort;
    if (MarqenRichImageUint32FromUint8Array(head) < 20) return kMarqenRichImageWrongHeader;
    if (std::memcmp(head + 4, "ftyp", 4) == 0 || std::memcmp(head + 8, "heic", 4) == 0) return kMarqenRichImageSuccess;
    return kMarqenRichImageNoMarker;
}

bool MarqenHEICImageIsHEIC(const char *path) {
    FILE *input = MarqenRichImageOpen(path, "rb");
    if (!input) return false;
    const int result = MarqenHEICImageIsHEICFile(input);
    std::fclose(input);
    return result == kMarqenRichImageSuccess;
}

int MarqenHEICImageIsValidMarqenHEICFile(FILE *input) {
    const long size = MarqenRichImageStreamSize(input);
    if (size == 0) return kMarqenRichImageNoChunks;
    const int result = MarqenHEICImageIsHEICFile(input);
    if (result != kMarqenRichImageSuccess) return result;
    // Every step moves forward by at least one byte (sizes of 0 stop the walk), so hostile sizes cannot
    // make it loop; offsets are 64-bit so that large sizes cannot wrap around.
    for (uint64_t offset = 0;;) {
        uint8_t header[8];
        if (std::fseek(input, long(offset), SEEK_SET) != 0 || !MarqenRichImageReadExactly(input, header, sizeof header))
            return kMarqenRichImageNoChunks;
        uint64_t boxSize = MarqenRichImageUint32FromUint8Array(header);
        if (std::memcmp(header + 4, "uuid", 4) == 0 && boxSize >= 2) {
            uint8_t uuid[16];
            if (MarqenRichImageReadExactly(input, uuid, sizeof uuid) && std::memcmp(uuid, MarqenHEICImageFileBox + 8, 16) == 0)
                return kMarqenRichImageSuccess;
        }
        if (boxSize == 1) {
            uint8_t large[8];
            if (std::fseek(input, long(offset) + 8, SEEK_SET) != 0 || !MarqenRichImageReadExactly(input, large, sizeof large))
                return kMarqenRichImageNoChunks;
            boxSize = MarqenRichImageUint64FromUint8Array(large);
        }
        if (boxSize == 0) return kMarqenRichImageNoChunks;
        if (boxSize >= uint64_t(size) - offset) return kMarqenRichImageNoChunks;
        offset += boxSize;
    }
}

bool MarqenHEICImageIsValidMarqenHEIC(const char *path) {
    return MarqenRichImageFileIsRich(path, MarqenHEICImageIsValidMarqenHEICFile);
}

int MarqenHEICReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback) {
    return MarqenRichImageReadTokensOfRichFile(context, path, MarqenHEICImageIsValidMarqenHEICFile, callback);
}

int MarqenHEICWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                          MarqenRichImageChunkWriterCallback writer) {
    FILE *output = MarqenRichImageCopyAndOpenForAppend(sourcePath, destinationPath);
    if (!output) return kMarqenRichImageCopyFailed;
    const long start = std::ftell(output);
    std::fwrite(MarqenHEICImageFileBox, 1, sizeof MarqenHEICImageFileBox, output);
    if (writer) writer(context, output);
    // The box keeps the 32-bit size form; the placeholder is overwritten once the size is known.
    uint8_t size[4];
    MarqenRichImageUint8ArrayFromUint32(uint32_t(std::ftell(output) - start), size);
    std::fseek(output, start, SEEK_SET);
    std::fwrite(size, 1, sizeof size, output);
    const bool failed = std::ferror(output) != 0;
    if (std::fclose(output) != 0 || failed) return kMarqenRichImageCopyFailed;
    return kMarqenRichImageSuccess;
}

}  // namespace marqen
