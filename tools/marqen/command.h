#pragma once
// The marqen program's commands. Each command lives in its own file and registers itself with
// a static MarqenCommandRegistration, so adding a command needs no edit elsewhere.
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "formats/pdf/pdf_file.h"

namespace marqen::cli {

enum ExitCode { kExitSuccess = 0, kExitFailure = 1, kExitUsage = 2 };

// Thrown for bad usage (exit 2) or a failed operation (exit 1); main prints "marqen: <what>".
struct CommandError : std::runtime_error {
    CommandError(int exitCode, const std::string &message) : std::runtime_error(message), exitCode(exitCode) {}
    int exitCode;
};
[[noreturn]] inline void usageError(const std::string &message) { throw CommandError(kExitUsage, message); }
[[noreturn]] inline void failure(const std::string &message) { throw CommandError(kExitFailure, message); }

// A small argument reader: positional arguments plus options that may take a value.
class Arguments {
public:
    // valueOptions are the options that take a value ("-o", "--page", ...); flags take none.
    Arguments(const std::vector<std::string> &args, const std::vector<std::string> &valueOptions,
              const std::vector<std::string> &flags);
    bool has(const std::string &option) const;
    std::string value(const std::string &option, const std::string &fallback = "") const;
    std::vector<std::string> values(const std::string &option) const;  // a repeatable option
    const std::vector<std::string> &positional() const { return positional_; }
    // The single required positional argument; a usage error names `what` when it is missing.
    std::string requirePositional(size_t index, const std::string &what) const;
    std::string requireValue(const std::string &option) const;
    bool helpRequested() const { return has("--help") || has("-h"); }

private:
    std::multimap<std::string, std::string> options_;
    std::vector<std::string> positional_;
};

struct Command {
    std::string name;
    std::string summary;  // one line for the overview
    std::string usage;    // the full --help text
    std::function<int(const std::vector<std::string> &args)> run;
};

std::map<std::string, Command> &commandTable();

struct MarqenCommandRegistration {
    explicit MarqenCommandRegistration(Command command);
};

// Writes a file safely: to a temporary file beside the target, then renamed.
void writeFileAtomically(const std::string &path, const std::string &bytes);

// How the command line opens PDF files: read into memory (another process truncating a mapped file
// would end the command with a signal) and with decoded streams bounded by the file's size.
MarqenPDFOptions commandLinePDFOptions();
std::string readWholeFile(const std::string &path);  // throws CommandError(1) when it cannot be read (or over 256 MiB)

}  // namespace marqen::cli
