#include "app/AnalyzeCommand.h"

#include "analysis/AnalysisOutcome.h"

#include <QThread>
#include <QThreadPool>
#include <algorithm>
#include <future>

namespace AnalyzeCommand {

QString usage() {
    return QStringLiteral("Usage: sonivel analyze [--json] [--channels sum|average] FILE...\n"
                          "\n"
                          "Measures each file: the gated loudness of its loudest 20 seconds (Peak 20s),\n"
                          "its integrated loudness, its sample and true peaks, where that loudest\n"
                          "stretch lies, its duration and how many soft passages it has; the JSON adds\n"
                          "the loudness range and the largest momentary and short-term loudness.\n"
                          "Files are analysed in parallel and reported in the order given.\n"
                          "\n"
                          "Options:\n"
                          "  --json          print one JSON array, one object per file\n"
                          "  --channels MIX  sum: the channels' loudness summed as every BS.1770 meter\n"
                          "                  reads it (the default); average: the classic figure of the\n"
                          "                  channels' average\n"
                          "  -h, --help      show this help\n"
                          "\n"
                          "The exit status is 1 when any file could not be analysed.\n");
}

FileReport analyzeFile(const QString& file, ChannelMix mix) {
    const AnalysisOutcome outcome = analyzeFileOutcome(file, mix);
    return outcome.ok() ? makeReport(file, outcome.value()) : makeErrorReport(file, outcome.error());
}

int run(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    bool json = false;
    bool optionsEnded = false;
    ChannelMix mix = ChannelMix::sum;
    QStringList files;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& arg = arguments[i];
        if (!optionsEnded && arg == QStringLiteral("--")) {
            optionsEnded = true;
        } else if (!optionsEnded && arg == QStringLiteral("--json")) {
            json = true;
        } else if (!optionsEnded && arg == QStringLiteral("--channels")) {
            const std::optional<ChannelMix> named =
                i + 1 < arguments.size() ? channelMixNames.named(arguments[++i]) : std::nullopt;
            if (!named) {
                err << "sonivel analyze: --channels takes sum or average\n"
                    << "Try 'sonivel analyze --help'.\n";
                return 2;
            }
            mix = *named;
        } else if (!optionsEnded && (arg == QStringLiteral("-h") || arg == QStringLiteral("--help"))) {
            out << usage();
            return 0;
        } else if (!optionsEnded && arg.startsWith(QLatin1Char('-')) && arg.size() > 1) {
            err << "sonivel analyze: unknown option '" << arg << "'\n"
                << "Try 'sonivel analyze --help'.\n";
            return 2;
        } else {
            files << arg;
        }
    }
    if (files.isEmpty()) {
        err << "sonivel analyze: no files given\n"
            << "Try 'sonivel analyze --help'.\n";
        return 2;
    }

    const int count = static_cast<int>(files.size());
    std::vector<FileReport> reports(static_cast<size_t>(count));
    std::vector<std::promise<void>> done(static_cast<size_t>(count));
    QThreadPool pool;
    pool.setMaxThreadCount(std::max(1, std::min(count, QThread::idealThreadCount())));
    for (int i = 0; i < count; ++i) {
        pool.start([&, i] {
            reports[static_cast<size_t>(i)] = analyzeFile(files[i], mix);
            done[static_cast<size_t>(i)].set_value();
        });
    }

    // Rows appear in the order given, each as soon as it and those before it are done.
    const int nameWidth = reportNameWidth(files);
    if (!json) {
        out << reportHeader(nameWidth) << '\n';
    }
    bool anyFailed = false;
    for (int i = 0; i < count; ++i) {
        done[static_cast<size_t>(i)].get_future().wait();
        const FileReport& report = reports[static_cast<size_t>(i)];
        anyFailed = anyFailed || report.error.has_value();
        if (!json) {
            out << reportRow(report, nameWidth) << '\n';
            out.flush();
        }
    }
    pool.waitForDone();
    if (json) {
        out << reportJson(reports);
    }
    return anyFailed ? 1 : 0;
}

} // namespace AnalyzeCommand
