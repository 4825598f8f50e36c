#pragma once
// A console reporter that keeps each benchmark's real time per iteration, so that a program can print
// "ratio:" lines comparing benchmarks measured in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace marqen::bench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                times_[run.benchmark_name()] = run.GetAdjustedRealTime();
        ConsoleReporter::ReportRuns(runs);
    }

    // Prints "ratio: label = x", with "(goal <= g)" when a goal is given, for two benchmarks named as
    // registered (their "/min_time:..." suffixes need not be given). Nothing when either did not run.
    void printRatio(const std::string &label, const std::string &numerator, const std::string &denominator,
                    double goal = 0) const {
        const double *top = find(numerator), *bottom = find(denominator);
        if (!top || !bottom || *bottom <= 0) return;
        if (goal > 0)
            std::printf("ratio: %s = %.3f (goal <= %.2f)\n", label.c_str(), *top / *bottom, goal);
        else
            std::printf("ratio: %s = %.3f\n", label.c_str(), *top / *bottom);
    }

private:
    const double *find(const std::string &name) const {
        for (const auto &[key, time] : times_)
            if (key == name || key.rfind(name + "/", 0) == 0) return &time;
        return nullptr;
    }

    std::map<std::string, double> times_;
};

}  // namespace marqen::bench
