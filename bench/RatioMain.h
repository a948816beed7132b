#pragma once

// The shared main() of the in-process benchmarks: runs them with the console
// reporter, then hands the real time of each benchmark (in its display unit)
// to `summary`, which prints the ratio against the reference of the same run.

#include <benchmark/benchmark.h>
#include <functional>
#include <map>
#include <string>

using BenchTimes = std::map<std::string, double>;

inline int runWithSummary(int argc, char** argv, std::function<void(const BenchTimes&)> summary) {
    class Reporter : public benchmark::ConsoleReporter {
    public:
        explicit Reporter(std::function<void(const BenchTimes&)> s) : summary_(std::move(s)) {}
        void ReportRuns(const std::vector<Run>& runs) override {
            for (const Run& r : runs)
                times_[r.benchmark_name()] = r.GetAdjustedRealTime();
            ConsoleReporter::ReportRuns(runs);
        }
        void Finalize() override {
            ConsoleReporter::Finalize();
            summary_(times_);
        }

    private:
        std::function<void(const BenchTimes&)> summary_;
        BenchTimes times_;
    };
    benchmark::Initialize(&argc, argv);
    Reporter reporter(std::move(summary));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
