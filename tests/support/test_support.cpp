#include "support/test_support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>

namespace marqen::test {

// Repeated-line counts start afresh with each capture, so that one test's lines never hide another's.
LogCapture::LogCapture() {
    CoreMarqenLog::sharedCoreMarqenLog().flushRepeatedMessages();
    CoreMarqenLog::sharedCoreMarqenLog().setDelegate(this);
}
LogCapture::~LogCapture() {
    CoreMarqenLog::sharedCoreMarqenLog().flushRepeatedMessages();
    CoreMarqenLog::sharedCoreMarqenLog().setDelegate(nullptr);
}

void LogCapture::marqenLog(CoreMarqenLog &, const std::string &message) {
    std::lock_guard lock(mutex_);
    lines_.push_back(message);
}

std::vector<std::string> LogCapture::lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
}

bool LogCapture::contains(const std::string &fragment) const {
    std::lock_guard lock(mutex_);
    return std::any_of(lines_.begin(), lines_.end(),
                       [&](const std::string &line) { return line.find(fragment) != std::string::npos; });
}

TempDir::TempDir() {
    static std::atomic<int> counter{0};
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() /
            ("marqen-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + "-" +
             std::to_string(random()));
    std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path sourceDir() { return MARQEN_SOURCE_DIR; }

std::string readFile(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::filesystem::path &path, const std::string &bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

int runCli(const std::string &arguments, std::string *stdoutText, std::string *stderrText) {
    TempDir dir;
    std::string command = std::string(MARQEN_CLI) + " " + arguments + " >" + (dir / "out").string() + " 2>" +
                          (dir / "err").string() + " </dev/null";
    int status = std::system(command.c_str());
    if (stdoutText) *stdoutText = readFile(dir / "out");
    if (stderrText) *stderrText = readFile(dir / "err");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace marqen::test
