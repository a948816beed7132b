#pragma once

// The settings file: the target loudness, the export's true-peak ceiling
// and the working list with each file's correction, manual flag and segment
// edits, as compact JSON. It holds no analysis; loading replaces the list
// and analyses every file again.
//
//   {"target_lufs":-16,"ceiling_dbtp":-1,"channel_mix":"sum","normalize_by":"loudest",
//    "preset":"custom","files":[{"path":"/music/Song.wav","correction_db":2.5,"manual":false,
//    "segments":{"separators":[{"seconds":20,"fade_ms":500}],"gains_db":[0,-1.5]}}]}
//
// "segments" is there only for a file with edits; its separators keep their
// order and spacing, and there is one gain more than separators.
// Reading accepts any key order and escaped slashes, requires the other five
// keys with their JSON types (numbers must be finite), takes -1 dBTP where an
// older file has no ceiling, the sum of channels where it has no mix and the
// loudest 20 seconds where it names no figure, Custom where it names no
// preset (or one whose values it does not hold), and ignores unknown keys.

#include "editing/SegmentEditRecords.h"
#include "io/Error.h"
#include "session/BatchSession.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <optional>
#include <vector>

struct SettingsData {
    // A file's segment edits as the file holds them, without ids.
    struct Segments {
        struct Cut {
            double seconds = 0.0;
            double fadeMs = 0.0;

            friend bool operator==(const Cut&, const Cut&) = default;
        };
        std::vector<Cut> separators;
        std::vector<double> gainsDB; // one more than separators

        static Segments of(const SegmentEditSnapshot& edits);
        // With a fresh id for each separator and gain.
        SegmentEditSnapshot snapshot() const;

        friend bool operator==(const Segments&, const Segments&) = default;
    };
    struct FileEntry {
        QString path; // a plain absolute path, not a URL
        double correctionDB = 0.0;
        bool manual = false;
        std::optional<Segments> segments; // none for a file without edits
        // The item's subfolder, which its output mirrors; relative, every
        // step a name, so that no output leaves the export folder.
        QString folder = {};

        friend bool operator==(const FileEntry&, const FileEntry&) = default;
    };

    double targetLUFS = -16.0;
    std::vector<FileEntry> files;
    double ceilingDBTP = CeilingRange::defaultDBTP; // held to its range when loaded
    std::optional<ChannelMix> channelMix;           // none in files older than the choice
    NormalizeBy normalizeBy = NormalizeBy::loudest; // older files: the loudest 20 seconds
    TargetPreset preset = TargetPreset::custom;
    bool albumMode = false; // older files: each file its own correction

    friend bool operator==(const SettingsData&, const SettingsData&) = default;
};

namespace SettingsFile {

inline constexpr double minimumTargetLUFS = -40.0;
inline constexpr double maximumTargetLUFS = -3.0;
// Loaded corrections are held to the range the window offers.
inline constexpr double minimumCorrectionDB = AudioFileItem::minimumManualCorrectionDB;
inline constexpr double maximumCorrectionDB = AudioFileItem::maximumManualCorrectionDB;
inline const QString noMixNotice = QStringLiteral(
    "The settings file names no channel mix: its files are measured as the sum of their channels (BS.1770).");
inline const QString suggestedFileName = QStringLiteral("loudness_settings.json");
// Larger files are refused before they are read.
inline constexpr qint64 maximumFileBytes = 64ll * 1024 * 1024;

QByteArray encode(const SettingsData& data);
Result<SettingsData> decode(const QByteArray& json);

// The target and the list as they are now.
SettingsData settingsFrom(const BatchSession& state);

// Writes the settings to `path` (replacing the file there, all at once), or
// says why it could not. Refuses to replace one of the listed audio files.
Result<> saveSettings(BatchSession& state, const QString& path);

// Why `path` is no file to export (not a readable regular file, or one in
// `seen`, the canonical paths taken so far), or none; then it joins `seen`.
std::optional<QString> notExportable(const QString& path, QSet<QString>& seen);

// Which entries become items: in the window, every absolute path that
// exists, as often as it is listed (one that cannot be read shows why on its
// row); for an export, each readable regular file once.
enum class Entries { asListed, exportable };

// What loading a settings file did besides replacing the list.
struct Loaded {
    std::vector<BatchSession::SkippedFile> skipped; // the entries left out, each with why
    bool mixAssumed = false;                        // the file names no channel mix: the sum was taken
};

// Reads `path` and, when it decodes, applies the target (clamped to
// -40 ... -3), the ceiling (to -6 ... -0.1) and the channel mix and replaces
// the list with the entries' files, their corrections clamped to ±30 dB
// and their segment gains to ±20 dB.
// Otherwise says why and changes nothing.
Result<Loaded> loadSettings(BatchSession& state, const QString& path, Entries entries = Entries::asListed);

} // namespace SettingsFile
