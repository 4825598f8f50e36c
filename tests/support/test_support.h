#pragma once
// Helpers shared by every test program.
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "foundation/log.h"
#include "foundation/resource_budget.h"

namespace marqen::test {

// Captures log lines for the lifetime of the object.
class LogCapture : public CoreMarqenLogDelegate {
public:
    LogCapture();
    ~LogCapture() override;
    void marqenLog(CoreMarqenLog &log, const std::string &message) override;
    std::vector<std::string> lines() const;
    bool contains(const std::string &fragment) const;

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

// A fresh directory under the system temp folder, removed on destruction.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::filesystem::path &path() const { return path_; }
    std::filesystem::path operator/(const std::string &name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

std::filesystem::path sourceDir();  // the repository root
std::string readFile(const std::filesystem::path &path);
void writeFile(const std::filesystem::path &path, const std::string &bytes);

// Runs the marqen command line with the given arguments; returns the exit status and fills output.
int runCli(const std::string &arguments, std::string *stdoutText = nullptr, std::string *stderrText = nullptr);

// Sets an environment variable for one test and puts its previous value (or its absence) back.
class EnvironmentInForce {
public:
    EnvironmentInForce(const char *name, const std::string &value) : name_(name) {
        if (const char *previous = std::getenv(name)) previous_ = previous;
        ::setenv(name, value.c_str(), 1);
    }
    ~EnvironmentInForce() { previous_ ? ::setenv(name_.c_str(), previous_->c_str(), 1) : ::unsetenv(name_.c_str()); }

private:
    std::string name_;
    std::optional<std::string> previous_;
};

// Sets the decoded pixels per document budget for one test and puts the previous budget back.
class DecodedPixelsBudgetInForce {
public:
    explicit DecodedPixelsBudgetInForce(uint64_t pixels) : previous_(MarqenCurrentResourceBudget()) {
        MarqenResourceBudget budget = previous_;
        budget.decodedPixelsPerDocument = pixels;
        MarqenSetResourceBudget(budget);
    }
    ~DecodedPixelsBudgetInForce() { MarqenSetResourceBudget(previous_); }

private:
    MarqenResourceBudget previous_;
};

}  // namespace marqen::test
