#pragma once
// Stream helpers shared by the three rich-image containers.
#include <cstdio>

#include "formats/rich_image/rich_image_chunk.h"

namespace marqen {

// fopen with a large stdio buffer, so that copies in 1024-byte blocks cost few system calls.
FILE *MarqenRichImageOpen(const char *path, const char *mode);
// The size of an open file (its position is kept), or -1.
long MarqenRichImageStreamSize(FILE *stream);
// Walks chunk tokens from input's position up to end, calling callback (when given) for each; the first
// non-zero read result ends the walk and is returned (4 and 5 are the normal ends).
int MarqenRichImageWalkChunkTokens(void *context, FILE *input, long end, MarqenRichImageChunkTokenCallback callback);
// Reads exactly count bytes; false on a short read.
bool MarqenRichImageReadExactly(FILE *input, void *bytes, size_t count);

}  // namespace marqen
