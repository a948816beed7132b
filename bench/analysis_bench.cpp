// In-process throughput of the measurement against libebur128 on the same
// samples, with the ratio printed at the end.
// Usage: build/bench/analysis_bench

#include "analysis/KWeightingFilter.h"
#include "analysis/LoudnessAnalyzer.h"
#include "support/AnalysisSupport.h"

#include "RatioMain.h"

#include <benchmark/benchmark.h>
#include <cstdio>
#include <ebur128.h>
#include <random>

namespace {

constexpr int64_t rate = 48000;

const std::vector<float>& minuteOfNoise() {
    static const std::vector<float> samples = [] {
        std::mt19937 rng(42);
        std::uniform_real_distribution<float> dist(-0.5f, 0.5f);
        std::vector<float> s(static_cast<size_t>(rate * 60));
        for (float& x : s)
            x = dist(rng);
        return s;
    }();
    return samples;
}

void BM_SonivelAnalyzeSamples(benchmark::State& state) {
    const auto& s = minuteOfNoise();
    for (auto _ : state) {
        benchmark::DoNotOptimize(support::analyzeSamples(s, rate));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(s.size()));
}

void BM_ReferenceLibebur128(benchmark::State& state) {
    const auto& s = minuteOfNoise();
    for (auto _ : state) {
        ebur128_state* st = ebur128_init(1, rate, EBUR128_MODE_I | EBUR128_MODE_S);
        ebur128_add_frames_float(st, s.data(), s.size());
        double loudness = 0;
        ebur128_loudness_global(st, &loudness);
        benchmark::DoNotOptimize(loudness);
        ebur128_destroy(&st);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(s.size()));
}

void BM_KWeightingFilter(benchmark::State& state) {
    const auto& s = minuteOfNoise();
    std::vector<float> out(s.size());
    for (auto _ : state) {
        KWeightingFilter f(rate);
        f.process(s.data(), out.data(), static_cast<int64_t>(s.size()));
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(s.size()));
}

BENCHMARK(BM_SonivelAnalyzeSamples)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReferenceLibebur128)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_KWeightingFilter)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return runWithSummary(argc, argv, [](const BenchTimes& times) {
        const auto ours = times.find("BM_SonivelAnalyzeSamples");
        const auto ref = times.find("BM_ReferenceLibebur128");
        if (ours != times.end() && ref != times.end() && ours->second > 0) {
            std::printf("ratio libebur128 / sonivel (one minute, mono, 48 kHz, one core): %.2fx\n",
                        ref->second / ours->second);
        }
    });
}
