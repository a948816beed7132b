#pragma once

// The true peak of ITU-R BS.1770-4 Annex 2: each channel oversampled four
// times by a windowed-sinc interpolator, and the largest magnitude of the
// oversampled signal. The interpolator passes the original samples through
// unchanged, so a true peak is never below the sample peak.

#include <cstdint>
#include <vector>

// Per frame, the largest magnitude over every channel of the sample and of
// the three interpolated points that follow it. The peak of a frame comes out
// `latency` frames after the frame went in: the interpolator looks that far
// ahead. Allocates only when constructed.
class TruePeakDetector {
public:
    static constexpr int oversampling = 4;
    static constexpr int tapsPerPhase = 24;
    static constexpr int64_t latency = tapsPerPhase / 2;

    explicit TruePeakDetector(int channels);

    // Takes `frames` interleaved frames and writes as many peaks to `peaks`:
    // peaks[i] belongs to the frame that went in `latency` frames before
    // in[i] (0 for the frames before the first). A caller that only needs
    // the peaks over `floor` may say so: where the samples around a frame
    // are too far under it for any point between them to pass it, the
    // interpolation is skipped and the frame's peak comes out as 0.
    void process(const float* interleaved, int64_t frames, float* peaks, float floor = 0.0f);
    // The largest of the peaks process() would write for the same frames
    // and floor, without writing them.
    float largest(const float* interleaved, int64_t frames, float floor);
    // The peaks of the last `latency` frames, as if silence followed.
    void flush(float* peaks);

    int channels() const { return channels_; }

private:
    static constexpr int64_t block = 1024;
    // Keeps each frame's peak in `peaks` (zeroed), or with null only
    // returns the largest.
    float processBlock(const float* interleaved, int64_t frames, float* peaks, float floor);

    int channels_;
    // Per channel: the last tapsPerPhase − 1 samples, then one block and
    // room for the vector code's last groups.
    std::vector<std::vector<float>> lines_;
    std::vector<float> zeros_;
};

// The largest true peak of a whole signal fed in pieces, in dBTP.
class TruePeakMeter {
public:
    explicit TruePeakMeter(int channels);
    void add(const float* interleaved, int64_t frames);
    // Ends the signal; -120 for silence.
    double finishDBTP();

private:
    TruePeakDetector detector_;
    float largest_ = 0.0f;
};

namespace TruePeak {
// 20·log10 of a linear peak; -120 for 0, like the sample peak of silence.
double toDB(double linear);
} // namespace TruePeak
