#pragma once

// Writing loudness tags into listed files, the same from the window and
// from `sonivel tag`: the tags a measured track (and its album) gives, and
// one file tagged, untagged or left as it is, its kept measurement moved to
// the tagged file.

#include "analysis/AnalysisCache.h"
#include "io/LoudnessTags.h"
#include "session/Albums.h"

#include <QString>
#include <optional>

namespace LoudnessTagging {

struct Options {
    bool remove = false;       // take the loudness tags off instead
    bool skipExisting = false; // leave a file that carries these very tags
    bool dryRun = false;       // change nothing
    bool keepTime = false;     // keep the modification time
};

struct Outcome {
    enum class Kind { written, upToDate, failed } kind = Kind::written;
    LoudnessTagList tags; // written (or taken off), or that would be
    QString error;        // why it failed
};

// The tags of a measured track: its integrated loudness and true peak, and
// its album's when it has one.
LoudnessTagList tagsFor(const QString& path, const AnalysisResult& track, const std::optional<AlbumFigures>& album);

// Writes `tags` (with `remove`, takes them all off) into the file, unless
// the options say to leave it; `cache`, when given, keeps its measurement.
Outcome apply(const QString& path, const LoudnessTagList& tags, const Options& options, AnalysisCache* cache);

} // namespace LoudnessTagging
