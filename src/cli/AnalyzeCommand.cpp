#include "cli/AnalyzeCommand.h"

#include "cli/AimOptions.h"
#include "io/NativePath.h"
#include "session/BatchSession.h"

#include <QHash>
#include <algorithm>
#include <chrono>

namespace AnalyzeCommand {

QString usage() {
    return QStringLiteral("Usage: sonivel analyze [--json|--csv] [OPTIONS] FILE...\n"
                          "\n"
                          "Measures each file: the gated loudness of its loudest 20 seconds (Peak 20s),\n"
                          "its integrated loudness, its sample and true peaks, where that loudest\n"
                          "stretch lies, its duration and how many soft passages it has; JSON and CSV\n"
                          "add the loudness range, the largest momentary and short-term loudness, the\n"
                          "correction towards the target and the figure it ends at, and, with a\n"
                          "preset, whether the corrected file would meet it.\n"
                          "Files are analysed in parallel and reported in the order given; a folder\n"
                          "stands for the audio files under it, in path order, hidden ones left out.\n"
                          "\n"
                          "Options:\n"
                          "  --json           print one JSON array, one object per file\n"
                          "  --csv            print a CSV table, one row per file, for a spreadsheet\n") +
           aimOptionsHelp() +
           QStringLiteral("  -h, --help       show this help\n"
                          "\n"
                          "The exit status is 1 when any file could not be analysed.\n");
}

namespace {

// The row of `item`, named as the user gave it, once it is measured or failed.
std::optional<FileReport> reportOf(const QString& file, const AudioFileItem& item, const Aim& aim) {
    if (item.analysis())
        return makeReport(file, item, aim);
    if (item.analysisError())
        return makeErrorReport(file, item.analysisError()->message);
    return std::nullopt;
}

// A line per album, in the order of their first tracks: "album \"Y – One\":
// 12 tracks at -12.3 LUFS (Peak 20s), correction -3.7 dB".
QString albumLines(const std::vector<FileReport>& reports, NormalizeBy by) {
    QStringList order;
    QHash<QString, std::pair<int, const FileReport*>> albums;
    for (const FileReport& r : reports) {
        if (!r.album)
            continue;
        if (!albums.contains(*r.album))
            order << *r.album;
        auto& [tracks, first] = albums[*r.album];
        ++tracks;
        first = first ? first : &r;
    }
    QString text;
    for (const QString& name : order) {
        const auto& [tracks, r] = albums[name];
        text += QStringLiteral("album \"%1\": %2 track%3 at %4 LUFS (%5), correction %6 dB\n")
                    .arg(name)
                    .arg(tracks)
                    .arg(tracks == 1 ? "" : "s")
                    .arg(r->albumLUFS, 0, 'f', 1)
                    .arg(by == NormalizeBy::integrated ? QStringLiteral("integrated") : QStringLiteral("Peak 20s"))
                    .arg(r->correctionDB, 0, 'f', 1);
    }
    return text;
}

enum class Output { table, json, csv };

struct Request {
    Output output = Output::table;
    AimOptions aim;
    QStringList files;
};

// The request, or none after --help; throws a usage error.
std::optional<Request> read(const QStringList& arguments) {
    Request r;
    const auto option = [&](const QString& arg, const QString& value) {
        const bool json = arg == QLatin1String("--json");
        if (json || arg == QLatin1String("--csv")) {
            const Output output = json ? Output::json : Output::csv;
            if (r.output != Output::table && r.output != output)
                throw Failure(Error::Kind::usage, QStringLiteral("--json and --csv exclude each other"));
            r.output = output;
        } else if (!takeAimOption(r.aim, arg, value)) {
            throw Failure(Error::Kind::usage, QStringLiteral("unknown option '%1'").arg(arg));
        }
    };
    if (!readArguments(arguments, aimOptionsWithValues(), option, r.files))
        return std::nullopt;
    if (r.files.isEmpty())
        throw Failure(Error::Kind::usage, QStringLiteral("no files given"));
    return r;
}

} // namespace

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    int status = 0;
    const std::optional<Request> parsed = readRequest<Request>(read, arguments, "analyze", usage(), out, err, status);
    if (!parsed)
        return status;
    const Request& request = *parsed;
    QStringList files, shown;
    for (const auto& [path, subfolder] : BatchSession::withFoldersOpened(request.files))
        files << path, shown << shownName(path, subfolder);
    const ChannelMix mix = request.aim.channels.value_or(ChannelMix::sum);
    const Aim aim = aimOf(request.aim, {});
    const bool table = request.output == Output::table;

    // Every file as given, twice if given twice, measured in parallel by the session.
    std::optional<AnalysisCache> cache;
    BatchSession session(measuring(request.aim, cache));
    session.setChannelMix(mix);
    session.setAim(aim);
    const bool albums = request.aim.album.value_or(false);
    session.setAlbumMode(albums);
    std::vector<AudioFileItemPtr> items;
    for (const QString& file : files)
        items.push_back(std::make_shared<AudioFileItem>(NativePath::toUrl(file)));
    session.loadFiles(items);

    // Rows appear in the order given, each as soon as it and those before it
    // are done. A reported file leaves the list, so that a large batch does
    // not hold every file's figures.
    const int nameWidth = reportNameWidth(shown);
    if (table)
        out << reportHeader(nameWidth) << '\n';
    std::vector<FileReport> reports;
    bool anyFailed = false;
    bool measuring = true;
    while (reports.size() < items.size()) {
        // An album's figure is known once all its tracks are: none is reported before.
        if (albums && measuring) {
            measuring = session.applyNextResults(std::chrono::milliseconds(50));
            continue;
        }
        const size_t i = reports.size();
        std::optional<FileReport> report = reportOf(files[static_cast<qsizetype>(i)], *items[i], aim);
        if (!report && !measuring) // nothing is left that could measure it
            report = makeErrorReport(files[static_cast<qsizetype>(i)], QStringLiteral("not measured"));
        if (!report) {
            measuring = session.applyNextResults(std::chrono::milliseconds(50));
            continue;
        }
        if (!albums) {
            session.removeFile(items[i]->id());
            items[i].reset();
        }
        anyFailed = anyFailed || report->error.has_value();
        if (table) {
            out << reportRow(*report, nameWidth, shown[static_cast<qsizetype>(i)]) << '\n';
            out.flush();
        }
        reports.push_back(std::move(*report));
    }
    if (table && albums)
        out << albumLines(reports, aim.values.normalizeBy);
    if (request.output == Output::json)
        out << LoudnessReport::json(reports, aim);
    else if (request.output == Output::csv)
        out << LoudnessReport::csv(reports, aim);
    return anyFailed ? 1 : 0;
}

} // namespace AnalyzeCommand
