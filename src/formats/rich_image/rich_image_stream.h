#pragma once
// Stream helpers shared by the three rich-image containers.
//
// Threads: plain values and functions of their arguments; safe on any thread.
#include <cstdio>

#include "formats/rich_image/rich_image_chunk.h"

namespace marqen {

// fopen with a large stdio buffer, so that the small reads of chunk frames cost few system calls.
FILE *MarqenRichImageOpen(const char *path, const char *mode);
// Copies move blocks larger than that buffer, which stdio passes straight to the system without copying.
constexpr size_t MarqenRichImageCopyBlockSize = 256 * 1024;
// The size of an open file (its position is kept), or -1.
long MarqenRichImageStreamSize(FILE *stream);
// Walks chunk tokens from input's position up to end, calling callback (when given) for each; the first
// non-zero read result ends the walk and is returned (4 and 5 are the normal ends).
int MarqenRichImageWalkChunkTokens(void *context, FILE *input, long end, MarqenRichImageChunkTokenCallback callback);
// The trailer-carrying containers (JPEG, HEIC) share these: `isRich` tests an open file for the
// container's marker. Whether the file at path is rich; a file that does not open is not.
using MarqenRichImageContainerTest = int (*)(FILE *input);
bool MarqenRichImageFileIsRich(const char *path, MarqenRichImageContainerTest isRich);
// Walks the chunk tokens of a rich file from the start; the not-rich and cannot-open codes otherwise.
int MarqenRichImageReadTokensOfRichFile(void *context, const char *path, MarqenRichImageContainerTest isRich,
                                        MarqenRichImageChunkTokenCallback callback);
// Copies source to destination and opens the copy positioned at its end for appending; null when either fails.
FILE *MarqenRichImageCopyAndOpenForAppend(const char *sourcePath, const char *destinationPath);
// Reads exactly count bytes; false on a short read.
bool MarqenRichImageReadExactly(FILE *input, void *bytes, size_t count);

}  // namespace marqen
