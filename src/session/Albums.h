#pragma once

// Which album a file belongs to, and what an album measures as a whole.
// Files are grouped by their album artist and album tags (album artist
// falling back to nothing, so a compilation stays one album); a file without
// an album tag belongs to the album of its folder.

#include "analysis/AnalysisResult.h"

#include <QString>
#include <vector>

struct Album {
    QString key;  // equal for the files of one album, and only for them
    QString name; // "Artist – Album", "Album", or the folder's name
};

// The loudness of an album played as one programme.
struct AlbumFigures {
    double integratedLUFS = -70.0; // every track's blocks gated together
    double loudest20sLUFS = -70.0; // of its loudest track
    double truePeakDBTP = -120.0;
    double peakDBFS = -120.0;
    int tracks = 0;
    // The figure a correction by `by` aims at the target.
    double figureLUFS(NormalizeBy by) const { return by == NormalizeBy::integrated ? integratedLUFS : loudest20sLUFS; }
};

namespace Albums {

Album albumOf(const QString& path, const AnalysisResult& measured);

// One album among a list of tracks: what it measures, and which tracks it holds.
struct Group {
    Album album;
    AlbumFigures figures;
    std::vector<size_t> tracks; // indexes into the list given
};
// The albums of the measured tracks (a path and its measurement each; an
// unmeasured one, null, belongs to none), in the order of their first tracks.
std::vector<Group> grouped(const std::vector<std::pair<QString, const AnalysisResult*>>& tracks);

} // namespace Albums
