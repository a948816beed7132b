#include "ui/MainWindow.h"

#include "session/LoudnessReport.h"
#include "session/SettingsFile.h"
#include "ui/AboutDialog.h"
#include "ui/BatchView.h"
#include "ui/EditHistory.h"
#include "ui/ExportControlsView.h"
#include "ui/ListRecovery.h"
#include "ui/SleepInhibitor.h"
#include "ui/TaskbarProgress.h"
#include "ui/onboarding/OnboardingWizardView.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QMenuBar>
#include <QSettings>
#include <cmath>

MainWindow::MainWindow(BatchSession& state, Dialogs dialogs, std::unique_ptr<AudioOutput> output, QWidget* parent)
    : QMainWindow(parent), state_(state), dialogs_(dialogs), exports_(state),
      batch_(new BatchView(state, exports_, &undo_, std::move(dialogs), std::move(output))) {
    setWindowTitle(QStringLiteral("Sonivel"));
    // Numbers are written as the window's words are, in English, so that the
    // fields show the same decimal point as the table, the figures, the file
    // names and the reports (a typed comma is still read as the point).
    setLocale(QLocale(QLocale::English, QLocale::UnitedStates));
    setCentralWidget(batch_);
    setMinimumSize(900, 600);
    resize(1200, 700);

    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->addAction(QStringLiteral("Add Files..."), QKeySequence::Open, batch_, &BatchView::addFiles);
    file->addAction(QStringLiteral("Add Folder..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O), batch_,
                    &BatchView::addFolder);
    file->addSeparator();
    file->addActions(batch_->commands().file);
    file->addAction(QStringLiteral("Export Report..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_R), this, [this] {
        const QString path = dialogs_.chooseReportToSave(this);
        if (path.isEmpty())
            return;
        const Result<> saved = LoudnessReport::save(state_, path);
        batch_->statusLine().show(saved.ok() ? QStringLiteral("Report saved.")
                                             : QStringLiteral("Error saving report: ") + saved.error().message);
    });
    beforeQuit_ = file->addSeparator();
    file->addAction(QStringLiteral("Quit"), QKeySequence::Quit, this, &QWidget::close);
    connect(&exports_, &ExportSession::finished, this, [this](const ExportRun::Summary& summary) {
        // A run that ends while the user is elsewhere says so on the desktop.
        if (!isActiveWindow() && dialogs_.notify)
            dialogs_.notify(StatusLine::exportHeading(summary),
                            QStringList{batch_->statusLine().text(), StatusLine::exportWhere(summary)}
                                .join(QLatin1Char(' '))
                                .trimmed());
        if (closeAfterExport_)
            close();
    });
    // The computer does not go to sleep in the middle of a run.
    connect(&exports_, &ExportSession::isExportingChanged, this, [this] {
        if (!exports_.isExporting())
            sleepInhibitor_.reset();
        else if (!sleepInhibitor_)
            sleepInhibitor_ =
                std::make_unique<SleepInhibitor>(StatusLine::exportStart(static_cast<int64_t>(state_.files().size())));
    });
    // The run's share on the taskbar entry too, a whole percent at a time.
    const auto showOnTaskbar = [this] {
        const ExportProgress progress = exports_.progress();
        std::optional<double> share;
        if (exports_.isExporting() && progress.total > 0)
            share = std::floor(100.0 * progress.done / static_cast<double>(progress.total)) / 100.0;
        if (share != taskbarShare_)
            TaskbarProgress::show(taskbarShare_ = share);
    };
    connect(&exports_, &ExportSession::progressChanged, this, showOnTaskbar);
    connect(&exports_, &ExportSession::isExportingChanged, this, showOnTaskbar);
    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    QAction* undo = undo_.createUndoAction(this, QStringLiteral("Undo"));
    undo->setShortcut(QKeySequence::Undo);
    QAction* redo = undo_.createRedoAction(this, QStringLiteral("Redo"));
    redo->setShortcut(QKeySequence::Redo);
    edit->addAction(undo);
    edit->addAction(redo);
    edit->addSeparator();
    edit->addActions(batch_->commands().edit);
    menuBar()->addMenu(QStringLiteral("&Playback"))->addActions(batch_->commands().playback);
    help_ = menuBar()->addMenu(QStringLiteral("&Help"));
    help_->addAction(QStringLiteral("About Sonivel"), this, &MainWindow::showAbout);
    help_->addAction(QStringLiteral("Show Introduction"), this, &MainWindow::showOnboarding);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (exports_.isExporting()) {
        event->ignore();
        if (closeAfterExport_ || dialogs_.confirmQuitDuringExport(this)) {
            closeAfterExport_ = true;
            exports_.cancel();
        }
        return;
    }
    if (batch_->exportControls().hasUnsavedEdits()) {
        const std::optional<bool> save = dialogs_.askToSaveEdits(this);
        if (!save || (*save && !batch_->exportControls().saveSettings())) {
            event->ignore();
            return;
        }
    }
    if (recovery_)
        recovery_->discard();
    QMainWindow::closeEvent(event);
}

MainWindow::~MainWindow() = default;

void MainWindow::keepListAt(const QString& path) {
    if (const std::optional<size_t> count = ListRecovery::leftAt(path);
        count && dialogs_.offerRecoveredList(this, *count))
        batch_->history().replaceList(QStringLiteral("Restore List"),
                                      [&] { return SettingsFile::loadSettings(state_, path).ok(); });
    recovery_ = std::make_unique<ListRecovery>(state_, path);
}

void MainWindow::addFileCommand(QAction* command) {
    qobject_cast<QMenu*>(beforeQuit_->parent())->insertAction(beforeQuit_, command);
}

void MainWindow::addCommandAfterAbout(QAction* command) { help_->insertAction(help_->actions().value(1), command); }

void MainWindow::showOnboarding() {
    if (findChild<OnboardingWizardView*>())
        return;
    auto* wizard = new OnboardingWizardView(this);
    wizard->setAttribute(Qt::WA_DeleteOnClose);
    wizard->open();
}

void MainWindow::showAbout() {
    AboutDialog about(QCoreApplication::applicationVersion(), qApp->property("buildNumber").toString(),
                      qApp->property("libraries").toStringList(), this);
    about.exec();
}

void MainWindow::showOnFirstLaunch() {
    QSettings settings;
    if (settings.value(QStringLiteral("hasSeenOnboarding"), false).toBool())
        return;
    settings.setValue(QStringLiteral("hasSeenOnboarding"), true); // at once, before the wizard shows
    settings.sync();
    showOnboarding();
}
