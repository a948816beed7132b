#include "cli/AnalyzeCommand.h"

#include "analysis/FileAnalysis.h"
#include "cli/AimOptions.h"

#include "jobs/JobRunner.h"

#include <algorithm>
#include <future>

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
                          "Files are analysed in parallel and reported in the order given.\n"
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

// One file's row, aimed as `aim` says; never throws.
FileReport reportOn(const QString& file, ChannelMix mix, const Aim& aim, std::stop_token stop) {
    const FileAnalysis outcome = analyzeFile(file, mix, stop);
    return outcome.ok() ? makeReport(file, outcome.value(), aim) : makeErrorReport(file, outcome.error().message);
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
    Request request;
    try {
        const std::optional<Request> parsed = read(arguments);
        if (!parsed) {
            out << usage();
            return 0;
        }
        request = *parsed;
    } catch (const Failure& e) {
        err << "sonivel analyze: " << e.message() << '\n' << "Try 'sonivel analyze --help'.\n";
        return 2;
    }
    const QStringList& files = request.files;
    const ChannelMix mix = request.aim.channels.value_or(ChannelMix::sum);
    const Aim aim = aimOf(request.aim, {});
    const bool table = request.output == Output::table;

    const int count = static_cast<int>(files.size());
    std::vector<FileReport> reports(static_cast<size_t>(count));
    std::vector<std::promise<void>> done(static_cast<size_t>(count));
    const JobRunner::Batch batch = JobRunner::shared().start(count, [&](int64_t i, std::stop_token stop) {
        reports[static_cast<size_t>(i)] = reportOn(files[static_cast<qsizetype>(i)], mix, aim, stop);
        done[static_cast<size_t>(i)].set_value();
    });

    // Rows appear in the order given, each as soon as it and those before it are done.
    const int nameWidth = reportNameWidth(files);
    if (table)
        out << reportHeader(nameWidth) << '\n';
    bool anyFailed = false;
    for (int i = 0; i < count; ++i) {
        done[static_cast<size_t>(i)].get_future().wait();
        const FileReport& report = reports[static_cast<size_t>(i)];
        anyFailed = anyFailed || report.error.has_value();
        if (table) {
            out << reportRow(report, nameWidth) << '\n';
            out.flush();
        }
    }
    batch.wait();
    if (request.output == Output::json)
        out << LoudnessReport::json(reports, aim);
    else if (request.output == Output::csv)
        out << LoudnessReport::csv(reports, aim);
    return anyFailed ? 1 : 0;
}

} // namespace AnalyzeCommand
