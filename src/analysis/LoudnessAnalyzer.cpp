#include "analysis/LoudnessAnalyzer.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/AudioLoader.h"
#include "analysis/ReadAhead.h"
#include "analysis/SignalMeasurement.h"
#include "io/Interruption.h"
#include "io/NativePath.h"

#include <QFileInfo>
#include <algorithm>

namespace LoudnessAnalyzer {

namespace {

// How far a lossy file's decoded length may stray from the one its container
// states (priming and padding), and still be measured in one pass.
constexpr int64_t lengthUncertainty = 2560;

// The loudness tags a file carries, in a few words; R128 gains (Q7.8) in dB.
QString loudnessTagsOf(const AudioReader& reader) {
    QStringList replayGain, r128;
    for (const auto& [name, what] : {std::pair{"replaygain_track_gain", "track"}, {"replaygain_album_gain", "album"}})
        if (const QString value = reader.tag(name); !value.isEmpty())
            replayGain << QStringLiteral("%1 %2").arg(QLatin1String(what), value);
    for (const auto& [name, what] : {std::pair{"r128_track_gain", "track"}, {"r128_album_gain", "album"}}) {
        bool ok = false;
        const double q78 = reader.tag(name).toDouble(&ok);
        if (ok)
            r128 << QStringLiteral("%1 %2 dB").arg(QLatin1String(what)).arg(q78 / 256.0, 0, 'f', 2);
    }
    QStringList parts;
    if (!replayGain.isEmpty())
        parts << QStringLiteral("ReplayGain ") + replayGain.join(QStringLiteral(", "));
    if (!r128.isEmpty())
        parts << QStringLiteral("R128 ") + r128.join(QStringLiteral(", "));
    return parts.join(QStringLiteral("; "));
}

} // namespace

// Decodes on one thread and measures on this one.
AnalysisResult analyze(const QString& path, ChannelMix mix, int64_t chunkFrames, std::stop_token stop) {
    // The envelope needs the length up front. When the decoded length falls
    // outside what the container promised, the file is measured once more
    // with the length it really has, so the figures equal those of the
    // decoded whole.
    int64_t known = -1;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        OpenedAudio opened = AudioLoader::open(path);
        const bool exact = known >= 0 || opened.reader.framesExact();
        const int64_t expected = known >= 0 ? known : std::min(opened.reader.frames(), AudioLoader::maxFrames);
        SignalMeasurement measurement(expected, opened.reader.sampleRate(), 0, exact ? 0 : lengthUncertainty,
                                      weightingFor(mix, opened.reader.channelRoles()));
        const int64_t measured = AudioLoader::readAhead(
            opened, chunkFrames, [&](const float* interleaved, const float* mono, int64_t frames) {
                // A program that is ending, or a stopped job, does not wait
                // for the end of the file.
                if (Interruption::cancelRequested() || stop.stop_requested())
                    throw AnalysisErrors::stopped(path);
                measurement.add(interleaved, mono, frames);
            });
        if (measured == 0) {
            throw AnalysisErrors::emptyFile(path);
        }
        if (measured > AudioLoader::maxFrames) {
            throw AnalysisErrors::tooLong(path, measured);
        }
        if (measurement.covers(measured)) {
            AnalysisResult result = measurement.finish();
            result.nonFiniteSamples = opened.reader.nonFiniteSamples();
            if (!opened.decoded) {
                result.source = opened.reader.encoding();
                result.album = opened.reader.tag("album");
                result.loudnessTags = loudnessTagsOf(opened.reader);
                for (const char* name : {"album_artist", "albumartist", "album artist"})
                    if (result.albumArtist.isEmpty())
                        result.albumArtist = opened.reader.tag(name);
            }
            return result;
        }
        known = measured;
    }
    throw Failure(Error::Kind::file,
                  QStringLiteral("The file changed while it was being read: ") + NativePath::shownName(path), path);
}

} // namespace LoudnessAnalyzer
