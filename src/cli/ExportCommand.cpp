#include "cli/ExportCommand.h"

#include "cli/ExportOptions.h"
#include "session/ExportPlan.h"
#include "session/ExportSession.h"

#include "io/Interruption.h"
#include "io/NativePath.h"
#include "session/BatchSession.h"
#include "session/SettingsFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <cmath>
#include <csignal>
#include <optional>

namespace ExportCommand {

namespace {

// The formats' labels, then their keywords, as the help's indented lines.
QString formatsHelp() {
    QStringList words;
    for (ExportFormat f : allExportFormats)
        words << label(f) + (f == ExportOptions().format ? QStringLiteral(" (default)") : QString()) + QLatin1Char(',');
    words.back().chop(1);
    words.back() += QLatin1Char(';');
    words << QStringLiteral("or");
    for (ExportFormat f : allExportFormats)
        words << keyword(f) + QLatin1Char(',');
    words.back().chop(1);
    // A name is never broken across lines.
    QString text = QStringLiteral("  --format NAME   "), line;
    for (const QString& word : words) {
        if (line.size() + 1 + word.size() > 61) {
            text += line + QStringLiteral("\n                  ");
            line.clear();
        }
        line += QLatin1Char(' ') + word;
    }
    return text + line +
           QStringLiteral("\n                   (same: each file in its own format, an MP3 at its bit rate,\n"
                          "                   a WAV at its bit depth)\n");
}

} // namespace

QString usage() {
    return QStringLiteral("Usage: sonivel export --out DIR [OPTIONS] FILE...\n"
                          "\n"
                          "Analyses the files, corrects each towards the target loudness and writes\n"
                          "them into DIR/normalized, named like \"Song (-16LUFS).wav\". Source files are\n"
                          "never replaced. A folder stands for the audio files under it.\n"
                          "\n"
                          "Options:\n"
                          "  --out DIR        folder that receives the \"normalized\" subfolder (required)\n") +
           formatsHelp() +
           QStringLiteral("  --rate HZ        44100, 48000 (default) or 96000\n"
                          "  --limiter        limit true peaks to the ceiling (the default)\n"
                          "  --no-limiter     lower the gain of a file instead, until its true peak is at\n"
                          "                   the ceiling; such a file is named with the loudness it gets\n"
                          "  --overwrite      replace earlier outputs of the same names (by default they\n"
                          "                   are left as they are and the file is reported)\n"
                          "  --skip-existing  leave out, as up to date and not as a failure, a file whose\n"
                          "                   output is there already and newer than it\n"
                          "  --settings FILE  the list, corrections and target of a saved settings file;\n"
                          "                   FILE arguments are added after its files, and the options\n"
                          "                   below override its values\n") +
           aimOptionsHelp() + QStringLiteral("  -h, --help       show this help\n");
}

namespace {

using Options = ExportOptions;

// The files given on the command line that can be exported: readable
// regular files, each once and not already in `state`'s list; the others
// go to `skipped`.
std::vector<BatchSession::ListedPath> admissible(const std::vector<BatchSession::ListedPath>& files,
                                                 const BatchSession& state,
                                                 std::vector<BatchSession::SkippedFile>& skipped) {
    QSet<QString> seen;
    for (const AudioFileItemPtr& item : state.files())
        seen.insert(NativePath::canonical(item->path()));
    std::vector<BatchSession::ListedPath> out;
    for (const BatchSession::ListedPath& file : files) {
        if (const std::optional<QString> why = SettingsFile::notExportable(file.path, seen))
            skipped.push_back({file.path, *why});
        else
            out.push_back(file);
    }
    return out;
}

// Builds and analyses the list: the settings file's, then the files given.
// Returns how many files were skipped or not analysed, each named with its
// reason; none, after saying why, when nothing could be listed, and when
// the run is cancelled.
std::optional<int64_t> listAndAnalyse(BatchSession& state, const Options& options, QTextStream& err,
                                      const std::atomic<bool>& cancel) {
    std::vector<BatchSession::SkippedFile> skipped;
    bool mixAssumed = false;
    if (options.channels)
        state.setChannelMix(*options.channels); // before any file, so each is measured once
    if (!options.settings.isEmpty()) {
        const auto loaded = SettingsFile::loadSettings(state, options.settings, SettingsFile::Entries::exportable);
        if (!loaded.ok()) {
            err << "sonivel export: " << options.settings << ": " << loaded.error().message << '\n';
            return std::nullopt;
        }
        skipped = loaded.value().skipped;
        mixAssumed = loaded.value().mixAssumed;
    }
    state.setAim(aimOf(options, state.currentAim()));
    if (options.album)
        state.setAlbumMode(*options.album);
    state.recalcCorrections();
    if (options.channels)
        state.setChannelMix(*options.channels);
    const std::vector<BatchSession::SkippedFile> notAdded =
        state.addListed(admissible(BatchSession::withFoldersOpened(options.files), state, skipped));
    skipped.insert(skipped.end(), notAdded.begin(), notAdded.end());
    if (!skipped.empty())
        err << "sonivel export: skipped " << BatchSession::describe(skipped) << '\n';
    auto failed = static_cast<int64_t>(skipped.size());
    if (state.files().empty()) {
        err << "sonivel export: nothing to export\n";
        return std::nullopt;
    }
    // A signal sets `cancel` without waking anyone; it is looked at every 50 ms.
    while (state.applyNextResults(std::chrono::milliseconds(50))) {
        if (cancel.load())
            return std::nullopt; // the session stops its analyses as it goes
    }
    if (cancel.load())
        return std::nullopt;
    // A settings file from before the mix could be chosen: say which was taken.
    if (!options.channels && mixAssumed)
        err << "sonivel export: " << SettingsFile::noMixNotice << '\n';
    for (const AudioFileItemPtr& file : state.files()) {
        if (file->analysisError()) {
            err << "sonivel export: " << NativePath::shownName(file->path()) << ": " << file->analysisError()->message
                << '\n';
            ++failed;
        }
    }
    return failed;
}

// Whether to limit: as asked, else always (where nothing passes the
// ceiling it changes nothing); files that would clip are listed like the
// window's clipping warning.
bool chooseLimiter(const BatchSession& state, const Options& options, QTextStream& err) {
    const bool limiter = options.limiter.value_or(true);
    const std::vector<ClippingFile> clipping = ExportPlan::findClippingFiles(state.files(), state.ceilingDBTP());
    if (clipping.empty())
        return limiter;
    err << ExportPlan::clippingHeadline(clipping.size(), state.ceilingDBTP()) << '\n';
    for (const ClippingFile& c : clipping)
        err << "  " << c.fileName << "  " << QString::asprintf("%.1f", c.overshootDB) << " dB over\n";
    err << (limiter ? "Applying the limiter.\n" : "Lowering their gain to the ceiling instead.\n");
    if (const auto safe = ExportPlan::computeSafeTarget(state.files(), state.ceilingDBTP()))
        err << ExportPlan::safeTargetTip(*safe) << '\n';
    return limiter;
}

ExportRun::Summary exportAll(BatchSession& state, const Options& options, bool limiter, QTextStream& err,
                             const std::atomic<bool>& cancel) {
    ExportSession exports(state);
    exports.setFormat(options.format);
    exports.setSampleRate(options.rate); // the options hold only a rate the format can
    exports.setSkipUpToDate(options.skipExisting);
    // A line when a file is done and at every tenth of the whole between.
    int64_t shownFiles = 0;
    int shownTenths = 0;
    QObject::connect(&exports, &ExportSession::progressChanged, [&] {
        const ExportProgress p = exports.progress();
        const double total = static_cast<double>(std::max<int64_t>(p.total, 1));
        const int tenths = static_cast<int>(10.0 * p.done / total);
        // The run's end resets the progress to none: nothing to show.
        if (p.total == 0 || (p.current == shownFiles && tenths <= shownTenths))
            return;
        shownFiles = p.current;
        shownTenths = tenths;
        err << "Exporting " << p.current << '/' << p.total << "... " << static_cast<int>(100.0 * p.done / total)
            << " %\n";
        err.flush();
    });
    ExportRun::Summary summary;
    QObject::connect(&exports, &ExportSession::finished, [&](const ExportRun::Summary& ended) { summary = ended; });
    exports.start(limiter, QFileInfo(options.out).absoluteFilePath(),
                  options.overwrite ? ExistingOutputs::replace : ExistingOutputs::skip);
    const int64_t count = exports.progress().total;
    err << "Exporting " << count << (count == 1 ? " file...\n" : " files...\n");
    err.flush();
    // A signal sets `cancel` without waking anyone; it is looked at every 50 ms.
    while (exports.applyNext(std::chrono::milliseconds(50)))
        if (cancel.load())
            exports.cancel();
    return summary;
}

} // namespace

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const Result<std::optional<Options>> parsed = parseExportArguments(arguments);
    if (!parsed.ok()) {
        err << "sonivel export: " << parsed.error().message << "\nTry 'sonivel export --help'.\n";
        return 2;
    }
    const std::optional<Options>& options = parsed.value();
    if (!options) {
        out << usage();
        return 0;
    }

    // SIGINT or SIGTERM stops the work, keeps what is finished and ends with
    // the shell's usual status for that signal.
    std::atomic<bool> cancel{false};
    const Interruption::Cancelling cancelling(cancel);
    const auto cancelled = [&](int64_t written) {
        err << "Cancelled: " << written << (written == 1 ? " file" : " files") << " written.\n";
        return 128 + (cancelling.signal() != 0 ? cancelling.signal() : SIGINT);
    };
    std::optional<AnalysisCache> cache;
    BatchSession state(measuring(*options, cache));
    const std::optional<int64_t> notAnalysed = listAndAnalyse(state, *options, err, cancel);
    if (!notAnalysed)
        return cancel.load() ? cancelled(0) : 1;
    int64_t failed = *notAnalysed;
    const ExportRun::Summary summary = exportAll(state, *options, chooseLimiter(state, *options, err), err, cancel);
    if (summary.error) {
        err << "sonivel export: " << summary.error->message << '\n';
        return 1;
    }
    // Standard output: the written files, in list order. Standard error: the rest.
    for (const ExportRun::FileResult& file : summary.files) {
        if (file.written) {
            out << NativePath::shown(file.written->path) << '\n';
            err << "wrote " << NativePath::shownName(file.written->path)
                << QString::asprintf(" (%.1f LUFS, true peak %.1f dBTP)", file.written->loudnessLUFS,
                                     file.written->truePeakDBTP);
            if (file.written->offTarget)
                err << ": " << file.written->note;
            err << '\n';
        } else if (file.error) {
            err << "sonivel export: " << NativePath::shownName(file.sourcePath) << ": " << file.error->message << '\n';
            ++failed;
        } else if (file.upToDate) {
            err << "up to date: " << NativePath::shownName(*file.upToDate) << '\n';
        }
    }
    if (summary.cancelled)
        return cancelled(summary.writtenCount());
    err << summary.writtenCount() << (summary.writtenCount() == 1 ? " file" : " files") << " written, ";
    if (options->skipExisting)
        err << summary.upToDateCount() << " up to date, ";
    err << failed << " failed.\n";
    return failed > 0 ? 1 : 0;
}

} // namespace ExportCommand
