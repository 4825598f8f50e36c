#pragma once
// Every fuzz target works within the command line's resource budget, as a file from a stranger would.
// MARQEN_FUZZ_DEEP=1 (set by scripts/fuzz.sh --deep) lifts the targets' own small caps, so that larger
// inputs reach the command line's limits themselves.
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "foundation/resource_budget.h"

namespace marqen::fuzz {

inline bool deepRun() {
    static const bool deep = [] {
        const char *value = std::getenv("MARQEN_FUZZ_DEEP");
        return value && *value && *value != '0';
    }();
    return deep;
}

// Called at the top of each input; sets the budget once per process.
inline void useCommandLineBudget() {
    static const bool set = [] {
        MarqenSetResourceBudget(MarqenResourceBudget::commandLineDefaults());
        return true;
    }();
    (void)set;
}

// A folder of this process's own under the temporary directory, with a "tmp" folder inside that becomes
// TMPDIR (so that the library's temporary files land where a target can count them); removed at exit.
// One per process: the first name given names it.
inline const std::filesystem::path &privateWorkDirectory(const char *name) {
    static const std::filesystem::path directory = [name] {
        std::filesystem::path made =
            std::filesystem::temp_directory_path() / (std::string("marqen-fuzz-") + name + "-" + std::to_string(::getpid()));
        std::filesystem::create_directories(made / "tmp");
        setenv("TMPDIR", (made / "tmp").c_str(), 1);
        // Removed at exit through a copy that outlives the static path.
        static char *removeAtExit = ::strdup(made.c_str());
        std::atexit([] {
            std::error_code ec;
            std::filesystem::remove_all(removeAtExit, ec);
        });
        return made;
    }();
    return directory;
}

}  // namespace marqen::fuzz
