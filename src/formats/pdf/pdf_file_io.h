#pragma once
// Reading a PDF file (mapped, or copied into memory) and writing files safely (a temporary file beside the
// target, renamed).
//
// Threads: the file functions are safe on any thread; the bytes of a file belong to its MarqenPDF,
// one thread at a time.
#include <cstdint>
#include <memory>
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

// The bytes of a PDF: a read-only private mapping of a file, or bytes held in memory. A mapping costs
// nothing up front, so a large file is only paged in where the parser looks. Like any mapping it assumes
// that nobody truncates the file while it is open; hosts that cannot promise that read it into memory.
class MarqenPDFBytes {
public:
    explicit MarqenPDFBytes(std::string bytes) : held_(std::move(bytes)), view_(held_) {}
    // Exactly length bytes, with nothing after them (no terminating zero to lean on).
    MarqenPDFBytes(std::unique_ptr<char[]> bytes, size_t length)
        : buffer_(std::move(bytes)), view_(buffer_.get(), length) {}
    ~MarqenPDFBytes();
    MarqenPDFBytes(const MarqenPDFBytes &) = delete;
    MarqenPDFBytes &operator=(const MarqenPDFBytes &) = delete;

    std::string_view view() const { return view_; }
    bool isMapped() const { return mapping_ != nullptr; }

private:
    friend std::shared_ptr<const MarqenPDFBytes> MarqenPDFReadFile(const std::string &, MarqenPDFSourceFile *, bool);
    MarqenPDFBytes(void *mapping, size_t length);

    std::string held_;
    std::unique_ptr<char[]> buffer_;
    void *mapping_ = nullptr;
    size_t mappedLength_ = 0;
    std::string_view view_;
};

// The whole file, or nothing (logged) when it cannot be read. The file is mapped unless copy is true or
// mapping fails.
std::shared_ptr<const MarqenPDFBytes> MarqenPDFReadFile(const std::string &path, MarqenPDFSourceFile *source,
                                                        bool copy = false);

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
