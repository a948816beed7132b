#include "support/AnalysisSupport.h"

#include "analysis/AudioLoader.h"
#include "analysis/SignalMeasurement.h"

#include <complex>
#include <limits>
#include <numbers>

namespace support {

namespace {

constexpr int64_t chunkFrames = 65536;
constexpr int64_t untilTheEnd = std::numeric_limits<int64_t>::max();

double sectionResponseDB(const KWeightingFilter::Section& s, double frequency, double sampleRate) {
    const std::complex<double> z1 = std::polar(1.0, -2.0 * std::numbers::pi * frequency / sampleRate);
    const std::complex<double> z2 = z1 * z1;
    const std::complex<double> h = (s.b0 + s.b1 * z1 + s.b2 * z2) / (1.0 + s.a1 * z1 + s.a2 * z2);
    return 20.0 * std::log10(std::abs(h));
}

} // namespace

MonoAudio loadMono(const QString& path) {
    OpenedAudio opened = AudioLoader::open(path);
    const int channels = opened.reader.channels();
    MonoAudio mono{{}, opened.reader.sampleRate()};
    std::vector<float> chunk(static_cast<size_t>(chunkFrames));
    AudioLoader::readChunks(opened, untilTheEnd, chunkFrames, [&](const float* samples, int64_t frames) {
        downmixInterleaved(samples, frames, channels, chunk.data());
        mono.samples.insert(mono.samples.end(), chunk.data(), chunk.data() + frames);
    });
    if (mono.samples.empty())
        throw AnalysisErrors::emptyFile(path);
    return mono;
}

std::vector<float> filtered(KWeightingFilter& filter, const std::vector<float>& input) {
    std::vector<float> output(input.size());
    filter.process(input.data(), output.data(), static_cast<int64_t>(input.size()));
    return output;
}

AnalysisResult analyzeSamples(const std::vector<float>& mono, int64_t sampleRate) {
    SignalMeasurement measurement(static_cast<int64_t>(mono.size()), sampleRate);
    measurement.add(mono.data(), static_cast<int64_t>(mono.size()));
    return measurement.finish();
}

WaveformEnvelope makeEnvelope(const std::vector<float>& samples, int64_t bucketCount) {
    EnvelopeBuilder builder(static_cast<int64_t>(samples.size()), bucketCount);
    builder.add(samples.data(), static_cast<int64_t>(samples.size()));
    return builder.take(static_cast<int64_t>(samples.size()));
}

double kWeightingResponseDB(const KWeightingFilter::Coeffs& coeffs, double frequency, double sampleRate) {
    return sectionResponseDB(coeffs.preFilter, frequency, sampleRate) +
           sectionResponseDB(coeffs.highPass, frequency, sampleRate);
}

} // namespace support
