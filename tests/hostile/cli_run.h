#pragma once
// Runs the marqen command line on a generated hostile input and measures what the run cost.
#include <string>
#include <vector>

namespace marqen::test {

struct MeasuredRun {
    int exitStatus = -1;  // -1 when the process died of a signal
    int signal = 0;
    std::string out, err;
    double seconds = 0;
    long maximumResidentKB = 0;
};

// Runs marqen with arguments (no shell), killing it after killAfterSeconds.
MeasuredRun runMeasured(const std::vector<std::string> &arguments, int killAfterSeconds = 120);

// Bounds every hostile run must stay within: generous for a loaded two-core machine and a sanitizer build,
// far below what the unbounded code took.
inline constexpr double kSecondsBound = 20.0;
inline constexpr long kResidentKBBound = 700 * 1024;

// The run ended by itself, within both bounds.
void expectWithinBounds(const MeasuredRun &run);

}  // namespace marqen::test
