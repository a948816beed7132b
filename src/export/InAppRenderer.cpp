#include "export/InAppRenderer.h"

#include "editing/SegmentEditModel.h"
#include "editing/SegmentGainEvaluation.h"
#include "export/ExportErrors.h"
#include "io/AudioReader.h"
#include "io/EncoderProcess.h"
#include "io/FFmpegLocator.h"
#include "io/NativePath.h"
#include "io/TemporaryFile.h"
#include "io/WavWriter.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <soxr.h>
#include <vector>

namespace {

constexpr int64_t bufferFrames = 4096;

void log(const QString& line) {
    std::fputs(qPrintable(QStringLiteral("[Renderer] ") + line + QLatin1Char('\n')), stdout);
    std::fflush(stdout);
}

} // namespace

InAppRenderer::InAppRenderer(QString ffmpegPath) : ffmpegPath_(std::move(ffmpegPath)) {}

bool InAppRenderer::needsLimiter(const RenderJob& job) {
    return job.useLimiter &&
           job.correctionDB + SegmentEditModel::largestGainOffsetDB(job.segmentEdits.segmentGains) > 0;
}

namespace {

// The gain before the limiter and the limiter itself, as one filter argument.
QString limitedChain(int64_t inputRate, double extraGainDB) {
    const QString chain = limiterChain(limiterTrimSamples(inputRate));
    const QString volume = volumeFilter(extraGainDB);
    return volume.isEmpty() ? chain : volume + QLatin1Char(',') + chain;
}

} // namespace

QStringList InAppRenderer::encodeArguments(const QString& input, const QString& output, ExportFormat format,
                                           SampleRate rate, bool limiter, int64_t limiterInputRate,
                                           double extraGainDB) {
    QStringList args = encoderInputArguments(input);
    if (limiter)
        args << QStringLiteral("-af") << limitedChain(limiterInputRate, extraGainDB);
    args << QStringLiteral("-ar") << QString::number(rawValue(rate));
    args << encoderArguments(format) << encoderOutputArguments(format, output);
    return args;
}

void InAppRenderer::runFFmpeg(const QStringList& args, const TemporaryFile& output, const QString& shownName) const {
    const QString ffmpeg = ffmpegPath_.isEmpty() ? FFmpegLocator::find() : ffmpegPath_;
    const EncoderRun run = EncoderProcess::run(ffmpeg, args, output.descriptor());
    if (run.exitCode != 0) {
        throw RenderError(RenderError::Kind::ffmpegEncodeFailed, run.reason(output.descriptorPath(), shownName));
    }
}

AudioReader InAppRenderer::openSource(const QString& path) {
    try {
        // A damaged packet ends the job: the output would silently lack it.
        return AudioReader(path, AudioReader::Damage::fail);
    } catch (const FileError& e) {
        throw RenderError(RenderError::Kind::cannotReadSource, e.description());
    }
}

TemporaryFile InAppRenderer::writeRendered(const RenderJob& job, AudioReader& source, bool floatSamples) {
    const int64_t rate = source.sampleRate();
    const int64_t length = source.frames();
    const int channels = source.channels();
    const std::vector<float> envelope = SegmentGainEvaluation::computeGainEnvelope(
        job.segmentEdits, job.correctionDB, rate, length, SegmentGainEvaluation::blockSize);
    const QString outputName = NativePath::shownName(outputPath(job));

    TemporaryFile rendered(job.destinationFolder, QStringLiteral("wav"));
    WavWriter writer(rendered.descriptor(), outputName, rate, channels, floatSamples ? 32 : pcmBitDepth(job.format),
                     floatSamples || pcmIsFloat(job.format));
    std::vector<float> buffer;
    try {
        buffer.resize(static_cast<size_t>(bufferFrames * channels));
    } catch (const std::bad_alloc&) {
        throw RenderError(RenderError::Kind::cannotReadSource, QStringLiteral("Cannot create read buffer"));
    }
    int64_t position = 0;
    const auto lastBlock = static_cast<int64_t>(envelope.size()) - 1;
    // To the end of what decodes: a lossy file's stated length is only
    // near it, and its last frames keep the last block's gain.
    for (;;) {
        int64_t frames = 0;
        try {
            frames = source.readInterleaved(buffer.data(), bufferFrames);
        } catch (const FileError& e) {
            // A short file must not pass for the whole one: the job ends here
            // and its temporary file goes.
            log(QStringLiteral("Read error at sample %1: %2").arg(position).arg(e.description()));
            throw RenderError(RenderError::Kind::cannotReadSource, e.description());
        }
        if (frames == 0)
            break;
        // The gain table has one factor per 512 frames: look it up per
        // frame, constant within a block.
        for (int64_t i = 0; i < frames; ++i) {
            const float gain =
                envelope[static_cast<size_t>(std::min((position + i) / SegmentGainEvaluation::blockSize, lastBlock))];
            float* frame = buffer.data() + i * channels;
            for (int c = 0; c < channels; ++c)
                frame[c] *= gain;
        }
        writer.write(buffer.data(), frames);
        position += frames;
    }
    writer.close();
    log(QStringLiteral("Wrote %1/%2 samples to %3").arg(position).arg(length).arg(outputName));
    return rendered;
}

ExportedFile InAppRenderer::render(const RenderJob& job) const {
    AudioReader source = openSource(job.sourcePath);
    ExportFiles::makeFolder(job.destinationFolder);
    const bool limiter = needsLimiter(job);
    TemporaryFile rendered = writeRendered(job, source, limiter);
    return finish(job, rendered, source.sampleRate(), source.channels(), limiter);
}

ExportedFile InAppRenderer::finish(const RenderJob& job, TemporaryFile& rendered, int64_t rate, int channels,
                                   bool limiter) const {
    const double largestOffset = SegmentEditModel::largestGainOffsetDB(job.segmentEdits.segmentGains);
    const bool limiterActs = ExportDelivery::limiterActs(
        limiter, SegmentEditModel::correctedPeakDBFS(job.peakDBFS, job.correctionDB, largestOffset));
    const double targetRate = static_cast<double>(rawValue(job.sampleRate));
    const bool rateDiffers = std::abs(static_cast<double>(rate) - targetRate) > 1.0;

    if (limiter || !isWAV(job.format)) {
        const QString outputName = NativePath::shownName(outputPath(job));
        // The encoder writes a temporary file of its own too, once per try.
        return ExportDelivery::deliver(job, limiterActs, [&](double extraGainDB) {
            TemporaryFile encoded(job.destinationFolder, fileExtension(job.format));
            if (isWAV(job.format)) {
                QStringList args = encoderInputArguments(rendered.path());
                args << QStringLiteral("-af") << limitedChain(rate, extraGainDB);
                if (rateDiffers)
                    args << QStringLiteral("-ar") << QString::number(rawValue(job.sampleRate));
                args << codecArguments(job.format) << encoderOutputArguments(job.format, encoded.descriptorPath());
                runFFmpeg(args, encoded, outputName);
            } else {
                runFFmpeg(encodeArguments(rendered.path(), encoded.descriptorPath(), job.format, job.sampleRate,
                                          limiter, rate, extraGainDB),
                          encoded, outputName);
            }
            return encoded;
        });
    }
    if (rateDiffers) {
        return ExportDelivery::deliver(job, limiterActs, [&](double) {
            return resampleWAV(rendered.path(), rawValue(job.sampleRate), pcmBitDepth(job.format),
                               pcmIsFloat(job.format), channels);
        });
    }
    return ExportDelivery::deliver(job, limiterActs, [&](double) { return std::move(rendered); });
}

TemporaryFile InAppRenderer::resampleWAV(const QString& input, int64_t targetRate, int bitDepth, bool isFloat,
                                         int channels) {
    AudioReader source = openSource(input);
    const int sourceChannels = source.channels();
    soxr_error_t error = nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    soxr_t converter = soxr_create(static_cast<double>(source.sampleRate()), static_cast<double>(targetRate),
                                   static_cast<unsigned>(sourceChannels), &error, &io, &quality, nullptr);
    if (!converter || error)
        throw RenderError(RenderError::Kind::cannotCreateOutput, QStringLiteral("Cannot create audio converter"));
    const std::unique_ptr<soxr, decltype(&soxr_delete)> guard(converter, &soxr_delete);

    TemporaryFile output(QFileInfo(input).absolutePath(), QStringLiteral("wav"));
    WavWriter writer(output.descriptor(), NativePath::shownName(input), targetRate, channels, bitDepth, isFloat);

    const double ratio = static_cast<double>(targetRate) / static_cast<double>(source.sampleRate());
    std::vector<float> in(static_cast<size_t>(bufferFrames * sourceChannels));
    const auto outFrames = static_cast<size_t>(std::ceil(bufferFrames * ratio)) + 1024;
    std::vector<float> out(outFrames * static_cast<size_t>(sourceChannels));
    bool ended = false;
    while (true) {
        int64_t frames = 0;
        if (!ended) {
            frames = source.readInterleaved(in.data(), bufferFrames);
            ended = frames == 0;
        }
        // At the end, null input flushes what the converter still holds.
        size_t consumed = 0;
        do {
            size_t done = 0, produced = 0;
            const float* from = ended ? nullptr : in.data() + consumed * static_cast<size_t>(sourceChannels);
            const size_t available = ended ? 0 : static_cast<size_t>(frames) - consumed;
            // A converter error ends the job: the output would be short.
            if (const soxr_error_t failed =
                    soxr_process(converter, from, available, &done, out.data(), outFrames, &produced)) {
                throw RenderError(RenderError::Kind::cannotCreateOutput,
                                  QStringLiteral("Cannot convert the sample rate: %1").arg(QString::fromUtf8(failed)));
            }
            writer.write(out.data(), static_cast<int64_t>(produced));
            consumed += done;
            if (ended && produced == 0) {
                writer.close();
                return output;
            }
        } while (ended || consumed < static_cast<size_t>(frames));
    }
}
