// Renders each widget with a realistic file into PNG files, for a person to
// look at: ui_screenshots [OUTPUT_DIR]

#include "app/LibraryVersions.h"
#include "export/ExportRun.h"
#include "playback/SilentOutput.h"
#include "ui/AboutDialog.h"
#include "ui/ClippingWarningDialog.h"
#include "ui/FileTableView.h"
#include "ui/Icons.h"
#include "ui/MainWindow.h"
#include "ui/UpdateDialogs.h"
#include "ui/WaveformView.h"
#include "ui/onboarding/OnboardingWizardView.h"

#include "session/BatchSession.h"
#include "support/AnalysisSupport.h"
#include "ui/Selection.h"

#include <QApplication>
#include <QDir>
#include <QMouseEvent>
#include <QPushButton>
#include <QTest>
#include <cmath>
#include <cstdio>
#include <random>

namespace {

// Three minutes of music-like sound (chords, a beat) with a quiet passage.
std::vector<float> musicLike(double seconds, int64_t rate = 48000) {
    std::vector<float> out(static_cast<size_t>(seconds * static_cast<double>(rate)));
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(rate);
        const double beat = std::fmod(t, 0.5);
        const double chord =
            0.15 * (std::sin(2 * M_PI * 220 * t) + std::sin(2 * M_PI * 277 * t) + std::sin(2 * M_PI * 330 * t));
        const double drum = 0.5 * std::exp(-beat * 18) * noise(rng);
        double level = 0.6 + 0.3 * std::sin(2 * M_PI * t / 40.0);
        if (t > 70 && t < 95)
            level *= 0.08; // the quiet passage
        if (t > 130 && t < 150)
            level *= 1.4;
        out[i] = static_cast<float>(level * (chord + drum));
    }
    return out;
}

std::shared_ptr<AudioFileItem> analysedItem(const QString& name, const std::vector<float>& samples,
                                            int64_t rate = 48000) {
    auto item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/music/" + name));
    item->setAnalysis(support::analyzeSamples(samples, rate));
    return item;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("screenshots");
    QDir().mkpath(out);
    const auto item = analysedItem("Song.wav", musicLike(180.0));

    WaveformView view;
    view.resize(1200, 360);
    view.setFile(item);
    view.setPlayheadTime(item->analysis()->windowStart + 5.0);
    view.grab().save(QDir(out).filePath("waveform.png"));

    // Edit mode: two separators with fades, +4 and -6 dB, then the
    // magnifier over the first separator while Ctrl is held.
    SegmentEditState& edits = item->segmentEdits();
    edits.addSeparator(60.0);
    edits.addSeparator(100.0);
    edits.setSegmentGain(1, 4.0);
    edits.setSegmentGain(2, -6.0);
    edits.setFadeDuration(edits.separators()[0].id, 3000);
    edits.setFadeDuration(edits.separators()[1].id, 1500);
    item->setIsEditMode(true);
    view.setOnToggleEditMode([&] { item->setIsEditMode(!item->isEditMode()); });
    view.grab().save(QDir(out).filePath("waveform-edit-mode.png"));
    const QPointF lens(view.plotGeometry().xOfTime(61.0, item->analysis()->duration), 200);
    QMouseEvent ctrlHover(QEvent::MouseMove, lens, lens, Qt::NoButton, Qt::NoButton, Qt::ControlModifier);
    QCoreApplication::sendEvent(&view, &ctrlHover);
    view.grab().save(QDir(out).filePath("waveform-magnifier.png"));

    // The table with a file in every state.
    BatchSession state(BatchSession::AnalysisOptions{
        [](const QString&, ChannelMix, std::stop_token) {
            return FileAnalysis::failure(Error::Kind::empty, QStringLiteral("Audio file contains no samples"));
        },
        1});
    const auto quiet = analysedItem("Quiet Intro.flac", musicLike(40.0));
    const auto loud = analysedItem("Loud Master.wav", musicLike(30.0));
    for (const auto& f : {item, quiet, loud})
        f->setCorrectionDB(BatchSession::correctionFor(-16.0, f->analysis()->loudest20sLUFS));
    loud->setCorrectionDB(6.0);
    loud->setIsManualOverride(true);
    const auto pending = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/music/Still Measuring.mp3"));
    const auto broken = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/music/Broken.m4a"));
    state.loadFiles({item, quiet, loud, pending, broken});
    while (pending->isAnalyzing() || broken->isAnalyzing())
        QCoreApplication::processEvents();
    pending->setAnalysisError(std::nullopt);
    pending->setIsAnalyzing(true);
    FileTableView table(state);
    table.resize(1100, 200);
    table.grab().save(QDir(out).filePath("file-table.png"));
    BatchSession empty;
    FileTableView emptyTable(empty);
    emptyTable.resize(1100, 200);
    emptyTable.grab().save(QDir(out).filePath("file-table-empty.png"));

    // The whole window at its smallest and at a large size, with the manual
    // row selected, then the failed one.
    for (const QSize size : {QSize(900, 600), QSize(1400, 900)}) {
        MainWindow window(state, Dialogs::standard(), std::make_unique<SilentOutput>());
        window.resize(size);
        window.show();
        Selection::of(state).select(loud->id());
        QCoreApplication::processEvents();
        const QString suffix = QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
        window.grab().save(QDir(out).filePath("window-manual-selected-" + suffix + ".png"));
        Selection::of(state).select(broken->id());
        QCoreApplication::processEvents();
        window.grab().save(QDir(out).filePath("window-error-selected-" + suffix + ".png"));
    }

    ClippingWarningDialog clipping(state.files(), state.ceilingDBTP());
    clipping.adjustSize();
    clipping.grab().save(QDir(out).filePath("clipping-dialog.png"));
    QApplication::setWindowIcon(Icons::appIcon());
    AboutDialog about(QStringLiteral("0.1.0"), QStringLiteral("1"), libraryVersions());
    about.grab().save(QDir(out).filePath("about.png"));

    // The three answers to a check for updates.
    const auto save = [&out](QDialog* dialog, const char* name) {
        dialog->show();
        QTest::qWait(50);
        dialog->grab().save(QDir(out).filePath(QString::fromLatin1(name)));
        dialog->close();
    };
    save(UpdateDialogs::upToDate(nullptr, QStringLiteral("0.1.0 (1)")), "update-up-to-date.png");
    save(UpdateDialogs::offer(
             nullptr, {QStringLiteral("1.3.0 (57)"), QStringLiteral("0.1.0 (1)"),
                       QStringLiteral("<h3>What's new</h3><ul><li>Analysis twice as fast</li>"
                                      "<li>Fades follow the curve</li></ul><img src=\"https://example.com/x.png\">"),
                       QUrl(QStringLiteral("https://sonivel.org/notes/1.3.0")),
                       QUrl(QStringLiteral("https://sonivel.org/download"))}),
         "update-offer.png");
    save(UpdateDialogs::failure(nullptr, QStringLiteral("The update server did not answer within 15 seconds.")),
         "update-error.png");

    // Each page of the introduction, the animated ones a moment after they
    // appear (the miniature halfway through its analysis).
    OnboardingWizardView wizard;
    wizard.show();
    for (int page = 0; page < 5; ++page) {
        QTest::qWait(page == 2 ? 1400 : 500);
        wizard.grab().save(QDir(out).filePath(QStringLiteral("onboarding-%1.png").arg(page + 1)));
        if (page == 2) {
            QTest::qWait(1600);
            wizard.grab().save(QDir(out).filePath(QStringLiteral("onboarding-3-corrected.png")));
        }
        wizard.findChild<QPushButton*>("primary")->click();
    }

    // The same window and introduction page with a dark palette, as on a
    // desktop in dark mode.
    QApplication::setStyle(QStringLiteral("Fusion"));
    QPalette dark(QColor(55, 55, 58), QColor(45, 45, 48)); // button, window: the shades follow
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Base, QColor(30, 30, 32));
    dark.setColor(QPalette::AlternateBase, QColor(40, 40, 43));
    dark.setColor(QPalette::Text, QColor(230, 230, 230));
    dark.setColor(QPalette::PlaceholderText, QColor(230, 230, 230, 128));
    dark.setColor(QPalette::ButtonText, QColor(230, 230, 230));
    dark.setColor(QPalette::Highlight, QColor(42, 130, 218));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::ToolTipBase, QColor(60, 60, 63));
    dark.setColor(QPalette::ToolTipText, QColor(230, 230, 230));
    for (const auto role : {QPalette::ButtonText, QPalette::WindowText, QPalette::Text})
        dark.setColor(QPalette::Disabled, role, QColor(120, 120, 120));
    QApplication::setPalette(dark);
    {
        MainWindow window(state, Dialogs::standard(), std::make_unique<SilentOutput>());
        window.resize(1100, 700);
        window.show();
        Selection::of(state).select(item->id());
        item->setIsEditMode(false);
        QCoreApplication::processEvents();
        window.grab().save(QDir(out).filePath("dark-window.png"));
        item->setIsEditMode(true);
        QCoreApplication::processEvents();
        window.grab().save(QDir(out).filePath("dark-window-edit-mode.png"));
        item->setIsEditMode(false);
    }
    OnboardingWizardView darkWizard;
    darkWizard.show();
    darkWizard.findChild<QPushButton*>("primary")->click();
    QTest::qWait(500);
    darkWizard.grab().save(QDir(out).filePath("dark-onboarding-2.png"));
    save(UpdateDialogs::upToDate(nullptr, QStringLiteral("0.1.0 (1)")), "dark-update-up-to-date.png");

    std::printf("wrote %s\n", qPrintable(QDir(out).absolutePath()));
    return 0;
}
