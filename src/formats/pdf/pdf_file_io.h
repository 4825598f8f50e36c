#pragma once
// Reading a PDF file (mapped, copied into memory, or read in pieces on demand) and writing files safely (a
// temporary file beside the target, renamed).
//
// Threads: the file functions are safe on any thread; the bytes of a file belong to its MarqenPDF,
// one thread at a time.
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
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

// Bytes of a file starting at file offset `offset`; storage keeps them alive.
struct MarqenPDFWindow {
    uint64_t offset = 0;
    std::string_view bytes;
    std::shared_ptr<const void> storage;
    uint64_t end() const { return offset + bytes.size(); }
};

// A PDF file read in pieces with pread() through a bounded cache of blocks, so that a reader that looks at
// the cross-reference data and a few objects reads only those, whatever the file's size. The file is held
// open and its size and identity are taken once, when it is opened. A read that finds fewer bytes than
// that size (another process truncated the file) or fails fails for good: it is logged once, failed()
// turns true and every later read fails, so that nothing built from a partial read can be written out.
// Threads: one thread at a time, like the MarqenPDF that owns it.
class MarqenPDFFileReader {
public:
    static constexpr size_t kBlockLength = 16384;
    static constexpr size_t kMaximumCachedBytes = size_t(16) << 20;
    // A window across at most this many blocks is joined from the cache; a longer one is read directly.
    static constexpr uint64_t kMaximumJoinedBlocks = 4;
    // The first look at an object or a token reads this much; a value longer than that is read again in
    // windows sixteen times longer each time.
    static constexpr size_t kFirstWindowLength = 4096;

    // Nothing (logged) when the file cannot be opened or is not a regular file. Block and window lengths
    // other than the defaults are for tests that make every value straddle blocks and windows.
    static std::shared_ptr<MarqenPDFFileReader> open(const std::string &path, MarqenPDFSourceFile *source = nullptr,
                                                     size_t blockLength = kBlockLength,
                                                     size_t firstWindowLength = kFirstWindowLength);
    ~MarqenPDFFileReader();
    MarqenPDFFileReader(const MarqenPDFFileReader &) = delete;
    MarqenPDFFileReader &operator=(const MarqenPDFFileReader &) = delete;

    uint64_t size() const { return size_; }
    const std::string &path() const { return path_; }
    size_t firstWindowLength() const { return firstWindowLength_; }
    // At least the bytes [offset, offset + length) as far as the file goes, often more (to the end of a
    // block); an empty window at or past the end. Nothing when they cannot be read.
    std::optional<MarqenPDFWindow> window(uint64_t offset, size_t length);
    bool failed() const { return failed_; }
    // Why the reader failed ("" while it has not).
    const std::string &failure() const { return failure_; }
    // Copies the first length bytes of the file to out at its current position, inside the kernel where
    // it can (copy_file_range, then sendfile), else through a buffer. False with *reason when the file
    // is shorter than that, changed since it was opened, or a write fails.
    bool copyPrefix(int out, uint64_t length, std::string *reason);
    // Reads the whole file (for callers that ask for all of its bytes); nothing when it cannot.
    std::shared_ptr<const std::string> wholeFile();
    // Counters for tests and benchmarks: bytes and calls of pread so far.
    uint64_t bytesRead() const { return bytesRead_; }
    uint64_t readCalls() const { return readCalls_; }

private:
    MarqenPDFFileReader(int fd, std::string path, uint64_t size, int64_t seconds, int64_t nanoseconds,
                        size_t blockLength, size_t firstWindowLength);
    bool readAt(char *into, size_t length, uint64_t offset);
    // A block's bytes, read straight into memory that is not cleared first.
    struct Block {
        std::unique_ptr<char[]> bytes;
        size_t length = 0;
        std::string_view view() const { return {bytes.get(), length}; }
    };
    std::shared_ptr<const Block> block(uint64_t index);
    bool fail(const std::string &message);
    bool unchangedSinceOpened(std::string *reason);

    int fd_;
    std::string path_;
    uint64_t size_;
    int64_t modificationSeconds_;
    int64_t modificationNanoseconds_;
    size_t blockLength_;
    size_t firstWindowLength_;
    bool failed_ = false;
    std::string failure_;
    uint64_t bytesRead_ = 0;
    uint64_t readCalls_ = 0;
    // Least recently used last.
    std::list<std::pair<uint64_t, std::shared_ptr<const Block>>> blocks_;
    std::unordered_map<uint64_t, decltype(blocks_)::iterator> blockIndex_;
};

// One piece of the file to write: bytes; or, with reader, the first readerLength bytes of the reader's
// file (copied inside the kernel); or, when source is given and still unchanged on disk, bytes are the
// first bytes of that file and are copied from it directly.
struct MarqenPDFFilePart {
    std::string_view bytes;
    const MarqenPDFSourceFile *source = nullptr;
    MarqenPDFFileReader *reader = nullptr;
    uint64_t readerLength = 0;
};

// Writes the parts in order to a temporary file beside path and renames it over path. *shortWrite is set
// when the disk took fewer bytes than given. Errors are POSIX errors, or "MarqenPDF" errors when a
// reader's file changed since it was read.
bool MarqenPDFWriteFileAtomically(const std::string &path, const std::vector<MarqenPDFFilePart> &parts,
                                  MarqenError *error, bool *shortWrite = nullptr);

}  // namespace marqen
