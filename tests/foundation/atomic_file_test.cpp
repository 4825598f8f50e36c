#include "foundation/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>

#include "support/test_support.h"

using namespace marqen;

namespace {

mode_t fileType(const std::filesystem::path &path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & S_IFMT;
}

mode_t permissions(const std::filesystem::path &path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
}

size_t entryCount(const std::filesystem::path &folder) {
    size_t count = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(folder)) ++count;
    return count;
}

}  // namespace

TEST(AtomicFile, WritesNewFileAndReplacesOldOneLeavingNothingBeside) {
    test::TempDir dir;
    std::string reason;
    ASSERT_TRUE(writeFileAtomically(dir / "a.txt", "first", &reason)) << reason;
    ASSERT_TRUE(writeFileAtomically(dir / "a.txt", "second", &reason)) << reason;
    EXPECT_EQ(test::readFile(dir / "a.txt"), "second");
    EXPECT_EQ(entryCount(dir.path()), 1u);
}

TEST(AtomicFile, KeepsTheModeOfTheFileItReplaces) {
    test::TempDir dir;
    for (mode_t mode : {0600, 0664}) {
        test::writeFile(dir / "a.json", "old");
        ASSERT_EQ(::chmod((dir / "a.json").c_str(), mode), 0);
        std::string reason;
        ASSERT_TRUE(writeFileAtomically(dir / "a.json", "new", &reason)) << reason;
        EXPECT_EQ(permissions(dir / "a.json"), mode);
        EXPECT_EQ(test::readFile(dir / "a.json"), "new");
    }
}

TEST(AtomicFile, KeepsTheOwnerWhereAllowed) {
    if (::geteuid() != 0) GTEST_SKIP() << "only a privileged process may give a file to another owner";
    test::TempDir dir;
    test::writeFile(dir / "owned.json", "old");
    ASSERT_EQ(::chown((dir / "owned.json").c_str(), 4321, 8765), 0);
    std::string reason;
    ASSERT_TRUE(writeFileAtomically(dir / "owned.json", "new", &reason)) << reason;
    struct stat status {};
    ASSERT_EQ(::stat((dir / "owned.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 4321u);
    EXPECT_EQ(status.st_gid, 8765u);
}

TEST(AtomicFile, RefusesTargetsThatAreNotRegularFiles) {
    test::TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0644), 0);
    std::filesystem::create_directory(dir / "folder");
    std::string reason;
    EXPECT_FALSE(writeFileAtomically(dir / "pipe", "x", &reason));
    EXPECT_EQ(reason, "it exists and is not a regular file");
    EXPECT_EQ(fileType(dir / "pipe"), static_cast<mode_t>(S_IFIFO));
    EXPECT_FALSE(writeFileAtomically(dir / "folder", "x", &reason));
    EXPECT_EQ(reason, "it is a directory");
    EXPECT_EQ(entryCount(dir.path()), 2u);
}

TEST(AtomicFile, RefusesADeviceNodeLikeDevNull) {
    test::TempDir dir;
    // A null device of our own: if the refusal ever broke, the machine's /dev/null would survive anyway.
    if (::mknod((dir / "null").c_str(), S_IFCHR | 0666, makedev(1, 3)) != 0)
        GTEST_SKIP() << "device nodes cannot be made here";
    std::string reason;
    EXPECT_FALSE(writeFileAtomically(dir / "null", "x", &reason));
    EXPECT_EQ(reason, "it exists and is not a regular file");
    EXPECT_EQ(fileType(dir / "null"), static_cast<mode_t>(S_IFCHR));
    EXPECT_EQ(entryCount(dir.path()), 1u);
}

TEST(AtomicFile, NeitherFollowsNorReplacesASymbolicLink) {
    test::TempDir dir, elsewhere;
    test::writeFile(elsewhere / "victim.txt", "untouched");
    std::filesystem::create_symlink(elsewhere / "victim.txt", dir / "out.txt");
    std::string reason;
    EXPECT_FALSE(writeFileAtomically(dir / "out.txt", "x", &reason));
    EXPECT_NE(reason.find("symbolic link"), std::string::npos) << reason;
    EXPECT_EQ(fileType(dir / "out.txt"), static_cast<mode_t>(S_IFLNK));
    EXPECT_EQ(test::readFile(elsewhere / "victim.txt"), "untouched");
    EXPECT_EQ(entryCount(dir.path()), 1u);
}

TEST(AtomicFile, MovingIntoPlaceOverAFifoRemovesTheTemporaryFile) {
    test::TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0644), 0);
    const auto temporary = temporaryPathBeside(dir / "pipe");
    test::writeFile(temporary, "written elsewhere");
    std::string reason;
    EXPECT_FALSE(moveIntoPlace(temporary, dir / "pipe", &reason));
    EXPECT_FALSE(std::filesystem::exists(temporary));
    EXPECT_EQ(fileType(dir / "pipe"), static_cast<mode_t>(S_IFIFO));
}

TEST(AtomicFile, AFailedWriteLeavesTheOldFileAndNoTemporaryFile) {
    test::TempDir dir;
    test::writeFile(dir / "keep.json", "the old contents");
    // A child whose file size limit is 16 bytes cannot write the 4 KB replacement.
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit {16, 16};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::string reason;
        bool written = writeFileAtomically(dir / "keep.json", std::string(4096, 'x'), &reason);
        ::_exit(written ? 1 : (reason == std::strerror(EFBIG) ? 0 : 2));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(test::readFile(dir / "keep.json"), "the old contents");
    EXPECT_EQ(entryCount(dir.path()), 1u);
}
