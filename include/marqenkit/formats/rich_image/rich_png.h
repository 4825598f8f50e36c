#pragma once
// Rich PNG: the source's chunks (all but IEND, byte for byte), then the new chunks, then IEND, so the
// private chunks sit right in front of IEND. Thread affinity: none (one stream per call).
#include "rich_image_chunk.h"

namespace marqen {

// Walks every chunk after the signature (IHDR and IDAT too; chunks laid out after IEND as well). The CRC
// is reported, never checked. 0; 1 cannot open; 2 shorter than 32 bytes or no PNG signature; 3 a chunk
// runs past the end.
MARQEN_EXPORT int MarqenPNGReadChunkTokens(void *context, const char *path, MarqenRichImageChunkTokenCallback callback);
// The walk callback of MarqenPNGWriteChunks: copies each chunk but IEND to the stream given as context.
MARQEN_EXPORT int MarqenPNGWriteChunksReadChunkTokensCallback(void *context, FILE *input, MarqenRichImageChunkToken token);
// Writes the rich PNG to destination (truncated first). 0; 1 destination cannot be opened or written;
// 2 or 3 as the walk of the source (what was written stays).
MARQEN_EXPORT int MarqenPNGWriteChunks(void *context, const char *sourcePath, const char *destinationPath,
                                       MarqenRichImageChunkWriterCallback writer);

// True when the PNG or rich JPEG at path holds at least one "mqMf" or "mqRf" chunk (HEIC is not examined).
MARQEN_EXPORT bool URLContainsMarqenPNGChunks(const char *path);

}  // namespace marqen
