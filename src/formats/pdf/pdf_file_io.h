#pragma once
// Reading a PDF file into memory and writing files safely (a temporary file beside the target, renamed).
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/error.h"

namespace marqen {

// The identity of a file as it was read, so that a later write can copy its bytes inside the kernel
// when the file has not changed since.
struct MarqenPDFSourceFile {
    std::string path;
    uint64_t size = 0;
    int64_t modificationSeconds = 0;
    int64_t modificationNanoseconds = 0;
    uint64_t device = 0;
    uint64_t inode = 0;
};

// The whole file, or nothing (logged) when it cannot be read.
std::optional<std::string> MarqenPDFReadFile(const std::string &path, MarqenPDFSourceFile *source);

// One piece of the file to write. When source is given and still unchanged on disk, bytes are the first
// bytes of that file and are copied from it directly.
struct MarqenPDFFilePart {
    std::string_view bytes;
    const MarqenPDFSourceFile *source = nullptr;
};

// Writes the parts in order to a temporary file beside path and renames it over path. *shortWrite is set
// when the disk took fewer bytes than given. Errors are POSIX errors.
bool MarqenPDFWriteFileAtomically(const std::string &path, const std::vector<MarqenPDFFilePart> &parts,
                                  MarqenError *error, bool *shortWrite = nullptr);

}  // namespace marqen
