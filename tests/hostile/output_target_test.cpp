// The command line's -o never replaces what is not a regular file and keeps a replaced file's mode.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "hostile/cli_run.h"
#include "support/test_support.h"

using namespace marqen::test;

namespace {
std::string sample(const std::string &name) { return (sourceDir() / "samples" / name).string(); }

mode_t statMode(const std::filesystem::path &path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status.st_mode;
}
}  // namespace

TEST(HostileOutput, AFifoOrADeviceNodeNamedByDashOIsRefusedAndLeftAlone) {
    TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "pipe").c_str(), 0644), 0);
    auto run = runMeasured({"normalize", sample("basic.json"), "-o", (dir / "pipe").string()});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err, "marqen: cannot write " + (dir / "pipe").string() + ": it exists and is not a regular file\n");
    EXPECT_TRUE(S_ISFIFO(statMode(dir / "pipe")));

    if (::mknod((dir / "null.png").c_str(), S_IFCHR | 0666, makedev(1, 3)) == 0) {
        run = runMeasured({"render", sample("basic.json"), "-o", (dir / "null.png").string()});
        EXPECT_EQ(run.exitStatus, 1);
        EXPECT_NE(run.err.find("it exists and is not a regular file"), std::string::npos) << run.err;
        EXPECT_TRUE(S_ISCHR(statMode(dir / "null.png")));
    }
}

TEST(HostileOutput, AnExistingFileWithModeSixHundredKeepsItsMode) {
    TempDir dir;
    writeFile(dir / "private.json", "old");
    ASSERT_EQ(::chmod((dir / "private.json").c_str(), 0600), 0);
    auto run = runMeasured({"normalize", sample("basic.json"), "-o", (dir / "private.json").string()});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(statMode(dir / "private.json") & 07777, 0600u);
    EXPECT_NE(readFile(dir / "private.json"), "old");
}
