#pragma once
// Ratio lines shared by the benchmark programs. Every ratio is printed as one line that
// scripts/bench.sh collects into its table:
//   ratio: <label> = <value> (goal <= <goal>, noise <n>%) ok|MISS
// A run misses its goal only when the value exceeds the goal by more than the stated noise; a program
// returns exitStatus() from main so that a miss makes it exit non-zero.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace marqen::bench {

// Relative run-to-run spread assumed when none is given: 10%.
constexpr double kDefaultNoise = 0.10;

inline bool &goalMissed() {
    static bool missed = false;
    return missed;
}

// Prints one ratio line; with a goal > 0 it says ok or MISS and remembers a miss beyond the noise.
inline void reportRatio(const std::string &label, double value, double goal = 0, double noise = kDefaultNoise) {
    if (goal <= 0) {
        std::printf("ratio: %s = %.4g\n", label.c_str(), value);
    } else {
        bool missed = !(value <= goal * (1 + noise));
        if (missed) goalMissed() = true;
        std::printf("ratio: %s = %.4g (goal <= %.4g, noise %.0f%%) %s\n", label.c_str(), value, goal, noise * 100,
                    missed ? "MISS" : "ok");
    }
    std::fflush(stdout);
}

// 0 when every goal was met within its noise, 1 otherwise.
inline int exitStatus() { return goalMissed() ? 1 : 0; }

// Which clock a ratio compares: wall time, or the benchmark thread's processor time (steadier on a
// shared machine, and right for work that runs on that thread alone).
enum class Clock { Real, Processor };

// A console reporter that keeps each benchmark's time per iteration, so that a program can print ratios
// of benchmarks measured in the same run. With repetitions, the minimum over the repetitions is kept:
// on a shared machine the fastest run is the one least disturbed by others.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    explicit RatioReporter(Clock clock = Clock::Real) : ConsoleReporter(OO_Tabular), clock_(clock) {}

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations <= 0 || run.error_occurred) continue;
            double perIteration = clock_ == Clock::Real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
            double time = perIteration / benchmark::GetTimeUnitMultiplier(run.time_unit);
            auto [it, inserted] = times_.emplace(run.run_name.str(), time);
            if (!inserted && time < it->second) it->second = time;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Ratio of two benchmarks named as registered (their "/min_time:..." suffixes need not be given).
    // Nothing is printed when either did not run.
    void printRatio(const std::string &label, const std::string &numerator, const std::string &denominator,
                    double goal = 0, double noise = kDefaultNoise) const {
        const double *top = find(numerator), *bottom = find(denominator);
        if (!top || !bottom || *bottom <= 0) return;
        reportRatio(label, *top / *bottom, goal, noise);
    }

    // The kept time of a benchmark in seconds, or a negative value when it did not run.
    double time(const std::string &name) const {
        const double *found = find(name);
        return found ? *found : -1;
    }

private:
    const double *find(const std::string &name) const {
        for (const auto &[key, time] : times_)
            if (key == name || key.rfind(name + "/", 0) == 0) return &time;
        return nullptr;
    }

    Clock clock_;
    std::map<std::string, double> times_;
};

}  // namespace marqen::bench
