#include "AnalyzeCommand.h"
#include "ExportCommand.h"
#include "Version.h"

#include <QCoreApplication>
#include <QTextStream>
#include <cstdio>

namespace {

QString usage() {
    return QStringLiteral("Usage: sonivel COMMAND [OPTIONS] [FILE...]\n"
                          "\n"
                          "Evens out the loudness of a batch of audio files.\n"
                          "\n"
                          "Commands:\n"
                          "  analyze [--json] FILE...      measure loudness, peak and soft passages\n"
                          "  export --out DIR [...] FILE...  normalize the files into DIR/normalized\n"
                          "\n"
                          "Options:\n"
                          "  -h, --help     show this help\n"
                          "  -v, --version  show the version\n");
}

} // namespace

int main(int argc, char* argv[]) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Sonivel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SONIVEL_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList args = QCoreApplication::arguments();
    args.removeFirst();

    if (args.isEmpty()) {
        err << usage();
        return 2;
    }
    const QString command = args.takeFirst();
    if (command == QStringLiteral("-h") || command == QStringLiteral("--help") ||
        command == QStringLiteral("help")) {
        out << usage();
        return 0;
    }
    if (command == QStringLiteral("-v") || command == QStringLiteral("--version")) {
        out << "sonivel " << SONIVEL_VERSION << " (build " << SONIVEL_BUILD_NUMBER << ")\n";
        return 0;
    }
    if (command == QStringLiteral("analyze")) {
        return AnalyzeCommand::run(args, out, err);
    }
    if (command == QStringLiteral("export")) {
        return ExportCommand::run(args, out, err);
    }
    err << "sonivel: unknown command '" << command << "'\n"
        << "Try 'sonivel --help'.\n";
    return 2;
}
