#include "formats/pdf/pdf_file_io.h"

#include <fcntl.h>
#include <sys/mman.h>
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

}  // namespace

MarqenPDFBytes::MarqenPDFBytes(void *mapping, size_t length)
    : mapping_(mapping), mappedLength_(length), view_(static_cast<const char *>(mapping), length) {}

MarqenPDFBytes::~MarqenPDFBytes() {
    if (mapping_) ::munmap(mapping_, mappedLength_);
}

std::shared_ptr<const MarqenPDFBytes> MarqenPDFReadFile(const std::string &path, MarqenPDFSourceFile *source,
                                                        bool copy) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        marqenPDFWarn("MarqenPDF: Could not read file " + path + ": " + std::strerror(errno));
        return nullptr;
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        marqenPDFWarn("MarqenPDF: Could not read file " + path + ": not a regular file");
        return nullptr;
    }
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
    for (size_t i = 0; i < parts.size() && complete; ++i) {
        const MarqenPDFFilePart &part = parts[i];
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
