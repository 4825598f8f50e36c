// marqen: the library's main job from a shell.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "command.h"
#include "foundation/log.h"
#include "foundation/resource_budget.h"

namespace {

// Library warnings go to stderr prefixed so that scripts can tell them from our own errors.
class StderrLog : public marqen::CoreMarqenLogDelegate {
public:
    void marqenLog(marqen::CoreMarqenLog &, const std::string &message) override {
        std::cerr << "marqen: warning: " << message << '\n';
    }
};

void printOverview(std::ostream &out) {
    out << "usage: marqen COMMAND [ARGS]\n\ncommands:\n";
    for (const auto &[name, command] : marqen::cli::commandTable())
        out << "  " << name << std::string(name.size() < 14 ? 14 - name.size() : 1, ' ') << command.summary << '\n';
    out << "\n'marqen COMMAND --help' describes one command.\n";
}

#ifdef MARQEN_CLI_DELEGATES_OTHER_COMMANDS
// This program holds the PDF commands only; the overview and every other command are run by
// marqen-commands, found beside this program (build tree) or under libexec (installed). Returns only
// when it cannot be started.
int runAllCommandsProgram(char **argv) {
    std::error_code error;
    std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    std::filesystem::path folder = error ? std::filesystem::path(argv[0]).parent_path() : self.parent_path();
    if (folder.empty()) folder = ".";
    const std::filesystem::path candidates[] = {folder / "marqen-commands",
                                                folder / MARQEN_CLI_COMMANDS_RELATIVE_DIR / "marqen-commands"};
    int reason = ENOENT;
    for (const std::filesystem::path &candidate : candidates) {
        ::execv(candidate.c_str(), argv);
        if (errno != ENOENT) reason = errno;
    }
    std::cerr << "marqen: cannot start " << candidates[1].lexically_normal().string() << ": " << std::strerror(reason)
              << '\n';
    return marqen::cli::kExitFailure;
}
#endif

}  // namespace

int main(int argc, char **argv) {
    using namespace marqen::cli;
#ifdef MARQEN_CLI_DELEGATES_OTHER_COMMANDS
    if (argc < 2 || commandTable().count(argv[1]) == 0) return runAllCommandsProgram(argv);
#endif
    StderrLog log;
    marqen::CoreMarqenLog::sharedCoreMarqenLog().setDelegate(&log);
    // Files named on a command line may come from anyone: every operation works within a budget.
    marqen::MarqenSetResourceBudget(marqen::MarqenResourceBudget::commandLineDefaults());
    std::vector<std::string> args(argv + 1, argv + argc);
    int status = kExitSuccess;
    try {
        if (args.empty()) {
            printOverview(std::cerr);
            status = kExitUsage;
        } else if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
            printOverview(std::cout);
        } else {
            auto found = commandTable().find(args[0]);
            if (found == commandTable().end()) usageError("unknown command '" + args[0] + "' (see marqen --help)");
            std::vector<std::string> rest(args.begin() + 1, args.end());
            bool help = false;
            for (const auto &arg : rest) help = help || arg == "--help" || arg == "-h";
            if (help) {
                std::cout << found->second.usage;
            } else {
                status = found->second.run(rest);
            }
        }
    } catch (const CommandError &error) {
        std::cerr << "marqen: " << error.what() << '\n';
        status = error.exitCode;
    } catch (const std::exception &error) {
        std::cerr << "marqen: " << error.what() << '\n';
        status = kExitFailure;
    }
    marqen::CoreMarqenLog::sharedCoreMarqenLog().flushRepeatedMessages();
    marqen::CoreMarqenLog::sharedCoreMarqenLog().setDelegate(nullptr);
    return status;
}
