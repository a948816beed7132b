#include "session/LoudnessTagging.h"

#include "io/Error.h"
#include "io/TagRewrite.h"

#include <algorithm>

namespace LoudnessTagging {

LoudnessTagList tagsFor(const QString& path, const AnalysisResult& track, const std::optional<AlbumFigures>& album) {
    LoudnessTagFigures figures{track.figures.integratedLUFS, track.truePeakDBTP, std::nullopt, std::nullopt};
    if (album)
        figures.albumIntegratedLUFS = album->integratedLUFS, figures.albumTruePeakDBTP = album->truePeakDBTP;
    return LoudnessTags::tagsFor(path, figures);
}

Outcome apply(const QString& path, const LoudnessTagList& tags, const Options& options, AnalysisCache* cache) {
    const LoudnessTagList existing = LoudnessTags::read(path);
    const auto sorted = [](LoudnessTagList list) {
        std::sort(list.begin(), list.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
        return list;
    };
    const LoudnessTagList& changed = options.remove ? existing : tags;
    if ((options.skipExisting && !options.remove && sorted(existing) == sorted(tags)) ||
        (options.remove && existing.empty()))
        return {Outcome::Kind::upToDate, changed, {}};
    if (options.dryRun)
        return {Outcome::Kind::written, changed, {}};
    const std::optional<AnalysisCache::Stamp> before = AnalysisCache::stampOf(path);
    try {
        const LoudnessTagList written = options.remove ? LoudnessTagList{} : tags;
        TagRewrite::rewrite(path, [&](const QString& copy) { LoudnessTags::writeInPlace(copy, written); },
                            {.keepModificationTime = options.keepTime});
    } catch (const Failure& e) {
        return {Outcome::Kind::failed, changed, e.message()};
    }
    if (cache && before)
        cache->carryOver(*before);
    return {Outcome::Kind::written, changed, {}};
}

} // namespace LoudnessTagging
