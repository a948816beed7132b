#include "cli/TagCommand.h"

#include "cli/AimOptions.h"
#include "cli/AnalysisReport.h"
#include "io/LoudnessTags.h"
#include "io/NativePath.h"
#include "io/TagRewrite.h"
#include "session/Albums.h"
#include "session/BatchSession.h"
#include "session/LoudnessTagging.h"

#include <QMap>
#include <chrono>

namespace TagCommand {

QString usage() {
    return QStringLiteral("Usage: sonivel tag [OPTIONS] FILE|DIR...\n"
                          "\n"
                          "Writes loudness tags into the files themselves, for players that honour them,\n"
                          "instead of normalized copies: ReplayGain 2.0 gains and peaks in MP3, FLAC,\n"
                          "Ogg Vorbis and M4A files (the gain to -18 LUFS integrated, the true peak), and\n"
                          "R128_TRACK_GAIN and R128_ALBUM_GAIN in Opus files (to -23 LUFS). Only the tags\n"
                          "change, never the audio; a folder stands for the audio files under it.\n"
                          "\n"
                          "Options:\n"
                          "  --album          add album gains and peaks: files are grouped by their album\n"
                          "                   artist and album tags, else by folder, and each album is\n"
                          "                   measured as one programme\n"
                          "  --dry-run        print what would be written, and change nothing\n"
                          "  --remove         take the loudness tags off instead\n"
                          "  --skip-existing  leave files that already carry the tags these figures give\n"
                          "  --keep-time      keep each file's modification time\n"
                          "  --no-cache       measure every file again, without reading or filling the\n"
                          "                   analysis cache\n"
                          "  -h, --help       show this help\n"
                          "\n"
                          "The exit status is 1 when any file could not be tagged.\n");
}

namespace {

struct Request {
    bool album = false;
    bool dryRun = false;
    bool remove = false;
    bool skipExisting = false;
    bool keepTime = false;
    bool noCache = false;
    QStringList files;
};

std::optional<Request> read(const QStringList& arguments) {
    Request r;
    const QMap<QString, bool Request::*> flags{{QStringLiteral("--album"), &Request::album},
                                               {QStringLiteral("--dry-run"), &Request::dryRun},
                                               {QStringLiteral("--remove"), &Request::remove},
                                               {QStringLiteral("--skip-existing"), &Request::skipExisting},
                                               {QStringLiteral("--keep-time"), &Request::keepTime},
                                               {QStringLiteral("--no-cache"), &Request::noCache}};
    const auto option = [&](const QString& arg, const QString&) {
        if (!flags.contains(arg))
            throw Failure(Error::Kind::usage, QStringLiteral("unknown option '%1'").arg(arg));
        r.*flags.value(arg) = true;
    };
    if (!readArguments(arguments, {}, option, r.files))
        return std::nullopt;
    if (r.files.isEmpty())
        throw Failure(Error::Kind::usage, QStringLiteral("no files given"));
    if (r.remove && (r.album || r.skipExisting))
        throw Failure(Error::Kind::usage, QStringLiteral("--remove takes neither --album nor --skip-existing"));
    return r;
}

// One listed file on its way through the command.
struct Track {
    QString path;
    QString shown;
    std::optional<AnalysisResult> measured; // its figures; the curve and envelope dropped
    std::optional<QString> error;
    std::optional<AlbumFigures> album;
    // Of a kind without these tags, found in a folder: passed over, not failed.
    bool passedOver = false;
};

QString listed(const LoudnessTagList& tags) {
    QStringList parts;
    for (const LoudnessTag& t : tags)
        parts << t.name + QLatin1Char('=') + t.value;
    return parts.join(QStringLiteral("  "));
}

// Measures every track that can carry the tags, through the session (and
// the cache), in parallel.
void measure(std::vector<Track>& tracks, std::optional<AnalysisCache>& cache, bool noCache) {
    AimOptions aim;
    aim.noCache = noCache;
    BatchSession session(measuring(aim, cache));
    session.setChannelMix(ChannelMix::sum);
    std::vector<std::pair<Track*, AudioFileItemPtr>> items;
    for (Track& track : tracks)
        if (!track.error)
            items.emplace_back(&track, std::make_shared<AudioFileItem>(NativePath::toUrl(track.path)));
    std::vector<AudioFileItemPtr> all;
    for (const auto& [track, item] : items)
        all.push_back(item);
    session.loadFiles(all);
    size_t done = 0;
    bool measuring = true;
    while (done < items.size()) {
        auto& [track, item] = items[done];
        if (item->analysis()) {
            AnalysisResult figures = *item->analysis();
            figures.envelope = {}, figures.times = {}, figures.loudnessCurve = {};
            track->measured = std::move(figures);
        } else if (item->analysisError()) {
            track->error = item->analysisError()->message;
        } else if (!measuring) {
            track->error = QStringLiteral("not measured");
        } else {
            measuring = session.applyNextResults(std::chrono::milliseconds(50));
            continue;
        }
        session.removeFile(item->id());
        item.reset();
        ++done;
    }
}

QString plural(int n, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(n).arg(QLatin1String(n == 1 ? one : many));
}

// Gives each measured track the figures of its album, as one programme.
void measureAlbums(std::vector<Track>& tracks, QTextStream& out) {
    std::vector<std::pair<QString, const AnalysisResult*>> measured;
    for (const Track& track : tracks)
        measured.emplace_back(track.path, track.measured ? &*track.measured : nullptr);
    for (const Albums::Group& group : Albums::grouped(measured)) {
        out << QStringLiteral("album \"%1\": %2, %3 LUFS integrated, %4 dBTP\n")
                   .arg(group.album.name, plural(group.figures.tracks, "track", "tracks"))
                   .arg(group.figures.integratedLUFS, 0, 'f', 1)
                   .arg(group.figures.truePeakDBTP, 0, 'f', 1);
        for (const size_t i : group.tracks)
            tracks[i].album = group.figures;
    }
}

struct Counts {
    int tagged = 0, upToDate = 0, passedOver = 0, failed = 0;
};

void tagOne(const Track& track, const Request& r, std::optional<AnalysisCache>& cache, Counts& counts, QTextStream& out,
            QTextStream& err) {
    const LoudnessTagList tags =
        r.remove ? LoudnessTagList{} : LoudnessTagging::tagsFor(track.path, *track.measured, track.album);
    const LoudnessTagging::Outcome outcome = LoudnessTagging::apply(
        track.path, tags, {r.remove, r.skipExisting, r.dryRun, r.keepTime}, cache ? &*cache : nullptr);
    using Kind = LoudnessTagging::Outcome::Kind;
    if (outcome.kind == Kind::failed) {
        ++counts.failed;
        err << "failed: " << track.shown << ": " << outcome.error << '\n';
    } else if (outcome.kind == Kind::upToDate) {
        ++counts.upToDate;
        out << (r.remove ? "no loudness tags: " : "already tagged: ") << track.shown << '\n';
    } else {
        ++counts.tagged;
        out << (r.dryRun ? (r.remove ? "would remove: " : "would tag: ") : (r.remove ? "removed: " : "tagged: "))
            << track.shown << "  " << listed(outcome.tags) << '\n';
    }
    out.flush();
}

} // namespace

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    int status = 0;
    const std::optional<Request> parsed = readRequest<Request>(read, arguments, "tag", usage(), out, err, status);
    if (!parsed)
        return status;
    const Request& request = *parsed;
    std::vector<Track> tracks;
    for (const auto& [path, subfolder] : BatchSession::withFoldersOpened(request.files)) {
        const std::optional<QString> unsupported = LoudnessTags::unsupported(path);
        tracks.push_back({path, shownName(path, subfolder), {}, unsupported, {}, unsupported && !subfolder.isEmpty()});
    }

    // A file whose tagging was cut short is whole again before it is measured.
    for (Track& track : tracks) {
        try {
            if (!track.error && TagRewrite::restoreInterrupted(track.path))
                err << "sonivel tag: " << track.shown << ": put back as it was before an interrupted tagging\n";
        } catch (const Failure& e) {
            track.error = e.message();
        }
    }
    std::optional<AnalysisCache> cache;
    if (!request.remove)
        measure(tracks, cache, request.noCache);
    else if (!request.noCache) // to carry the kept measurements over to the untagged files
        cache.emplace(AnalysisCache::defaultFile());
    if (request.album)
        measureAlbums(tracks, out);

    Counts counts;
    for (const Track& track : tracks) {
        if (track.passedOver) {
            ++counts.passedOver;
            out << "passed over: " << track.shown << ": " << *track.error << '\n';
        } else if (track.error) {
            ++counts.failed;
            err << "failed: " << track.shown << ": " << *track.error << '\n';
        } else {
            tagOne(track, request, cache, counts, out, err);
        }
    }
    const char* done = request.remove ? (request.dryRun ? "would be untagged" : "untagged")
                                      : (request.dryRun ? "would be tagged" : "tagged");
    out << plural(counts.tagged, "file", "files") << ' ' << done << ", " << counts.upToDate
        << (request.remove ? " without tags, " : " already tagged, ")
        << (counts.passedOver > 0 ? QStringLiteral("%1 passed over, ").arg(counts.passedOver) : QString())
        << counts.failed << " failed.\n";
    return counts.failed > 0 ? 1 : 0;
}

} // namespace TagCommand
