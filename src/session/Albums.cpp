#include "session/Albums.h"

#include "analysis/LoudnessAnalyzer.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <algorithm>

namespace Albums {

Album albumOf(const QString& path, const AnalysisResult& measured) {
    const QString& album = measured.album;
    const QString& artist = measured.albumArtist;
    if (!album.isEmpty())
        return {QStringLiteral("tags\n%1\n%2").arg(artist, album),
                artist.isEmpty() ? album : artist + QStringLiteral(" – ") + album};
    const QString folder = QFileInfo(path).absolutePath();
    return {QStringLiteral("folder\n") + folder, QDir::toNativeSeparators(QFileInfo(folder).fileName())};
}

namespace {

AlbumFigures figuresOf(const std::vector<const AnalysisResult*>& tracks) {
    AlbumFigures album;
    std::vector<const GatingHistogram*> blocks;
    for (const AnalysisResult* track : tracks) {
        blocks.push_back(&track->gatingBlocks);
        album.loudest20sLUFS = std::max(album.loudest20sLUFS, track->loudest20sLUFS);
        album.truePeakDBTP = std::max(album.truePeakDBTP, track->truePeakDBTP);
        album.peakDBFS = std::max(album.peakDBFS, track->peakDBFS);
    }
    album.integratedLUFS = LoudnessAnalyzer::integratedOfAll(blocks);
    album.tracks = static_cast<int>(tracks.size());
    return album;
}

} // namespace

std::vector<Group> grouped(const std::vector<std::pair<QString, const AnalysisResult*>>& tracks) {
    std::vector<Group> groups;
    QHash<QString, size_t> byKey;
    for (size_t i = 0; i < tracks.size(); ++i) {
        const auto& [path, measured] = tracks[i];
        if (!measured)
            continue;
        Album album = albumOf(path, *measured);
        const QString key = album.key;
        if (!byKey.contains(key)) {
            byKey.insert(key, groups.size());
            groups.push_back({std::move(album), {}, {}});
        }
        groups[byKey.value(key)].tracks.push_back(i);
    }
    for (Group& group : groups) {
        std::vector<const AnalysisResult*> measured;
        for (const size_t i : group.tracks)
            measured.push_back(tracks[i].second);
        group.figures = figuresOf(measured);
    }
    return groups;
}

} // namespace Albums
