#pragma once
// Runs the marqen command line on a generated hostile input and measures what the run cost.
#include <string>
#include <vector>

namespace marqen::test {

struct MeasuredRun {
    int exitStatus = -1;  // -1 when the process died of a signal
    int signal = 0;
    std::string out, err;
    // The work the run did (user and system time), which unlike wall time does not grow with whatever else
    // the machine runs.
    double processorSeconds = 0;
    long maximumResidentKB = 0;
};

// Runs marqen with arguments (no shell), killing it after killAfterSeconds.
MeasuredRun runMeasured(const std::vector<std::string> &arguments, int killAfterSeconds = 120);

// Bounds every hostile run must stay within, far below what the unbounded code took. A sanitizer build does
// the same work about ten times slower (a half-million-vertex polygon: 0.5 s plain, 5 s under
// AddressSanitizer), so its bound is three times longer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr double kSecondsBound = 60.0;
#else
inline constexpr double kSecondsBound = 20.0;
#endif
inline constexpr long kResidentKBBound = 700 * 1024;

// The run ended by itself, within both bounds.
void expectWithinBounds(const MeasuredRun &run);

}  // namespace marqen::test
