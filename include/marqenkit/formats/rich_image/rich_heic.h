#pragma once
// Rich HEIC: the source file byte for byte, then one top-level "uuid" box (32-bit size, the marker UUID)
// holding the chunk sequence. It must stay the last box: walks read chunks up to the end of the file.
// Thread affinity: none (one stream per call).
#include "rich_image_chunk.h"

namespace marqen {

// 0; 10 shorter than 20 bytes; 11 first box under 20 bytes; 12 first box neither "ftyp" nor of major
// brand "heic" (any "ftyp" box of 20 bytes or more passes, whatever its brand).
MARQEN_EXPORT int MarqenHEICImageIsHEICFile(FILE *input);
MARQEN_EXPORT bool MarqenHEICImageIsHEIC(const char *path);
// As the HEIC test, then 13 when no box carries the marker UUID (a box of size 0, a walk past the end, an
// empty file). On 0 the stream is at the first chunk.
MARQEN_EXPORT int MarqenHEICImageIsValidMarqenHEICFile(FILE *input);
MARQEN_EXPORT bool MarqenHEICImageIsValidMarqenHEIC(const char *path);
// 0 (however the chunk walk ends); 1 cannot open; 2 not a rich HEIC.
MARQEN_EXPORT int MarqenHEICReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback);
// 0; 100 copying the source failed (or the destination could not be completed).
MARQEN_EXPORT int MarqenHEICWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                                        MarqenRichImageChunkWriterCallback writer);

}  // namespace marqen
