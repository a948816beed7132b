#include "export/StreamResampler.h"

#include "export/ExportErrors.h"

#include <cmath>
#include <soxr.h>

StreamResampler::StreamResampler(int64_t fromRate, int64_t toRate, int channels, int64_t maxInputFrames)
    : channels_(channels),
      outFrames_(static_cast<size_t>(std::ceil(static_cast<double>(maxInputFrames) * static_cast<double>(toRate) /
                                               static_cast<double>(fromRate))) +
                 1024) {
    soxr_error_t error = nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    converter_ = soxr_create(static_cast<double>(fromRate), static_cast<double>(toRate),
                             static_cast<unsigned>(channels), &error, &io, &quality, nullptr);
    if (!converter_ || error)
        throw Failure(Error::Kind::other, QStringLiteral("Cannot convert %1 Hz to %2 Hz").arg(fromRate).arg(toRate));
    out_.resize(outFrames_ * static_cast<size_t>(channels));
}

StreamResampler::~StreamResampler() { soxr_delete(converter_); }

void StreamResampler::process(const float* interleaved, int64_t frames, const Sink& sink) {
    size_t consumed = 0;
    while (consumed < static_cast<size_t>(frames)) {
        size_t done = 0, produced = 0;
        if (const soxr_error_t failed =
                soxr_process(converter_, interleaved + consumed * static_cast<size_t>(channels_),
                             static_cast<size_t>(frames) - consumed, &done, out_.data(), outFrames_, &produced))
            throw Failure(Error::Kind::other,
                          QStringLiteral("Cannot convert the sample rate: %1").arg(QString::fromUtf8(failed)));
        if (produced > 0)
            sink(out_.data(), static_cast<int64_t>(produced));
        consumed += done;
        if (done == 0 && produced == 0)
            break;
    }
}

void StreamResampler::flush(const Sink& sink) {
    for (;;) {
        size_t produced = 0;
        if (const soxr_error_t failed =
                soxr_process(converter_, nullptr, 0, nullptr, out_.data(), outFrames_, &produced))
            throw Failure(Error::Kind::other,
                          QStringLiteral("Cannot convert the sample rate: %1").arg(QString::fromUtf8(failed)));
        if (produced == 0)
            return;
        sink(out_.data(), static_cast<int64_t>(produced));
    }
}
