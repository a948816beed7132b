#include "Version.h"
#include "app/AllocatorTuning.h"
#include "app/LibraryVersions.h"
#include "app/SingleInstance.h"
#include "app/SonivelApp.h"
#include "cli/CommandLine.h"
#include "io/Interruption.h"
#include "io/NativePath.h"
#include "io/TemporaryFile.h"
#include "ui/BatchView.h"
#include "ui/Icons.h"
#include "ui/MainWindow.h"
#include "ui/Selection.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>
#include <QTimer>
#include <QUrl>
#include <cstdio>

namespace {

// With --screenshot PATH: once the files are analysed, select the second,
// play it for a moment, save a picture of the window and quit.
void takeScreenshotWhenReady(MainWindow& window, BatchSession& state, const QString& path) {
    QObject::connect(
        &state, &BatchSession::analysisFinished, &window,
        [&window, &state, path] {
            if (!state.files().empty()) {
                Selection::of(state).select(state.files()[std::min<size_t>(1, state.files().size() - 1)]->id());
                window.batch()->playback().togglePlay();
            }
            QTimer::singleShot(1500, &window, [&window, path] {
                window.grab().save(path);
                QApplication::quit();
            });
        },
        Qt::SingleShotConnection);
}

// The arguments left after Qt took its own, every byte of a file name kept
// (Qt's own list replaces bytes that are not UTF-8).
QStringList argumentsOf(int argc, char* argv[]) {
    QStringList out;
    for (int i = 0; i < argc; ++i)
        out << NativePath::decode(argv[i]);
    return out;
}

// The window, with any files given on the command line added.
int runWindow(int argc, char* argv[], const QString& screenshot) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Sonivel"));
    QApplication::setOrganizationName(QStringLiteral("Sonivel"));
    QApplication::setApplicationVersion(QStringLiteral(SONIVEL_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("sonivel"));
    app.setProperty("buildNumber", QStringLiteral(SONIVEL_BUILD_NUMBER));
    app.setProperty("libraries", libraryVersions());
    QApplication::setWindowIcon(Icons::appIcon());
    const LaunchRequest request =
        LaunchRequest::fromArguments(argumentsOf(argc, argv).mid(screenshot.isEmpty() ? 1 : 3));
    // One window per session: an open one takes the request and comes forward.
    if (screenshot.isEmpty() && SingleInstance::handOver(request))
        return 0;
    SonivelApp sonivel;
    if (!screenshot.isEmpty())
        takeScreenshotWhenReady(sonivel.window(), sonivel.session(), screenshot);
    sonivel.start(request, screenshot.isEmpty());
    const int status = app.exec();
    // Analyses still running end without waiting for a slow decoder.
    Interruption::requestStop();
    return status;
}

} // namespace

int main(int argc, char* argv[]) {
    keepFreedMemoryForReuse();
    // An interrupted run leaves no temporary file and no encoder behind, and
    // what a killed one left is cleared at the next start.
    Interruption::installHandlers();
    TemporaryFiles::removeStale(QDir::tempPath());
    // Files (or nothing) open the window; commands and options run here.
    if (argc > 2 && QString::fromLocal8Bit(argv[1]) == QLatin1String("--screenshot"))
        return runWindow(argc, argv, QString::fromLocal8Bit(argv[2]));
    const bool window = argc < 2 || LaunchRequest::isWindowOption(QString::fromLocal8Bit(argv[1])) ||
                        !CommandLine::isCommand(QString::fromLocal8Bit(argv[1]));
    if (window && qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        std::fputs("sonivel: no display to open the window on.\n"
                   "Use 'sonivel analyze FILE...' or 'sonivel export --out DIR FILE...' here,\n"
                   "or 'sonivel --help' for more.\n",
                   stderr);
        return 2;
    }
    if (window)
        return runWindow(argc, argv, QString());
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Sonivel"));
    QCoreApplication::setApplicationVersion(QStringLiteral(SONIVEL_VERSION));

    QTextStream out(stdout);
    QTextStream err(stderr);
    QStringList args = argumentsOf(argc, argv);
    args.removeFirst();
    return CommandLine::run(args, out, err);
}
