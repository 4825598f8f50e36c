#pragma once
// Rich JPEG: the source file byte for byte, then the chunk sequence, its length L (u32 big-endian) and
// "marqen". Thread affinity: none (one stream per call).
#include "rich_image_chunk.h"

namespace marqen {

// 0; 10 shorter than 125 bytes; 11 bytes 6-9 not "Exif"/"JFIF" followed by a zero byte. Only those bytes
// are examined (not the start-of-image marker).
MARQEN_EXPORT int MarqenJPGImageIsJPGFile(FILE *input);
// The path must name an existing file.
MARQEN_EXPORT bool MarqenJPGImageIsJPG(const char *path);
// As the JPEG test, then 12 no "marqen" trailer, 13 L is 0 or reaches before the start of the file. On 0 the
// stream is at the first chunk.
MARQEN_EXPORT int MarqenJPGImageIsValidMarqenJPGFile(FILE *input);
MARQEN_EXPORT bool MarqenJPGImageIsValidMarqenJPG(const char *path);
// 0 (a truncated chunk ends the walk quietly); 1 cannot open; 2 not a rich JPEG.
MARQEN_EXPORT int MarqenJPGReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback);
// 0; 100 copying the source failed (or the destination could not be completed).
MARQEN_EXPORT int MarqenJPGWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                                       MarqenRichImageChunkWriterCallback writer);

}  // namespace marqen
