#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

// Running sums of the squared K-weighted signal, kept only every `stride`
// samples. sumAt(n) is the 64-bit sum of the first n squared samples, added
// sample by sample exactly as a per-sample array would hold it, for every n
// that is a multiple of the stride, and for the total.
//
// The analysis reads sums only at multiples of one stride: its blocks, hops,
// 20-second windows and curve window are all whole multiples of their
// greatest common divisor (a tenth of a second at every rate divisible by 10),
// so a measurement keeps ten numbers a second instead of one per sample.
class EnergyPrefix {
public:
    EnergyPrefix() = default;

    // The stride at which every position the analysis reads lies, for
    // `sampleRate`; 1 (every sample) at rates that have no coarser one.
    static int64_t strideFor(int64_t sampleRate);

    int64_t stride() const { return stride_; }
    int64_t totalSamples() const { return total_; }
    bool holds(int64_t sample) const {
        return sample == total_ || (sample >= 0 && sample < total_ && sample % stride_ == 0);
    }
    // Only at held positions.
    double sumAt(int64_t sample) const;
    // Memory kept, in bytes.

    bool operator==(const EnergyPrefix&) const = default;

    // Builds one from squared samples fed in order, in pieces of any size.
    class Accumulator {
    public:
        Accumulator(int64_t stride, int64_t expectedSamples);
        // Adds `count` squared samples that `addOnto(offset, n, sum)` adds
        // onto `sum` one after another, the n from `offset` on, and returns:
        // it is asked for at most a stride's worth at a time.
        template <typename AddOnto> void add(int64_t count, AddOnto addOnto) {
            for (int64_t i = 0; i < count;) {
                const int64_t n = std::min(count - i, stride_ - position_ % stride_);
                sum_ = addOnto(i, n, sum_);
                position_ += n;
                i += n;
                if (position_ % stride_ == 0)
                    sums_.push_back(sum_);
            }
        }
        EnergyPrefix take();

    private:
        int64_t stride_;
        int64_t position_ = 0;
        double sum_ = 0.0;
        std::vector<double> sums_;
    };

private:
    int64_t stride_ = 1;
    int64_t total_ = 0;
    double totalSum_ = 0.0;
    std::vector<double> sums_; // sums_[k] = sum of the first k·stride samples
};
