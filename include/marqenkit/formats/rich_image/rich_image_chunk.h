#pragma once
// The one record of rich images: a PNG chunk (u32 big-endian length, 4-byte type, data, u32 big-endian
// CRC-32 over type and data). PNG, JPEG and HEIC files carry a sequence of them; this header has what
// all three containers share: the constants, the token a walk reports, the byte helpers, the
// single-chunk reader and the emitters of the metadata and resource chunks.
//
// Plain functions over stdio streams, returning small result codes (0 is success). They keep no state
// and may run on any thread, one stream per thread. Offsets are 32-bit: files of 4 GiB or more are not
// supported.
#include <cstdint>
#include <cstdio>

#include "../../export.h"

namespace marqen {

// The index JSON ("mqMf") and the resource files ("mqRf"): ancillary, private, safe-to-copy chunk types.
MARQEN_EXPORT extern const uint8_t MarqenPNGImageMetadataChunkType[4];
MARQEN_EXPORT extern const uint8_t MarqenPNGImageResourceChunkType[4];
MARQEN_EXPORT extern const uint8_t MarqenPNGImageEndChunkType[4];
MARQEN_EXPORT extern const uint8_t MarqenPNGImageSignature[8];
// The IEND chunk exactly as written (empty data, its CRC).
MARQEN_EXPORT extern const uint8_t MarqenPNGImageEndChunk[12];
// Header of the box appended to a HEIC file: a size placeholder, "uuid" and the marker UUID.
MARQEN_EXPORT extern const uint8_t MarqenHEICImageFileBox[24];
// The last 6 bytes of a rich JPEG.
MARQEN_EXPORT extern const uint8_t MarqenJPGImageTrailerMarker[6];

// Result codes of the codec functions.
enum MarqenRichImageResult : int {
    kMarqenRichImageSuccess = 0,
    kMarqenRichImageCannotOpen = 1,           // the file to read (or the PNG writer's destination)
    kMarqenRichImageNotRichImage = 2,         // not a PNG; not a rich JPEG or rich HEIC
    kMarqenRichImageChunkPastEnd = 3,         // a chunk's declared length runs past the end
    kMarqenRichImageShortTail = 4,            // fewer than 12 bytes remain (a normal end for every walk)
    kMarqenRichImageAtEnd = 5,                // exactly at the end (a normal end for every walk)
    kMarqenRichImageTooShort = 10,            // JPEG under 125 bytes, HEIC under 20
    kMarqenRichImageWrongHeader = 11,         // no Exif/JFIF at offset 6; HEIC first box under 20 bytes
    kMarqenRichImageNoMarker = 12,            // no "marqen" trailer; HEIC neither "ftyp" nor brand "heic"
    kMarqenRichImageNoChunks = 13,            // trailer length 0; no marker box in the HEIC
    kMarqenRichImageCopyFailed = 100,         // JPEG and HEIC writers: copying the source failed
};

// What a walk reports for each chunk it finds.
struct MARQEN_EXPORT MarqenRichImageChunkToken {
    uint32_t chunkOffset = 0;  // file offset of the length field
    uint32_t chunkSize = 0;    // length + 12
    uint8_t type[4] = {0, 0, 0, 0};
    uint32_t dataOffset = 0;   // chunkOffset + 8
    uint32_t dataLength = 0;   // the length field
    uint32_t crc = 0;          // as stored; never checked
};

// Called once per chunk, in file order, with a copy of the token. It may read anywhere in the stream but
// must put the position back; the return value is ignored.
using MarqenRichImageChunkTokenCallback = int (*)(void *context, FILE *input, MarqenRichImageChunkToken token);
// Called once by a writer with the stream where the chunk sequence belongs; writes whole chunks.
using MarqenRichImageChunkWriterCallback = void (*)(void *context, FILE *output);

MARQEN_EXPORT uint32_t MarqenRichImageUint32FromUint8Array(const uint8_t bytes[4]);
MARQEN_EXPORT uint64_t MarqenRichImageUint64FromUint8Array(const uint8_t bytes[8]);
MARQEN_EXPORT void MarqenRichImageUint8ArrayFromUint32(uint32_t value, uint8_t bytes[4]);
MARQEN_EXPORT int MarqenRichImageChunkTypeEquals(const uint8_t a[4], const uint8_t b[4]);
MARQEN_EXPORT void MarqenRichImageChunkTypeCopy(uint8_t destination[4], const uint8_t source[4]);
// Copies the 16 bytes of a UUID record, keeping text order (byte 0 is the first two hex digits).
MARQEN_EXPORT void ConvertCFUUIDBytesToMarqenRichImageUUIDBytes(const uint8_t uuidRecord[16], uint8_t bytes[16]);

// 0, 1 (source cannot be opened) or 2 (destination cannot be opened).
MARQEN_EXPORT int MarqenRichImageCopyFile(const char *sourcePath, const char *destinationPath);
// Copies length bytes from offset of input to output's position; input's position is restored. Returns 0.
MARQEN_EXPORT int MarqenRichImageCopyContentsOfRangeToFile(FILE *input, uint32_t offset, uint32_t length, FILE *output);

// Reads the chunk at input's position, the file ending at end. 0 (stream at the next chunk), 3, 4 or 5.
MARQEN_EXPORT int MarqenPNGImageReadSingleChunkToken(FILE *input, long end, MarqenRichImageChunkToken *token);

// One "mqMf" chunk holding the whole file at path. Returns 0, or 1 (nothing written) when the file
// cannot be opened.
MARQEN_EXPORT int MarqenPNGImageWriteMetadataChunk(const char *path, FILE *output);
// One "mqRf" chunk: the 16 UUID bytes, then the file at path. Returns 0, or 1 as above.
MARQEN_EXPORT int MarqenPNGImageWriteResourceChunk(const char *path, const uint8_t uuidBytes[16], FILE *output);

}  // namespace marqen
