#include "foundation/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "foundation/uuid.h"

namespace marqen {

namespace {

struct ExistingTarget {
    bool exists = false;
    struct stat status {};
};

bool setReason(std::string *reason, const std::string &text) {
    if (reason) *reason = text;
    return false;
}

std::string posixReason(int code) { return std::strerror(code); }

// lstat, so that a symbolic link is seen as the link and never as what it points to.
bool inspectTarget(const std::filesystem::path &target, ExistingTarget *existing, std::string *reason) {
    if (::lstat(target.c_str(), &existing->status) != 0) {
        if (errno == ENOENT) return true;
        return setReason(reason, posixReason(errno));
    }
    existing->exists = true;
    const mode_t type = existing->status.st_mode & S_IFMT;
    if (type == S_IFREG) return true;
    if (type == S_IFLNK)
        return setReason(reason, "it is a symbolic link; name the file it points to if that is the one to replace");
    if (type == S_IFDIR) return setReason(reason, "it is a directory");
    return setReason(reason, "it exists and is not a regular file");
}

void removeQuietly(const std::filesystem::path &path) {
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

bool writeAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return true;
}

// A failed folder flush does not undo the rename, so it is not reported: the file is in place.
void syncFolder(const std::filesystem::path &target) {
    std::filesystem::path folder = target.parent_path();
    if (folder.empty()) folder = ".";
    int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

}  // namespace

std::filesystem::path temporaryPathBeside(const std::filesystem::path &target) {
    std::filesystem::path temporary = target;
    temporary += ".tmp-" + marqen_stringWithNewUUID();
    return temporary;
}

bool checkReplaceableTarget(const std::filesystem::path &target, std::string *reason) {
    ExistingTarget existing;
    return inspectTarget(target, &existing, reason);
}

bool moveIntoPlace(const std::filesystem::path &temporary, const std::filesystem::path &target,
                   std::string *reason) {
    ExistingTarget existing;
    if (!inspectTarget(target, &existing, reason)) {
        removeQuietly(temporary);
        return false;
    }
    int fd = ::open(temporary.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        const int code = errno;
        removeQuietly(temporary);
        return setReason(reason, posixReason(code));
    }
    if (existing.exists) {
        // The owner first: changing it may clear set-id bits, which the mode then puts back. Setting the
        // owner fails without privilege unless it is already ours; the file then stays the writer's own.
        if (::fchown(fd, existing.status.st_uid, existing.status.st_gid) != 0)
            (void)::fchown(fd, static_cast<uid_t>(-1), existing.status.st_gid);
        if (::fchmod(fd, existing.status.st_mode & 07777) != 0) {
            const int code = errno;
            ::close(fd);
            removeQuietly(temporary);
            return setReason(reason, "its permissions could not be kept: " + posixReason(code));
        }
    }
    if (::fsync(fd) != 0) {
        const int code = errno;
        ::close(fd);
        removeQuietly(temporary);
        return setReason(reason, posixReason(code));
    }
    ::close(fd);
    if (::rename(temporary.c_str(), target.c_str()) != 0) {
        const int code = errno;
        removeQuietly(temporary);
        return setReason(reason, posixReason(code));
    }
    syncFolder(target);
    return true;
}

bool writeFileAtomically(const std::filesystem::path &target, std::string_view bytes, std::string *reason) {
    ExistingTarget existing;
    if (!inspectTarget(target, &existing, reason)) return false;
    const std::filesystem::path temporary = temporaryPathBeside(target);
    // Replacing a file, the copy stays private until it has the old file's mode; a new file follows the umask.
    int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                    existing.exists ? 0600 : 0666);
    if (fd < 0) return setReason(reason, posixReason(errno));
    bool written = writeAll(fd, bytes);
    int code = errno;
    if (::close(fd) != 0 && written) {
        written = false;
        code = errno;
    }
    if (!written) {
        removeQuietly(temporary);
        return setReason(reason, posixReason(code));
    }
    return moveIntoPlace(temporary, target, reason);
}

}  // namespace marqen
