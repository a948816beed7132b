#include "cli/CommandLine.h"

#include "Version.h"
#include "cli/AnalyzeCommand.h"
#include "cli/ExportCommand.h"
#include "cli/TagCommand.h"

namespace CommandLine {

namespace {

QString usage() {
    return QStringLiteral("Usage: sonivel [FILE...]            open the window (with these files)\n"
                          "       sonivel --choose-files      open the window and choose files to analyse\n"
                          "       sonivel --export-with-last-settings [FILE...]\n"
                          "                                   the same, then export them as last time\n"
                          "       sonivel COMMAND [OPTIONS] [FILE...]\n"
                          "\n"
                          "Evens out the loudness of a batch of audio files.\n"
                          "\n"
                          "Commands:\n"
                          "  analyze [--json] FILE...      measure loudness, peak and soft passages\n"
                          "  export --out DIR [...] FILE...  normalize the files into DIR/normalized\n"
                          "  tag [--album] FILE|DIR...     write ReplayGain tags into the files\n"
                          "\n"
                          "Options:\n"
                          "  -h, --help     show this help\n"
                          "  -v, --version  show the version\n");
}

} // namespace

bool isCommand(const QString& arg) {
    return arg == QLatin1String("analyze") || arg == QLatin1String("export") || arg == QLatin1String("tag") ||
           arg == QLatin1String("help") || (arg.startsWith(QLatin1Char('-')) && arg.size() > 1);
}

int run(QStringList args, QTextStream& out, QTextStream& err) {
    if (args.isEmpty()) {
        err << usage();
        return 2;
    }
    const QString command = args.takeFirst();
    if (command == QStringLiteral("-h") || command == QStringLiteral("--help") || command == QStringLiteral("help")) {
        out << usage();
        return 0;
    }
    if (command == QStringLiteral("-v") || command == QStringLiteral("--version")) {
        out << "sonivel " << SONIVEL_VERSION << " (build " << SONIVEL_BUILD_NUMBER << ")\n";
        return 0;
    }
    if (command == QStringLiteral("analyze"))
        return AnalyzeCommand::run(args, out, err);
    if (command == QStringLiteral("export"))
        return ExportCommand::run(args, out, err);
    if (command == QStringLiteral("tag"))
        return TagCommand::run(args, out, err);
    err << "sonivel: unknown " << (command.startsWith(QLatin1Char('-')) ? "option" : "command") << " '" << command
        << "'\nTry 'sonivel --help'.\n";
    return 2;
}

} // namespace CommandLine
