#pragma once

// The loudness tags that players honour instead of a re-encoded copy:
// ReplayGain 2.0 gains and peaks (reference -18 LUFS) in MP3 (ID3v2 TXXX
// frames), FLAC and Ogg Vorbis (Vorbis comments) and M4A (iTunes freeform
// atoms), and, in Opus, R128_TRACK_GAIN and R128_ALBUM_GAIN (Q7.8 integers
// referenced to -23 LUFS, on top of the header's output gain, which stays).

#include <QString>
#include <optional>
#include <vector>

struct LoudnessTag {
    QString name;  // "REPLAYGAIN_TRACK_GAIN", "R128_ALBUM_GAIN" ...
    QString value; // "-3.21 dB", "0.987654", "-512"
    bool operator==(const LoudnessTag&) const = default;
};
using LoudnessTagList = std::vector<LoudnessTag>;

// What a file's tags are made from.
struct LoudnessTagFigures {
    double trackIntegratedLUFS = -70.0;
    double trackTruePeakDBTP = -120.0;
    std::optional<double> albumIntegratedLUFS;
    std::optional<double> albumTruePeakDBTP;
};

namespace LoudnessTags {

inline constexpr double replayGainReferenceLUFS = -18.0;
inline constexpr double r128ReferenceLUFS = -23.0;

// Whether the file's kind can carry these tags (by its extension: mp3,
// flac, ogg, oga, opus, m4a); the reason it cannot, otherwise.
std::optional<QString> unsupported(const QString& path);

// The tags `figures` give a file of that kind, in the order they are shown.
// A silent track (or album) gets no gain of its own: none would reach the
// reference.
LoudnessTagList tagsFor(const QString& path, const LoudnessTagFigures& figures);

// The loudness tags the file carries now, of either kind, names in upper
// case. Empty for a file that cannot be read.
LoudnessTagList read(const QString& path);

// Sets `tags` into the file at `path`, after taking every loudness tag of
// either kind off; with none, only takes them off. Changes the tags only,
// in place, the rest of the file as it was. Throws a Failure whose message
// is the reason alone ("its tags could not be read").
void writeInPlace(const QString& path, const LoudnessTagList& tags);

} // namespace LoudnessTags
