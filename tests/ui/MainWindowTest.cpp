#include "ui/MainWindow.h"
#include "UiFixtures.h"
#include "cli/AnalyzeCommand.h"
#include "export/ExportRun.h"
#include "playback/MemoryOutput.h"
#include "playback/SilentOutput.h"
#include "session/ExportPlan.h"
#include "ui/BatchView.h"
#include "ui/ClippingWarningDialog.h"
#include "ui/DesktopNotification.h"
#include "ui/ExportControlsView.h"
#include "ui/FiguresLine.h"
#include "ui/FileTableModel.h"
#include "ui/FileTableView.h"
#include "ui/PaintKit.h"
#include "ui/PlaybackControlsView.h"
#include "ui/Selection.h"
#include "ui/SleepInhibitor.h"
#include "ui/TaskbarProgress.h"
#include "ui/WaveformView.h"
#include "ui/onboarding/OnboardingWizardView.h"

#include <QAccessible>
#include <QComboBox>
#include <QDBusUnixFileDescriptor>
#include <QDBusVirtualObject>
#include <QDoubleSpinBox>
#include <QElapsedTimer>
#include <QFrame>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QMimeData>
#include <QProcess>
#include <QRadioButton>
#include <QSettings>
#include <QStandardItemModel>
#include <QTreeWidget>
#include <poll.h>
#include <unistd.h>

namespace {

struct Window {
    QTemporaryDir dir;
    BatchSession state{BatchSession::AnalysisOptions{analyzeFile, 2}};
    QString exportFolder;
    QString reportPath;
    std::optional<bool> clippingAnswer = true;
    int clippingAsked = 0;
    QStringList existingAsked; // the names the last question about existing outputs listed; it is cancelled
    QString settingsPath;
    std::optional<bool> saveEditsAnswer; // to the question on closing with edits not saved: stay
    int replaceAsked = 0, saveEditsAsked = 0;
    size_t recoveryOffered = 0; // the files of the last list offered back; it is taken
    QStringList notified;       // the desktop notifications, heading and body
    std::unique_ptr<MainWindow> window;

    explicit Window(std::unique_ptr<AudioOutput> output = std::make_unique<MemoryOutput>()) {
        Dialogs d;
        d.chooseAudioFiles = [](QWidget*) { return QList<QUrl>(); };
        d.chooseExportFolder = [this](QWidget*) { return exportFolder; };
        d.chooseSettingsToSave = d.chooseSettingsToLoad = [this](QWidget*) { return settingsPath; };
        d.confirmReplaceList = [this](QWidget*, size_t) { return ++replaceAsked, true; };
        d.askToSaveEdits = [this](QWidget*) { return ++saveEditsAsked, saveEditsAnswer; };
        d.offerRecoveredList = [this](QWidget*, size_t count) { return (recoveryOffered = count) > 0; };
        d.chooseReportToSave = [this](QWidget*) { return reportPath; };
        d.notify = [this](const QString& heading, const QString& body) { notified << heading << body; };
        d.askAboutClipping = [this](QWidget*, const BatchSession&) { return ++clippingAsked, clippingAnswer; };
        d.askAboutExisting = [this](QWidget*, const QStringList& names) {
            return existingAsked = names, std::optional<ExistingOutputs>();
        };
        window = std::make_unique<MainWindow>(state, d, std::move(output));
        window->show();
    }
    BatchView& batch() { return *window->batch(); }
    QString tone(const QString& name, double amplitude, double seconds = 2.0) {
        return fixtures::writeTone(dir, name, seconds, amplitude);
    }
    void drop(const QStringList& paths) {
        QMimeData mime;
        QList<QUrl> urls;
        for (const QString& p : paths)
            urls << QUrl::fromLocalFile(p);
        urls << QUrl(QStringLiteral("https://example.com/not-a-file.wav"));
        mime.setUrls(urls);
        batch().handleDrop(mime);
    }
    QString status() { return batch().statusLine().text(); }
    bool analysed() {
        return QTest::qWaitFor([&] { return status().startsWith(StatusLine::analysisComplete); }, 20000);
    }
};

} // namespace

TEST(MainWindowTest, DropRemoveUndoRedoAndTarget) {
    Window w;
    EXPECT_FALSE(child<QPushButton>(*w.window, "remove")->isEnabled());

    w.drop({w.tone("a.wav", 0.1), w.tone("b.wav", 0.2), w.tone("c.wav", 0.3)});
    ASSERT_TRUE(w.analysed());
    EXPECT_TRUE(child<QPushButton>(*w.window, "remove")->isEnabled());

    // Ctrl+Backspace removes the selected (first) file; Undo puts it back at
    // its index, Redo removes it again, as often as wanted.
    const QUuid first = w.state.files()[0]->id();
    QTest::keyClick(w.window.get(), Qt::Key_Backspace, Qt::ControlModifier);
    ASSERT_EQ(w.state.files().size(), 2u);
    EXPECT_EQ(w.window->undoStack().undoText(), "Remove \"a.wav\"");
    for (int round = 0; round < 2; ++round) {
        w.window->undoStack().undo();
        ASSERT_EQ(w.state.files().size(), 3u);
        EXPECT_EQ(w.state.files()[0]->id(), first);
        EXPECT_EQ(Selection::of(w.state).fileID(), first);
        w.window->undoStack().redo();
        EXPECT_EQ(w.state.files().size(), 2u);
    }
    QTest::keyClick(w.window.get(), Qt::Key_Backspace); // without Ctrl: nothing
    EXPECT_EQ(w.state.files().size(), 2u);
    QTest::keyClick(w.window.get(), Qt::Key_Delete); // Delete alone does
    EXPECT_EQ(w.state.files().size(), 1u);
    w.window->undoStack().undo();
    // The buttons' commands are in the menus, each with its shortcut.
    QStringList commands;
    for (QAction* menu : w.window->menuBar()->actions())
        for (QAction* item : menu->menu()->actions())
            if (!item->shortcut().isEmpty())
                commands << item->text();
    for (const char* name : {"Save Settings...", "Load Settings...", "Export All...", "Remove File", "Edit Segments",
                             "Play/Pause", "Stop"})
        EXPECT_TRUE(commands.contains(name)) << name;

    // Typed targets are clamped; the stepper moves by 0.5.
    QDoubleSpinBox* target = child<QDoubleSpinBox>(*w.window, "target");
    const auto type = [&](const char* text) {
        target->setFocus();
        target->selectAll();
        QTest::keyClick(target, Qt::Key_Backspace);
        QTest::keyClicks(target, text);
        QTest::keyClick(target, Qt::Key_Return);
        return w.state.targetLUFS();
    };
    EXPECT_EQ(type("-50"), -40.0);
    EXPECT_EQ(w.status(), "The target goes from -40 to -3 LUFS: -50 became -40.0.");
    target->stepUp();
    EXPECT_EQ(w.state.targetLUFS(), -39.5);
    EXPECT_EQ(type("-14,5"), -14.5) << "either decimal mark";
    EXPECT_EQ(type("-1"), -3.0);
    EXPECT_FALSE(target->hasFocus()) << "Return hands the keys back to the window";
    // What is not a number leaves the target alone.
    type("-14");
    for (const char* text : {"", "-", "."})
        EXPECT_EQ(type(text), -14.0) << '"' << text << '"';
    // The file removed at -16 LUFS comes back aimed at the new target.
    w.window->undoStack().undo();
    const AudioFileItemPtr file = w.state.files()[0];
    ASSERT_EQ(file->id(), first);
    EXPECT_DOUBLE_EQ(file->correctionDB(), BatchSession::correctionFor(-14.0, file->analysis()->loudest20sLUFS));

    // An encoder's message of several lines: the first here, all in the tooltip.
    w.batch().statusLine().show("Export error: first line\nsecond line");
    EXPECT_EQ(child<QLabel>(*w.window, "statusLine")->text() + "|" + child<QLabel>(*w.window, "statusLine")->toolTip(),
              "Export error: first line|Export error: first line\nsecond line");
}

TEST(MainWindowTest, SpaceAndEscapeAndTheEditModeStatusLine) {
    Window w;
    w.drop({w.tone("a.wav", 0.2, 5.0)});
    ASSERT_TRUE(w.analysed());
    BatchView& c = w.batch();
    QTest::keyClick(w.window.get(), Qt::Key_Space);
    EXPECT_EQ(child<QPushButton>(c, "play")->text(), "Pause");
    QTest::keyClick(w.window.get(), Qt::Key_Space);
    EXPECT_TRUE(c.engine().isPaused());
    QTest::keyClick(w.window.get(), Qt::Key_Escape);
    EXPECT_FALSE(c.engine().isPaused() || c.engine().isPlaying());

    QTest::keyClick(w.window.get(), Qt::Key_E, Qt::ControlModifier); // Edit Segments
    EXPECT_TRUE(w.state.files()[0]->isEditMode());
    EXPECT_TRUE(child<QLabel>(c, "statusLine")->text().startsWith("Ctrl+Click: add separator  ·  Drag ↕"));
    QTest::keyClick(w.window.get(), Qt::Key_E, Qt::ControlModifier);
    EXPECT_FALSE(w.state.files()[0]->isEditMode());
    EXPECT_EQ(child<QLabel>(c, "statusLine")->text(), "Analysis complete.");
    Window silent(std::make_unique<SilentOutput>());
    silent.drop({silent.tone("a.wav", 0.2, 5.0)});
    ASSERT_TRUE(silent.analysed());
    QTest::keyClick(silent.window.get(), Qt::Key_Space);
    EXPECT_EQ(silent.status(), "No audio output device was found: playback runs without sound.");
}

TEST(MainWindowTest, SegmentActionsBecomeUndoSteps) {
    Window w;
    w.drop({w.tone("a.wav", 0.2, 60.0), w.tone("b.wav", 0.2, 3.0)});
    ASSERT_TRUE(w.analysed());
    const AudioFileItemPtr file = w.state.files()[0];
    EditHistory& h = w.batch().history();
    QUndoStack& undo = w.window->undoStack();
    namespace A = SegmentEditActions;

    // A drag in 40 steps from 10 s to 25 s is one "Adjust Segment".
    h.handleSegmentEditAction(A::AddSeparator{10.0}, file);
    EXPECT_EQ(undo.undoText(), "Add Separator");
    const QUuid id = file->segmentEdits().separators()[0].id;
    h.handleSegmentEditAction(A::DragBegan{}, file);
    for (int i = 1; i <= 40; ++i)
        h.handleSegmentEditAction(A::MoveSeparator{id, 10.0 + 15.0 * i / 40}, file);
    h.handleSegmentEditAction(A::DragEnded{}, file);
    EXPECT_EQ(undo.undoText(), "Adjust Segment");
    EXPECT_EQ(undo.count(), 2);
    Selection::of(w.state).select(w.state.files()[1]->id());
    undo.undo();
    EXPECT_EQ(file->segmentEdits().separators()[0].timeSeconds, 10.0);
    EXPECT_EQ(Selection::of(w.state).fileID(), file->id()) << "undo selects the file it changes";
    undo.redo();
    EXPECT_EQ(file->segmentEdits().separators()[0].timeSeconds, 25.0);
    undo.undo();

    // Undo of the add restores one segment; redo brings back the same id.
    undo.undo();
    EXPECT_TRUE(file->segmentEdits().separators().empty());
    undo.redo();
    ASSERT_EQ(file->segmentEdits().separators().size(), 1u);
    EXPECT_EQ(file->segmentEdits().separators()[0].id, id);

    // A rejected add, and a drag end without a beginning, leave no step.
    const int steps = undo.index();
    h.handleSegmentEditAction(A::AddSeparator{11.0}, file);
    EXPECT_EQ(file->segmentEdits().separators().size(), 1u);
    h.handleSegmentEditAction(A::DragEnded{}, file);
    EXPECT_EQ(undo.index(), steps);
    h.handleSegmentEditAction(A::SetSegmentGain{1, 4.0}, file);
    h.handleSegmentEditAction(A::ResetSegmentGain{1}, file);
    EXPECT_EQ(undo.undoText(), "Reset Segment Gain");
    EXPECT_EQ(file->segmentEdits().segmentGains()[1].gainOffsetDB, 0.0);
    // The waveform's reset button is a step too.
    child<QAbstractButton>(*w.window, "resetSegments")->click();
    EXPECT_FALSE(file->segmentEdits().hasEdits());
    undo.undo();
    EXPECT_EQ(file->segmentEdits().separators().size(), 1u) << "undone";
}

TEST(MainWindowTest, EditsAreSavedLoadedBackAndNeverLostWithoutAsking) {
    Window w;
    w.drop({w.tone("a.wav", 0.2, 20.0), w.tone("b.wav", 0.1)});
    ASSERT_TRUE(w.analysed());
    const std::vector<AudioFileItemPtr> before = w.state.files();
    w.batch().history().handleSegmentEditAction(SegmentEditActions::AddSeparator{5.0}, before[0]);
    before[1]->setCorrectionDB(3.0);
    before[1]->setIsManualOverride(true);
    EXPECT_FALSE(w.window->close()) << "Cancel stays";
    w.settingsPath = w.dir.filePath("s.json");
    w.saveEditsAnswer = true;
    EXPECT_TRUE(w.window->close()) << "saved first";
    EXPECT_EQ(w.saveEditsAsked, 2);

    // Loaded over the list: asked, the edits come back, and undo brings back the old list.
    w.batch().commands().file[1]->trigger();
    EXPECT_EQ(w.replaceAsked, 1);
    ASSERT_TRUE(w.analysed());
    ASSERT_EQ(w.state.files().size(), 2u);
    EXPECT_NE(w.state.files()[0], before[0]);
    EXPECT_EQ(SettingsData::Segments::of(w.state.files()[0]->segmentEdits().snapshot()),
              SettingsData::Segments::of(before[0]->segmentEdits().snapshot()));
    EXPECT_EQ(w.state.files()[1]->correctionDB(), 3.0);
    w.window->undoStack().undo();
    EXPECT_EQ(w.state.files(), before);
    w.window->undoStack().undo();
    EXPECT_FALSE(before[0]->segmentEdits().hasEdits()) << "the old list's own steps";
}

// A window that does not close normally leaves its list and edits to the next start.
TEST(MainWindowTest, AKilledWindowsListComesBackAtTheNextStart) {
    QTemporaryDir stateFolder;
    const QString kept = stateFolder.filePath("sonivel/working-list.json");
    Window first;
    first.window->keepListAt(kept);
    first.drop({first.tone("a.wav", 0.2, 20.0)});
    ASSERT_TRUE(first.analysed());
    first.batch().history().handleSegmentEditAction(SegmentEditActions::AddSeparator{5.0}, first.state.files()[0]);
    ASSERT_TRUE(QTest::qWaitFor([&] { return fixtures::readFile(kept).contains("segments"); }, 20000));

    Window second; // the first never closes
    second.window->keepListAt(kept);
    EXPECT_EQ(second.recoveryOffered, 1u);
    ASSERT_EQ(second.state.files().size(), 1u);
    EXPECT_EQ(second.state.files()[0]->segmentEdits().separators().size(), 1u);
    second.saveEditsAnswer = false;
    EXPECT_TRUE(second.window->close());
    EXPECT_FALSE(QFile::exists(kept)) << "closed normally, nothing to offer";
}

TEST(MainWindowTest, ExportAllThroughTheDialogsAndTheProgressStrip) {
    Window w;
    w.drop({w.tone("quiet.wav", 0.01), w.tone("click.wav", 0.01)});
    ASSERT_TRUE(w.analysed());
    w.state.files()[1]->setCorrectionDB(45.0); // far past full scale
    w.state.files()[1]->setIsManualOverride(true);
    QPushButton* exportAll = child<QPushButton>(*w.window, "exportAll");
    EXPECT_TRUE(exportAll->isEnabled());

    // Cancelling the clipping dialog exports nothing.
    w.clippingAnswer = std::nullopt;
    w.exportFolder = w.dir.filePath("out");
    QTest::mouseClick(exportAll, Qt::LeftButton);
    EXPECT_EQ(w.clippingAsked, 1);
    ExportSession& exports = w.window->exportSession();
    EXPECT_FALSE(exports.isExporting());
    EXPECT_FALSE(QFileInfo::exists(w.exportFolder));

    // The limiter; the folder chooser answered; the run and its strip, while
    // another window is in front.
    w.clippingAnswer = true;
    QWidget elsewhere;
    elsewhere.show();
    elsewhere.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&elsewhere));
    QStringList strip, said;
    QObject::connect(&w.batch().statusLine(), &StatusLine::textChanged, [&](const QString& t) { said << t; });
    QObject::connect(&exports, &ExportSession::progressChanged, [&] {
        strip << child<QLabel>(*w.window, "progressText")->text() + " " +
                     child<QLabel>(*w.window, "progressPercent")->text();
    });
    QTest::mouseClick(exportAll, Qt::LeftButton);
    EXPECT_TRUE(child<QFrame>(*w.window, "progressStrip")->isVisible());
    EXPECT_EQ(exportAll->text(), "Cancel");
    ASSERT_TRUE(QTest::qWaitFor([&] { return !exports.isExporting(); }, 20000));
    // No gain brings a tone 45 dB up under the limiter's ceiling.
    EXPECT_TRUE(w.status().startsWith("Export complete! Off target: click (")) << w.status().toStdString();
    EXPECT_EQ(said.mid(0, 3), (QStringList{"Exporting 2 files...", "Exporting 1/2...", "Exporting 2/2..."}));
    EXPECT_FALSE(child<QFrame>(*w.window, "progressStrip")->isVisible());
    EXPECT_TRUE(exportAll->isEnabled() && exportAll->text() == "Export All") << "ready for the next export";
    EXPECT_EQ(fixtures::filesIn(w.exportFolder + "/normalized").size(), 2);
    // The desktop is told, with where the files went.
    EXPECT_EQ(w.notified,
              (QStringList{"Export complete",
                           w.status() + QString(" 2 files written to %1/normalized.").arg(w.exportFolder)}));

    // The strip moves with the running files' shares too, never back.
    ASSERT_GE(strip.size(), 4);
    EXPECT_EQ(strip.front(), "0 of 2 files exported... 0%");
    EXPECT_EQ(strip.mid(strip.size() - 2),
              (QStringList{"2 of 2 files exported... 100%", "0 of 0 files exported... 0%"}));

    // Into the same folder again: the name it would take again is asked
    // about (the off-target file took another), and a cancelled answer
    // leaves the folder as it is.
    QTest::mouseClick(exportAll, Qt::LeftButton);
    EXPECT_EQ(w.existingAsked, QStringList{"quiet (-16LUFS).wav"});
    EXPECT_FALSE(exports.isExporting());
    EXPECT_EQ(fixtures::filesIn(w.exportFolder + "/normalized").size(), 2);
}

TEST(MainWindowTest, AboutAndFirstLaunch) {

    QTemporaryDir config;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
    QCoreApplication::setOrganizationName("SonivelTest");
    Window first, second;
    first.window->showOnFirstLaunch();
    QPointer<OnboardingWizardView> wizard = first.window->findChild<OnboardingWizardView*>();
    ASSERT_TRUE(wizard && wizard->isVisible()) << "the introduction shows over the window";
    wizard->findChild<QPushButton*>("skip")->click();
    EXPECT_TRUE(!wizard || !wizard->isVisible());
    second.window->showOnFirstLaunch();
    EXPECT_FALSE(second.window->findChild<OnboardingWizardView*>()) << "only the first launch";

    // File dialogs start where the same kind of choice was last made.
    EXPECT_EQ(Dialogs::startFolder("export"), QDir::homePath());
    Dialogs::rememberFolder("export", config.path());
    Dialogs::rememberFolder("audio", config.filePath("gone")); // a folder that is gone is not offered
    EXPECT_EQ(Dialogs::startFolder("export") + Dialogs::startFolder("audio"), config.path() + QDir::homePath());
}

TEST(MainWindowTest, ClippingDialogCtrlDeleteAndCurveWindow) {
    Window w;
    w.drop({w.tone("a.wav", 0.2, 30.0), w.tone("b.wav", 0.2, 3.0)});
    ASSERT_TRUE(w.analysed());
    const AudioFileItemPtr a = w.state.files()[0];
    a->setCorrectionDB(20.0);
    a->setIsManualOverride(true);
    ClippingWarningDialog dialog(w.state.files(), -1.0);
    const QList<QLabel*> labels = dialog.findChildren<QLabel*>();
    const auto hasText = [&](const QString& text) {
        return std::any_of(labels.begin(), labels.end(), [&](QLabel* l) { return l->text() == text; });
    };
    EXPECT_TRUE(hasText("1 file(s) will pass the -1.0 dBTP ceiling after correction:"));
    const auto* rows = dialog.findChild<QTreeWidget*>();
    ASSERT_TRUE(rows && rows->topLevelItemCount() == 1);
    EXPECT_EQ(rows->topLevelItem(0)->text(0), "a.wav");
    EXPECT_EQ(rows->topLevelItem(0)->text(1),
              QString::asprintf("%.1f dB over", ExportPlan::findClippingFiles(w.state.files(), -1.0)[0].overshootDB));
    EXPECT_TRUE(dialog.useLimiter()) << "the limiter is preselected";
    child<QRadioButton>(dialog, "exportAnyway")->setChecked(true);
    EXPECT_FALSE(dialog.useLimiter());
    const double safe = *ExportPlan::computeSafeTarget(w.state.files(), -1.0);
    EXPECT_EQ(
        dialog.findChild<QLabel*>("safeTargetTip")->text(),
        QString::asprintf("Tip: Set target to %.1f LUFS or lower to keep every true peak under the ceiling.", safe));
    // Return exports from wherever the focus starts; Escape cancels.
    for (const auto& [key, result] :
         {std::pair{Qt::Key_Return, QDialog::Accepted}, {Qt::Key_Escape, QDialog::Rejected}}) {
        ClippingWarningDialog asked(w.state.files(), -1.0);
        asked.show();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&asked));
        QTest::keyClick(QApplication::focusWidget(), key);
        EXPECT_EQ(asked.result(), result) << key;
    }
    w.window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(w.window.get()));

    // Ctrl+Delete removes like Ctrl+Backspace.
    QTest::keyClick(w.window.get(), Qt::Key_Delete, Qt::ControlModifier);
    EXPECT_EQ(w.state.files().size(), 1u);
    // MP3 is not offered 96 kHz; a file that failed shows why where its waveform would be.
    w.window->exportSession().setFormat(ExportFormat::mp3_320);
    const auto* rates = qobject_cast<QStandardItemModel*>(w.window->findChild<QComboBox*>("sampleRate")->model());
    EXPECT_FALSE(rates->item(2)->isEnabled());
    EXPECT_TRUE(rates->item(1)->isEnabled());
    w.drop({fixtures::writeFile(w.dir.filePath("junk.wav"), "not audio")});
    ASSERT_TRUE(w.analysed());
    EXPECT_EQ(w.status(), "Analysis complete. 1 file could not be analysed: junk.wav.");
    Selection::of(w.state).select(w.state.files().back()->id());
    EXPECT_TRUE(
        child<QLabel>(*w.window, "waveformPlaceholder")->text().startsWith("junk.wav could not be analysed:\n"));
}

TEST(TaskbarProgressTest, TheEntryOfTheDesktopFileShowsTheShareOrNothing) {
    for (const auto& [share, visible, shown] :
         {std::tuple{std::optional(0.25), true, 0.25}, {std::optional(1.7), true, 1.0}, {std::nullopt, false, 0.0}}) {
        const QList<QVariant> arguments = TaskbarProgress::message(share).arguments();
        ASSERT_EQ(arguments.size(), 2);
        EXPECT_EQ(arguments[0].toString(), "application://sonivel.desktop");
        const QVariantMap properties = arguments[1].toMap();
        EXPECT_EQ(properties.value("progress-visible").toBool(), visible);
        EXPECT_EQ(properties.value("progress").toDouble(), shown);
    }
}

namespace {

// A desktop service on a test's own bus: it keeps the calls it gets and
// answers each, Inhibit with `lock`.
class FakeService : public QDBusVirtualObject {
public:
    QList<QDBusMessage> calls;
    int lock = -1;
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
        calls << call;
        return bus.send(call.member() == "Inhibit"
                            ? call.createReply(QVariant::fromValue(QDBusUnixFileDescriptor(lock)))
                            : call.createReply(1u));
    }
};

} // namespace

// The notification and the sleep lock, on a bus of the test's own with the
// desktop's services played by the test.
TEST(DesktopBusTest, TheNotificationIsSentAndTheSleepLockHeldUntilReleased) {
    QProcess daemon;
    daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
    ASSERT_TRUE(daemon.waitForReadyRead(5000)) << "dbus-daemon runs";
    const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
    QDBusConnection services = QDBusConnection::connectToBus(address, "services");
    QDBusConnection client = QDBusConnection::connectToBus(address, "client");
    FakeService desktop; // the notification service and logind
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    desktop.lock = pipe[1];
    for (const QString name : {"org.freedesktop.Notifications", "org.freedesktop.login1"})
        ASSERT_TRUE(services.registerService(name) &&
                    services.registerVirtualObject("/" + QString(name).replace('.', '/'), &desktop));

    DesktopNotification::show("Export complete", "2 files written to /m/normalized.", client);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !desktop.calls.isEmpty(); }, 5000));
    EXPECT_EQ(desktop.calls[0].arguments().mid(0, 5),
              (QList<QVariant>{"Sonivel", 0u, "sonivel", "Export complete", "2 files written to /m/normalized."}));

    // The lock: asked for a block of sleep, held while the inhibitor lives,
    // closed (the pipe's far end sees it) once it is gone.
    const auto released = [&] {
        pollfd watch{pipe[0], 0, 0};
        return ::poll(&watch, 1, 0) == 1 && (watch.revents & POLLHUP);
    };
    {
        SleepInhibitor inhibitor("Exporting 2 files...", client);
        ASSERT_TRUE(QTest::qWaitFor([&] { return inhibitor.isHeld(); }, 5000));
        ::close(pipe[1]);
        ASSERT_EQ(desktop.calls.size(), 2);
        EXPECT_EQ(desktop.calls[1].arguments(), (QList<QVariant>{"sleep", "Sonivel", "Exporting 2 files...", "block"}));
        QTest::qWait(50);
        EXPECT_FALSE(released());
    }
    EXPECT_TRUE(QTest::qWaitFor(released, 2000));
    ::close(pipe[0]);
    daemon.kill();
    daemon.waitForFinished();
}

TEST(MainWindowTest, PresetsTheReportOptionalColumnsAndTheFiguresLine) {
    Window w;
    const QString a = w.tone("a.wav", 0.2, 3.0), b = w.tone("b.wav", 0.05, 3.0);
    w.drop({a, b});
    ASSERT_TRUE(w.analysed());
    auto* preset = child<QComboBox>(w.batch(), "preset");
    emit preset->activated(preset->findText("Spotify"));
    EXPECT_EQ(w.state.currentAim().values, (TargetValues{-14.0, NormalizeBy::integrated, -1.0}));
    EXPECT_EQ(child<QComboBox>(w.batch(), "normalizeBy")->currentText(), "Integrated") << "the window follows";
    child<QDoubleSpinBox>(w.batch(), "target")->setValue(-14.5);
    EXPECT_EQ(preset->currentText(), "Custom");

    // The window's report is the command line's, plus a byte-order mark for spreadsheets.
    QAction* report = nullptr;
    for (QAction* action : w.window->findChildren<QAction*>())
        report = action->text() == "Export Report..." ? action : report;
    ASSERT_TRUE(report);
    w.reportPath = w.dir.filePath(QStringLiteral("report, ü.csv"));
    report->trigger();
    EXPECT_EQ(w.status(), "Report saved.");
    QString cli, errors;
    QTextStream out(&cli), err(&errors);
    AnalyzeCommand::run({"--csv", "--target=-14.5", "--normalize-by=integrated", a, b}, out, err);
    out.flush();
    EXPECT_EQ(fixtures::readFile(w.reportPath), "\xEF\xBB\xBF" + cli.toUtf8());
    w.reportPath = w.dir.filePath("report.json");
    report->trigger();
    EXPECT_EQ(QJsonDocument::fromJson(fixtures::readFile(w.reportPath)).array().size(), 2);
    w.reportPath = a; // never over a listed file
    report->trigger();
    EXPECT_TRUE(w.status().startsWith("Error saving report: ")) << w.status().toStdString();

    // The optional figures come and go from the header's menu, remembered for the next window.
    QSettings().remove("table/shownColumns");
    auto* table = w.window->findChild<FileTableView*>();
    std::unique_ptr<QMenu> menu(table->columnsMenu());
    ASSERT_EQ(menu->actions().size(), 5);
    EXPECT_TRUE(table->isColumnHidden(FileTableModel::truePeak));
    menu->actions()[2]->setChecked(true);
    EXPECT_FALSE(table->isColumnHidden(FileTableModel::truePeak));
    EXPECT_EQ(table->model()->index(0, FileTableModel::truePeak).data().toString(),
              QString::asprintf("%.1f", w.state.files()[0]->analysis()->truePeakDBTP));
    EXPECT_FALSE(FileTableView(w.state).isColumnHidden(FileTableModel::truePeak));
    menu->actions()[2]->setChecked(false);
}
// In a light and a dark theme: Tab visits every control once, in reading
// order; each has a name a screen reader can say and the room it needs at
// the window's smallest; every text stands 4.5:1 from its background.
TEST(MainWindowTest, EveryControlIsReachableNamedAndReadableInALightAndADarkTheme) {
    QPalette dark(QColor(49, 54, 59), QColor(42, 46, 50)); // button, window: the other shades follow
    dark.setColor(QPalette::PlaceholderText, QColor(239, 240, 241, 90));
    dark.setColor(QPalette::Highlight, QColor(61, 174, 233));
    const QPalette original = QApplication::palette();
    const auto name = [](QObject* o) { return QAccessible::queryAccessibleInterface(o)->text(QAccessible::Name); };
    for (const QPalette& theme : {QApplication::style()->standardPalette(), dark}) {
        QApplication::setPalette(theme);
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany)); // the fields' numbers keep their point
        Window w;
        QLocale::setDefault(QLocale::c());
        EXPECT_TRUE(child<QDoubleSpinBox>(*w.window, "ceiling")->text().contains('.'));
        w.drop({w.tone("a.wav", 0.1), w.tone("b.wav", 0.9), w.dir.filePath("gone.wav")});
        ASSERT_TRUE(w.analysed());
        w.state.files()[0]->setIsManualOverride(true);
        w.window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(w.window.get()));
        QList<QWidget*> reachable;
        for (QWidget* c : w.window->findChildren<QWidget*>()) {
            if (!c->isVisibleTo(w.window.get()) || !c->isEnabled())
                continue;
            if ((c->focusPolicy() & Qt::TabFocus) && !c->focusProxy() && !qobject_cast<QMenuBar*>(c))
                reachable << c;
            const auto* label = qobject_cast<QLabel*>(c);
            const QPalette p = c->palette();
            const bool text = label ? !label->text().isEmpty() : !!qobject_cast<QAbstractButton*>(c);
            EXPECT_GE(text ? PaintKit::contrast(p.color(c->foregroundRole()), p.color(c->backgroundRole())) : 21, 4.5)
                << c->objectName().toStdString() << p.color(c->foregroundRole()).name().toStdString();
        }
        const FileTableModel& model = *w.window->findChild<FileTableModel*>();
        for (int row = 0; row < model.rowCount(); ++row)
            for (int column = 0; column < model.columnCount(); ++column)
                for (QPalette::ColorRole under : {QPalette::Base, QPalette::AlternateBase}) {
                    const QVariant colour = model.index(row, column).data(Qt::ForegroundRole);
                    EXPECT_GE(colour.isValid() ? PaintKit::contrast(colour.value<QColor>(), theme.color(under)) : 21,
                              4.5)
                        << row << "," << column;
                }
        child<QPushButton>(*w.window, "add")->setFocus();
        QList<QWidget*> visited;
        QPoint last(-1, -1);
        while (!visited.contains(QApplication::focusWidget())) {
            QWidget* at = QApplication::focusWidget();
            visited << at;
            const QPoint p = at->mapTo(w.window.get(), QPoint(0, at->height() / 2));
            EXPECT_TRUE(p.y() > last.y() + 8 || (std::abs(p.y() - last.y()) <= 8 && p.x() > last.x())) << p.x();
            last = p;
            EXPECT_FALSE(name(at).isEmpty()) << at->metaObject()->className() << at->objectName().toStdString();
            QTest::keyClick(at, Qt::Key_Tab);
        }
        EXPECT_EQ(visited.size(), reachable.size());
        // The selected file's figures are text that Tab reaches, and follow the selection.
        auto* figures = w.window->findChild<FiguresLine*>();
        EXPECT_TRUE(visited.contains(figures));
        EXPECT_TRUE(name(figures).replace(QChar::Nbsp, ' ').contains("Integrated -23.0 LUFS  ·  LRA 0.0 LU  ·  True"));
        Selection::of(w.state).select(w.state.files()[1]->id());
        EXPECT_TRUE(figures->text().replace(QChar::Nbsp, ' ').contains("Integrated -3.9 LUFS"));
        EXPECT_TRUE(name(w.window->findChild<WaveformView*>()).contains("b.wav"));
        w.window->resize(w.window->minimumSize());
        QCoreApplication::processEvents();
        for (QWidget* c : reachable)
            EXPECT_GE(c->width(), c->minimumSizeHint().width()) << c->objectName().toStdString();
    }
    QApplication::setPalette(original);
}
