#pragma once
// Every fuzz target works within the command line's resource budget, as a file from a stranger would.
// MARQEN_FUZZ_DEEP=1 (set by scripts/fuzz.sh --deep) lifts the targets' own small caps, so that larger
// inputs reach the command line's limits themselves.
#include <cstdlib>

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
        marqen_setResourceBudget(MarqenResourceBudget::commandLineDefaults());
        return true;
    }();
    (void)set;
}

}  // namespace marqen::fuzz
