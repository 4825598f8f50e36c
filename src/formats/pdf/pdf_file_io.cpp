#include "formats/pdf/pdf_file_io.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "foundation/atomic_file.h"
#include "formats/pdf/pdf_warnings.h"

namespace marqen {

namespace {

bool posixFail(MarqenError *error, int code, const std::string &what) {
    return marqenFail(error, "NSPOSIXErrorDomain", code, what + ": " + std::strerror(code));
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes.remove_prefix(size_t(written));
    }
    return true;
}

bool sameFile(const MarqenPDFSourceFile &source, const struct stat &info) {
    return uint64_t(info.st_size) == source.size && info.st_mtim.tv_sec == source.modificationSeconds &&
           info.st_mtim.tv_nsec == source.modificationNanoseconds && uint64_t(info.st_dev) == source.device &&
           uint64_t(info.st_ino) == source.inode;
}

// Copies the first length bytes of the unchanged source inside the kernel; false when that is not
// possible (the caller then writes the bytes it holds).
bool copyFromSource(int out, const MarqenPDFSourceFile &source, size_t length) {
    int in = ::open(source.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return false;
    struct stat info {};
    bool copied = false;
    if (::fstat(in, &info) == 0 && sameFile(source, info) && length <= source.size) {
        loff_t offset = 0;
        size_t remaining = length;
        copied = true;
        while (remaining > 0) {
            ssize_t moved = ::copy_file_range(in, &offset, out, nullptr, remaining, 0);
            if (moved < 0 && errno == EINTR) continue;
            if (moved <= 0) {
                copied = false;
                break;
            }
            remaining -= size_t(moved);
        }
        if (!copied) {
            // Start the part again from the bytes in memory.
            if (::ftruncate(out, 0) != 0 || ::lseek(out, 0, SEEK_SET) != 0) copied = false;
        }
    }
    ::close(in);
    return copied;
}

enum class KernelCopy { done, unavailable, failed };

// Copies length bytes from offset 0 of in to out inside the kernel; *moved says how far it got (short of
// length when the file ended early). unavailable when neither call works for these files (nothing was
// moved then); failed when a call fails, with errno set.
KernelCopy copyInKernel(int in, int out, uint64_t length, uint64_t *moved) {
    *moved = 0;
    bool useSendfile = false;
    while (*moved < length) {
        size_t chunk = size_t(std::min<uint64_t>(length - *moved, uint64_t(1) << 30));
        ssize_t count;
        if (!useSendfile) {
            loff_t from = loff_t(*moved);
            count = ::copy_file_range(in, &from, out, nullptr, chunk, 0);
            if (count < 0 && *moved == 0 &&
                (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP)) {
                useSendfile = true;
                continue;
            }
        } else {
            off_t from = off_t(*moved);
            count = ::sendfile(out, in, &from, chunk);
            if (count < 0 && *moved == 0 && (errno == EINVAL || errno == ENOSYS)) return KernelCopy::unavailable;
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return KernelCopy::failed;
        if (count == 0) break;
        *moved += uint64_t(count);
    }
    return KernelCopy::done;
}

// Opens path for reading when it is a regular file (its state in info); -1, with the warning given, otherwise.
int openRegularFile(const std::string &path, struct stat &info) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        marqenPDFWarn("MarqenPDF: Could not read file " + path + ": " + std::strerror(errno));
        return -1;
    }
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        marqenPDFWarn("MarqenPDF: Could not read file " + path + ": not a regular file");
        return -1;
    }
    return fd;
}

}  // namespace

MarqenPDFFileReader::MarqenPDFFileReader(int fd, std::string path, uint64_t size, int64_t seconds,
                                         int64_t nanoseconds, size_t blockLength, size_t firstWindowLength)
    : fd_(fd),
      path_(std::move(path)),
      size_(size),
      modificationSeconds_(seconds),
      modificationNanoseconds_(nanoseconds),
      blockLength_(std::max<size_t>(blockLength, 1)),
      firstWindowLength_(std::max<size_t>(firstWindowLength, 1)) {}

MarqenPDFFileReader::~MarqenPDFFileReader() { ::close(fd_); }

std::shared_ptr<MarqenPDFFileReader> MarqenPDFFileReader::open(const std::string &path, MarqenPDFSourceFile *source,
                                                               size_t blockLength, size_t firstWindowLength) {
    struct stat info {};
    int fd = openRegularFile(path, info);
    if (fd < 0) return nullptr;
    if (source)
        *source = MarqenPDFSourceFile{path,
                                      uint64_t(info.st_size),
                                      int64_t(info.st_mtim.tv_sec),
                                      int64_t(info.st_mtim.tv_nsec),
                                      uint64_t(info.st_dev),
                                      uint64_t(info.st_ino)};
    return std::shared_ptr<MarqenPDFFileReader>(new MarqenPDFFileReader(
        fd, path, uint64_t(info.st_size), int64_t(info.st_mtim.tv_sec), int64_t(info.st_mtim.tv_nsec), blockLength,
        firstWindowLength));
}

bool MarqenPDFFileReader::fail(const std::string &message) {
    if (!failed_) {
        failed_ = true;
        failure_ = message;
        // Every later read fails at once, so the message would not be met again by a longer look.
        marqenPDFWarnNow(message);
    }
    return false;
}

bool MarqenPDFFileReader::readAt(char *into, size_t length, uint64_t offset) {
    if (failed_) return false;
    size_t filled = 0;
    while (filled < length) {
        ++readCalls_;
        ssize_t count = ::pread(fd_, into + filled, length - filled, off_t(offset + filled));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return fail("MarqenPDF: Could not read file " + path_ + ": " + std::strerror(errno));
        if (count == 0) return fail("MarqenPDF: " + path_ + " became shorter while it was read");
        filled += size_t(count);
        bytesRead_ += uint64_t(count);
    }
    return true;
}

std::shared_ptr<const MarqenPDFFileReader::Block> MarqenPDFFileReader::block(uint64_t index) {
    if (auto found = blockIndex_.find(index); found != blockIndex_.end()) {
        blocks_.splice(blocks_.begin(), blocks_, found->second);
        return found->second->second;
    }
    const uint64_t start = index * blockLength_;
    auto bytes = std::make_shared<Block>();
    bytes->length = size_t(std::min<uint64_t>(blockLength_, size_ - start));
    bytes->bytes = std::make_unique_for_overwrite<char[]>(bytes->length);
    if (!readAt(bytes->bytes.get(), bytes->length, start)) return nullptr;
    blocks_.emplace_front(index, bytes);
    blockIndex_[index] = blocks_.begin();
    while (blocks_.size() > 1 && blocks_.size() * blockLength_ > kMaximumCachedBytes) {
        blockIndex_.erase(blocks_.back().first);
        blocks_.pop_back();
    }
    return bytes;
}

std::optional<MarqenPDFWindow> MarqenPDFFileReader::window(uint64_t offset, size_t length) {
    if (failed_) return std::nullopt;
    if (offset >= size_) return MarqenPDFWindow{size_, {}, nullptr};
    const uint64_t end = size_ - offset < std::max<uint64_t>(length, 1) ? size_ : offset + std::max<size_t>(length, 1);
    const uint64_t firstBlock = offset / blockLength_, lastBlock = (end - 1) / blockLength_;
    if (firstBlock == lastBlock) {
        std::shared_ptr<const Block> bytes = block(firstBlock);
        if (!bytes) return std::nullopt;
        std::string_view view = bytes->view();
        return MarqenPDFWindow{offset, view.substr(size_t(offset - firstBlock * blockLength_)), bytes};
    }
    // Across blocks: a few are taken from the cache and the bytes asked for joined (only those: most
    // looks need a few hundred bytes of a first window); a long range is read in one call and not cached
    // (it would push out the small pieces that are read again).
    auto joined = std::make_shared<Block>();
    joined->length = size_t(end - offset);
    joined->bytes = std::make_unique_for_overwrite<char[]>(joined->length);
    if (lastBlock - firstBlock < kMaximumJoinedBlocks) {
        char *into = joined->bytes.get();
        for (uint64_t index = firstBlock; index <= lastBlock; ++index) {
            std::shared_ptr<const Block> bytes = block(index);
            if (!bytes) return std::nullopt;
            const uint64_t blockStart = index * blockLength_;
            size_t from = index == firstBlock ? size_t(offset - blockStart) : 0;
            size_t to = index == lastBlock ? size_t(end - blockStart) : bytes->length;
            std::memcpy(into, bytes->bytes.get() + from, to - from);
            into += to - from;
        }
    } else if (!readAt(joined->bytes.get(), joined->length, offset)) {
        return std::nullopt;
    }
    return MarqenPDFWindow{offset, joined->view(), joined};
}

std::shared_ptr<const std::string> MarqenPDFFileReader::wholeFile() {
    auto bytes = std::make_shared<std::string>(size_t(size_), '\0');
    if (!readAt(bytes->data(), bytes->size(), 0)) return nullptr;
    return bytes;
}

bool MarqenPDFFileReader::unchangedSinceOpened(std::string *reason) {
    struct stat info {};
    if (::fstat(fd_, &info) != 0 || uint64_t(info.st_size) != size_ || info.st_mtim.tv_sec != modificationSeconds_ ||
        info.st_mtim.tv_nsec != modificationNanoseconds_) {
        *reason = path_ + " changed while it was read";
        fail("MarqenPDF: " + *reason);
        return false;
    }
    return true;
}

bool MarqenPDFFileReader::copyPrefix(int out, uint64_t length, std::string *reason) {
    if (failed_) {
        *reason = failure_.rfind("MarqenPDF: ", 0) == 0 ? failure_.substr(11) : failure_;
        return false;
    }
    if (length > size_ || !unchangedSinceOpened(reason)) {
        if (reason->empty()) *reason = path_ + " is shorter than its original PDF";
        return false;
    }
    uint64_t moved = 0;
    KernelCopy copied = copyInKernel(fd_, out, length, &moved);
    if (copied == KernelCopy::failed) {
        *reason = std::strerror(errno);
        return false;
    }
    if (copied == KernelCopy::unavailable) {
        // Through a buffer, for files the kernel cannot copy between.
        std::string buffer(size_t(std::min<uint64_t>(length, uint64_t(1) << 20)), '\0');
        while (moved < length) {
            size_t chunk = size_t(std::min<uint64_t>(buffer.size(), length - moved));
            if (!readAt(buffer.data(), chunk, moved)) break;
            if (!writeAll(out, std::string_view(buffer.data(), chunk))) {
                *reason = std::strerror(errno);
                return false;
            }
            moved += chunk;
        }
    }
    if (moved < length) {
        if (!failed_) fail("MarqenPDF: " + path_ + " became shorter while it was read");
        *reason = path_ + " became shorter while it was read";
        return false;
    }
    // Changed while copied: the copy may mix old and new bytes.
    return unchangedSinceOpened(reason);
}

MarqenPDFBytes::MarqenPDFBytes(void *mapping, size_t length)
    : mapping_(mapping), mappedLength_(length), view_(static_cast<const char *>(mapping), length) {}

MarqenPDFBytes::~MarqenPDFBytes() {
    if (mapping_) ::munmap(mapping_, mappedLength_);
}

std::shared_ptr<const MarqenPDFBytes> MarqenPDFReadFile(const std::string &path, MarqenPDFSourceFile *source,
                                                        bool copy) {
    struct stat info {};
    int fd = openRegularFile(path, info);
    if (fd < 0) return nullptr;
    auto remember = [&](uint64_t length, bool complete) {
        if (!source) return;
        *source = MarqenPDFSourceFile{path,
                                      length,
                                      int64_t(info.st_mtim.tv_sec),
                                      int64_t(info.st_mtim.tv_nsec),
                                      uint64_t(info.st_dev),
                                      uint64_t(info.st_ino)};
        if (!complete) source->size = ~uint64_t(0);  // changed while read: never copy
    };

    size_t length = size_t(info.st_size);
    if (!copy && length > 0) {
        void *mapping = ::mmap(nullptr, length, PROT_READ, MAP_PRIVATE, fd, 0);
        if (mapping != MAP_FAILED) {
            ::close(fd);
            remember(length, true);
            return std::shared_ptr<const MarqenPDFBytes>(new MarqenPDFBytes(mapping, length));
        }
    }

    // Read into memory; new[] leaves the buffer unfilled, so the expected size is touched once.
    std::unique_ptr<char[]> buffer(new char[length ? length : 1]);
    std::string tail;
    size_t filled = 0;
    for (;;) {
        ssize_t count;
        if (filled < length) {
            count = ::read(fd, buffer.get() + filled, length - filled);
        } else {
            // The file grew while being read: take the rest in pieces.
            char more[65536];
            count = ::read(fd, more, sizeof more);
            if (count > 0) tail.append(more, size_t(count));
        }
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            marqenPDFWarn("MarqenPDF: Could not read file " + path + ": " + std::strerror(errno));
            ::close(fd);
            return nullptr;
        }
        if (count == 0) break;
        if (filled < length) filled += size_t(count);
    }
    ::close(fd);
    if (!tail.empty()) {
        // Rare: keep the whole of what was read, in one piece.
        std::string data(buffer.get(), filled);
        data += tail;
        remember(data.size(), false);
        return std::make_shared<const MarqenPDFBytes>(std::move(data));
    }
    remember(filled, filled == length);
    return std::make_shared<const MarqenPDFBytes>(std::move(buffer), filled);
}

bool MarqenPDFWriteFileAtomically(const std::string &path, const std::vector<MarqenPDFFilePart> &parts,
                                  MarqenError *error, bool *shortWrite) {
    std::filesystem::path target(path);
    std::filesystem::path temporary = temporaryPathBeside(target);
    int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0) return posixFail(error, errno, "Could not create " + temporary.string());
    bool complete = true;
    std::string readerProblem;
    for (size_t i = 0; i < parts.size() && complete; ++i) {
        const MarqenPDFFilePart &part = parts[i];
        if (part.reader) {
            complete = part.reader->copyPrefix(fd, part.readerLength, &readerProblem);
            if (!complete && part.reader->failed()) {
                ::close(fd);
                std::error_code ignored;
                std::filesystem::remove(temporary, ignored);
                return marqenFail(error, "MarqenPDF", -1, readerProblem);
            }
            continue;
        }
        if (i == 0 && part.source && copyFromSource(fd, *part.source, part.bytes.size())) continue;
        complete = writeAll(fd, part.bytes);
    }
    int code = errno;
    if (::close(fd) != 0 && complete) {
        complete = false;
        code = errno;
    }
    std::error_code ignored;
    if (!complete) {
        std::filesystem::remove(temporary, ignored);
        if (shortWrite) *shortWrite = true;
        return posixFail(error, code, "Could not write " + path);
    }
    std::string reason;
    if (!moveIntoPlace(temporary, target, &reason))
        return marqenFail(error, "NSPOSIXErrorDomain", EIO, "Could not write " + path + ": " + reason);
    return true;
}

}  // namespace marqen
