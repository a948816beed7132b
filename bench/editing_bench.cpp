// Time to build the gain envelope of a ten-minute 48 kHz file with 50
// separators, as playback does on start and on every gain drag. The reference
// in the same run is the straightforward walk: a full gainAtTime over all
// separators for every block. Both must stay well under one 60 Hz frame.
// Usage: build/bench/editing_bench

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"

#include "RatioMain.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdio>

namespace {

constexpr int64_t rate = 48000;
constexpr int64_t frames = rate * 600;

const SegmentEditSnapshot& fiftySeparators() {
    static const SegmentEditSnapshot edits = [] {
        SegmentEditSnapshot e = SegmentEditSnapshot::initial();
        for (int i = 0; i < 50; ++i)
            SegmentEditModel::addSeparator(e, 5.0 + i * 11.5);
        for (size_t i = 0; i < e.separators.size(); ++i)
            SegmentEditModel::setFadeDuration(e, e.separators[i].id, (i % 6) * 1000.0);
        for (size_t i = 0; i < e.segmentGains.size(); ++i)
            SegmentEditModel::setSegmentGain(e, static_cast<int64_t>(i), (i % 7) * 1.5 - 4.5);
        return e;
    }();
    return edits;
}

void BM_ComputeGainEnvelope(benchmark::State& state) {
    const auto& edits = fiftySeparators();
    for (auto _ : state)
        benchmark::DoNotOptimize(SegmentGainEvaluation::computeGainEnvelope(edits, -3.0, rate, frames));
}

void BM_ReferencePerBlockWalk(benchmark::State& state) {
    const auto& edits = fiftySeparators();
    constexpr int64_t block = SegmentGainEvaluation::blockSize;
    for (auto _ : state) {
        std::vector<float> env(static_cast<size_t>((frames + block - 1) / block));
        for (size_t b = 0; b < env.size(); ++b) {
            const double t = static_cast<double>(static_cast<int64_t>(b) * block + block / 2) / rate;
            env[b] = static_cast<float>(std::pow(10.0, SegmentGainEvaluation::gainAtTime(edits, t, -3.0) / 20.0));
        }
        benchmark::DoNotOptimize(env.data());
    }
}

BENCHMARK(BM_ComputeGainEnvelope)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReferencePerBlockWalk)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    return runWithSummary(argc, argv, [](const BenchTimes& ms) {
        const auto ours = ms.find("BM_ComputeGainEnvelope");
        const auto ref = ms.find("BM_ReferencePerBlockWalk");
        if (ours == ms.end() || ref == ms.end() || ours->second <= 0)
            return;
        constexpr double frameMs = 1000.0 / 60.0;
        std::printf("envelope, 10 min at 48 kHz, 50 separators: %.3f ms = %.1f%% of a 60 Hz frame\n", ours->second,
                    100.0 * ours->second / frameMs);
        std::printf("ratio per-block walk / single pass: %.1fx (walk %.3f ms)\n", ref->second / ours->second,
                    ref->second);
    });
}
