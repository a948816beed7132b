#include "export/ExportPipeline.h"

#include "analysis/AudioLoader.h"
#include "analysis/ProgrammeMeter.h"
#include "editing/SegmentGainEvaluation.h"
#include "export/ExportErrors.h"
#include "export/Quantizer.h"
#include "export/StreamResampler.h"
#include "export/TruePeakLimiter.h"
#include "io/AudioTags.h"
#include "io/BackgroundWriter.h"
#include "io/NativePath.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

namespace ExportPipeline {

namespace {

constexpr int64_t chunkFrames = 4096;

// How one pass makes the file.
struct Pass {
    double extraGainDB = 0.0;
    bool limiter = false;
    double ceilingDBTP = CeilingRange::defaultDBTP;
    bool measureSignal = false; // also measure the signal before the limiter
};

struct Made {
    TemporaryFile file;
    ProgrammeFigures output;
    std::optional<ProgrammeFigures> signal;
    // The largest sample before it was put on an integer grid, in dBFS: a
    // clipped output hides how far over it was.
    double unclippedPeakDBFS = -120.0;
};

float linear(double dB) { return static_cast<float>(std::pow(10.0, dB / 20.0)); }

void checkCancel(const JobControl& control) {
    if (control.stop.stop_requested())
        throw Failure(Error::Kind::stopped, QStringLiteral("cancelled"));
}

// The gain of every frame: one value for a file without edits; per block of
// 512 frames, at its centre, from the segment offsets otherwise, as playback
// applies them.
class GainStage {
public:
    GainStage(const ExportJob& job, double extraGainDB, int64_t rate, int channels)
        : edits_(job.isSilent ? std::nullopt : job.segmentEdits),
          baseDB_(job.isSilent ? 0.0 : job.correctionDB + extraGainDB), rate_(rate), channels_(channels),
          flat_(linear(baseDB_)) {}

    void apply(float* interleaved, int64_t frames) {
        constexpr int64_t block = SegmentGainEvaluation::blockSize;
        for (int64_t i = 0; i < frames;) {
            const int64_t inBlock = std::min(block - position_ % block, frames - i);
            float gain = flat_;
            if (edits_) {
                const int64_t start = position_ - position_ % block;
                const double centre = static_cast<double>(start + block / 2) / static_cast<double>(rate_);
                gain = linear(baseDB_ + SegmentGainEvaluation::gainOffsetAtTime(*edits_, centre));
            }
            if (gain != 1.0f) {
                float* from = interleaved + i * channels_;
                for (int64_t k = 0; k < inBlock * channels_; ++k)
                    from[k] *= gain;
            }
            i += inBlock;
            position_ += inBlock;
        }
    }

private:
    std::optional<SegmentEditSnapshot> edits_;
    double baseDB_;
    int64_t rate_;
    int channels_;
    float flat_;
    int64_t position_ = 0;
};

// Reads `reader` to its end a chunk at a time, looking for a cancel before
// each; `chunk(samples, frames, readBefore)` may change the samples in place.
// A read that fails throws what `failed(error)` makes of it.
template <typename Chunk, typename Failed>
int64_t readAll(AudioReader& reader, const JobControl& control, Chunk chunk, Failed failed) {
    std::vector<float> buffer(static_cast<size_t>(chunkFrames * reader.channels()));
    int64_t frames = 0;
    for (;;) {
        checkCancel(control);
        int64_t got = 0;
        try {
            got = reader.readInterleaved(buffer.data(), chunkFrames);
        } catch (const Failure& e) {
            throw failed(e);
        }
        if (got == 0)
            return frames;
        chunk(buffer.data(), got, frames);
        frames += got;
    }
}

QString shownSource(const ExportJob& job) { return NativePath::shownName(job.sourcePath); }

// Reads the whole output back: it must decode with the channels, rate and
// length written. Lossy outputs are measured on the way.
ProgrammeFigures readBack(const QString& path, const QString& shownName, ExportFormat format,
                          const ChannelWeighting& weighting, int64_t rate, int64_t written, bool measure,
                          const JobControl& control) {
    const int channels = weighting.channels();
    const auto broken = [&](const QString& why) {
        return Failure(Error::Kind::file,
                       QStringLiteral("Cannot write \"%1\": the written file %2").arg(shownName, why), path);
    };
    std::optional<AudioReader> reader;
    try {
        reader.emplace(path, AudioReader::Damage::fail);
    } catch (const Failure&) {
        throw broken(QStringLiteral("does not decode"));
    }
    if (reader->channels() != channels || reader->sampleRate() != rate)
        throw broken(QStringLiteral("holds %1 channels at %2 Hz instead of %3 at %4 Hz")
                         .arg(reader->channels())
                         .arg(reader->sampleRate())
                         .arg(channels)
                         .arg(rate));
    std::optional<ProgrammeMeter> meter;
    if (measure)
        meter.emplace(rate, weighting, written);
    const int64_t frames = readAll(
        *reader, control,
        [&](const float* samples, int64_t got, int64_t) {
            if (meter)
                meter->add(samples, got);
        },
        [&](const Failure&) { return broken(QStringLiteral("does not decode to its end")); });
    if (std::abs(frames - written) > lengthTolerance(format))
        throw broken(QStringLiteral("holds %1 frames instead of %2").arg(frames).arg(written));
    return meter ? meter->finish() : ProgrammeFigures{};
}

Made makeOnce(const ExportJob& job, const ExportSettings& settings, const Pass& pass, const JobControl& control,
              const std::function<void(double)>& progress) {
    const ExportFormat format = settings.format;
    OutputEncoding encoding = outputEncoding(format);
    if (job.bitRate > 0)
        encoding.bitRate = job.bitRate;
    OpenedAudio source = AudioLoader::open(job.sourcePath, AudioReader::Damage::fail, maximumChannels(format));
    AudioReader& reader = source.reader;
    const int64_t sourceRate = reader.sampleRate();
    if (sourceRate < lowestSourceRate)
        throw Failure(Error::Kind::file,
                      QStringLiteral("Cannot export \"%1\": its header states a sample rate of %2 Hz, which no "
                                     "audio has; the file is damaged")
                          .arg(shownSource(job))
                          .arg(sourceRate));
    const int channels = reader.channels();
    const ChannelWeighting weighting = weightingFor(settings.channelMix, reader.channelRoles());
    const int64_t rate = hertz(settings.sampleRate);
    const int64_t expected = reader.frames();
    const QString shownName =
        NativePath::shownName(ExportNaming::fileName(job.stem, job.promisedLUFS, job.isSilent, format));

    Made made{TemporaryFile(settings.destinationFolder, fileExtension(format)), {}, {}, -120.0};
    // The encoder works on a thread of its own while this one makes the next frames.
    std::unique_ptr<AudioFileWriter> writer = std::make_unique<BackgroundWriter>(
        AudioFileWriter::open(encoding, made.file.descriptor(), shownName, rate, channels), channels);
    GainStage gain(job, pass.extraGainDB, sourceRate, channels);
    std::optional<StreamResampler> resampler;
    if (sourceRate != rate)
        resampler.emplace(sourceRate, rate, channels, chunkFrames);
    std::optional<TruePeakLimiter> limiter;
    if (pass.limiter)
        limiter.emplace(channels, rate, pass.ceilingDBTP);
    std::optional<ProgrammeMeter> signalMeter;
    if (pass.measureSignal)
        signalMeter.emplace(rate, weighting, expected, false); // for its loudness
    std::optional<Quantizer> quantizer;
    if (!encoding.isFloat)
        quantizer.emplace(encoding.bitDepth, encoding.bitDepth <= 16);
    std::optional<ProgrammeMeter> outputMeter;
    if (isLossless(format))
        outputMeter.emplace(rate, weighting, expected);

    std::vector<float> limited;
    int64_t leadSkipped = 0;
    float unclipped = 0.0f;
    int64_t written = 0;
    // What follows the rate conversion; `frames` of `samples` may be changed in place.
    const auto deliver = [&](float* samples, int64_t frames) {
        if (quantizer) {
            for (int64_t i = 0; i < frames * channels; ++i)
                unclipped = std::max(unclipped, std::abs(samples[i]));
            quantizer->process(samples, frames * channels);
        }
        if (outputMeter)
            outputMeter->add(samples, frames);
        writer->write(samples, frames);
        written += frames;
    };
    // The limiter's output, without the silence it starts with.
    const auto emitLimited = [&](int64_t frames) {
        const int64_t skip = std::min(frames, limiter->latency() - leadSkipped);
        leadSkipped += skip;
        if (frames > skip)
            deliver(limited.data() + skip * channels, frames - skip);
    };
    const auto afterRate = [&](const float* samples, int64_t frames) {
        if (signalMeter)
            signalMeter->add(samples, frames);
        if (!limiter) {
            limited.assign(samples, samples + frames * channels);
            deliver(limited.data(), frames);
            return;
        }
        limited.resize(static_cast<size_t>(frames * channels));
        limiter->process(samples, frames, limited.data());
        emitLimited(frames);
    };

    // The reader names the time where a damaged source stops decoding.
    readAll(
        reader, control,
        [&](float* samples, int64_t got, int64_t before) {
            gain.apply(samples, got);
            if (resampler)
                resampler->process(samples, got, afterRate);
            else
                afterRate(samples, got);
            if (progress && expected > 0)
                progress(std::min(1.0, static_cast<double>(before + got) / static_cast<double>(expected)));
        },
        [](const Failure& e) {
            Error error = e.error();
            error.message = QStringLiteral("%1; nothing was written").arg(error.message);
            return Failure(error);
        });
    if (resampler)
        resampler->flush(afterRate);
    if (limiter) {
        // The last frames still inside the limiter.
        limited.resize(static_cast<size_t>(limiter->latency() * channels));
        limiter->flush(limited.data());
        emitLimited(limiter->latency());
    }
    writer->close();
    made.unclippedPeakDBFS = TruePeak::toDB(unclipped);
    if (signalMeter)
        made.signal = signalMeter->finish();
    const ProgrammeFigures decoded =
        readBack(made.file.path(), shownName, format, weighting, rate, written, !outputMeter, control);
    made.output = outputMeter ? outputMeter->finish() : decoded;
    return made;
}

} // namespace

ExportedFile exportFile(const ExportJob& job, const ExportSettings& batch, OutputNames& names,
                        const JobControl& control) {
    const ExportSettings settings = settingsFor(job, batch);
    // The figure the name promises, of a measured signal.
    const auto figure = [&](const ProgrammeFigures& f) { return f.figureLUFS(settings.normalizeBy); };
    Pass pass;
    pass.limiter = settings.useLimiter && !job.isSilent;
    pass.ceilingDBTP = settings.ceilingDBTP;
    pass.measureSignal = job.segmentEdits.has_value() && !job.isSilent;

    // Progress runs over the passes made so far, never backwards.
    double shown = 0.0;
    int passes = 0;
    const auto passProgress = [&](double share) {
        const double overall = std::max(shown, (passes + share) / (passes + 1));
        if (control.progress && overall > shown + 0.005)
            control.progress(shown = overall);
    };

    std::optional<Made> made;
    made.emplace(makeOnce(job, settings, pass, control, passProgress));
    // An edited file promises the figure of its edited signal.
    double promise = job.promisedLUFS;
    if (made->signal)
        promise = figure(*made->signal);
    for (++passes; passes < 3 && !job.isSilent; ++passes) {
        const double over = std::max(made->output.truePeakDBTP, made->unclippedPeakDBFS) - settings.ceilingDBTP;
        const double shortfall = promise - figure(made->output);
        if (over > ceilingSlackDB) {
            // A lossy encoder's own overshoot, or the clipping guard: down by
            // the excess, with a margin where the encoder moves peaks again.
            const double margin = isLossless(settings.format) ? 0.0 : 0.1;
            if (pass.limiter)
                pass.ceilingDBTP -= over + margin;
            else
                pass.extraGainDB -= over + margin;
        } else if (std::abs(shortfall) > toleranceLU && !made->output.isSilent()) {
            // By what was missing: the limiter took some, or a down-mix moved it.
            const double headroom = settings.ceilingDBTP - made->output.truePeakDBTP;
            const double step = pass.limiter ? shortfall : std::min(shortfall, headroom);
            if (std::abs(step) < 0.01)
                break;
            pass.extraGainDB += step;
        } else {
            break;
        }
        made.reset(); // its disk space before the next one's
        made.emplace(makeOnce(job, settings, pass, control, passProgress));
    }

    ExportedFile result;
    result.sourcePath = job.sourcePath;
    result.isSilent = job.isSilent;
    result.loudnessLUFS = figure(made->output);
    result.truePeakDBTP = made->output.truePeakDBTP;
    const double over = std::max(made->output.truePeakDBTP, made->unclippedPeakDBFS) - settings.ceilingDBTP;
    if (!job.isSilent && over > ceilingSlackDB) {
        result.offTarget = true;
        result.note = QStringLiteral("its true peak stays at %1 dBTP, over the %2 dBTP ceiling")
                          .arg(QString::asprintf("%.1f", made->output.truePeakDBTP),
                               QString::asprintf("%.1f", settings.ceilingDBTP));
    } else if (!job.isSilent && std::abs(promise - figure(made->output)) > toleranceLU) {
        const QString measured = QString::asprintf("%.1f", figure(made->output));
        result.offTarget = true;
        result.note = pass.limiter ? QStringLiteral("the limiter's ceiling holds it at %1 LUFS").arg(measured)
                                   : QStringLiteral("its gain was lowered to keep its true peak under %1 dBTP; it "
                                                    "measures %2 LUFS")
                                         .arg(QString::asprintf("%.1f", settings.ceilingDBTP), measured);
    }
    checkCancel(control);
    AudioTagCopy::write(made->file.path(), AudioTagCopy::read(job.sourcePath));
    result.path = names.commit(made->file, job.stem,
                               ExportNaming::figureText(figure(made->output), job.isSilent) + QLatin1Char('.') +
                                   fileExtension(settings.format));
    return result;
}

} // namespace ExportPipeline
