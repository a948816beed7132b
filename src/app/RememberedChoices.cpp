#include "app/RememberedChoices.h"

#include "session/BatchSession.h"
#include "session/SettingsFile.h"
#include "ui/MainWindow.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QScreen>
#include <QSettings>
#include <QSplitter>

namespace RememberedChoices {

namespace {

const QString geometryKey = QStringLiteral("window/geometry");
const QString splitterKey = QStringLiteral("window/splitter");
const QString targetKey = QStringLiteral("choices/targetLUFS");
const QString ceilingKey = QStringLiteral("choices/ceilingDBTP");
const QString normalizeByKey = QStringLiteral("choices/normalizeBy");
const QString channelMixKey = QStringLiteral("choices/channelMix");
const QString presetKey = QStringLiteral("choices/preset");
const QString formatKey = QStringLiteral("choices/exportFormat");
const QString rateKey = QStringLiteral("choices/exportSampleRate");
const QString skipKey = QStringLiteral("choices/skipUpToDate");
const QString albumKey = QStringLiteral("choices/albumMode");

QSplitter* splitter(MainWindow& window) { return window.findChild<QSplitter*>(QStringLiteral("tableAndWaveform")); }

bool onSomeScreen(const QRect& frame) {
    for (const QScreen* screen : QGuiApplication::screens())
        if (screen->availableGeometry().intersected(frame).width() >= 100 &&
            screen->availableGeometry().intersected(frame).height() >= 50)
            return true;
    return false;
}

void saveLayout(MainWindow& window) {
    QSettings settings;
    settings.setValue(geometryKey, window.saveGeometry());
    if (QSplitter* split = splitter(window))
        settings.setValue(splitterKey, split->saveState());
}

// Saves the window's layout as it closes.
class LayoutKeeper : public QObject {
public:
    explicit LayoutKeeper(MainWindow& window) : QObject(&window), window_(window) { window.installEventFilter(this); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == &window_ && event->type() == QEvent::Close)
            saveLayout(window_);
        return false;
    }

private:
    MainWindow& window_;
};

} // namespace

void restore(BatchSession& state, MainWindow& window) {
    const QSettings settings;
    Aim aim = state.currentAim();
    bool ok = false;
    const double target = settings.value(targetKey).toDouble(&ok);
    if (ok && target >= SettingsFile::minimumTargetLUFS && target <= SettingsFile::maximumTargetLUFS)
        aim.values.targetLUFS = target;
    const double ceiling = settings.value(ceilingKey).toDouble(&ok);
    if (ok)
        aim.values.ceilingDBTP = ceiling; // held to its range
    aim.values.normalizeBy =
        normalizeByNames.named(settings.value(normalizeByKey).toString()).value_or(aim.values.normalizeBy);
    aim.preset = presetNamed(settings.value(presetKey).toString()).value_or(aim.preset);
    state.setAim(aim);
    if (const auto mix = channelMixNames.named(settings.value(channelMixKey).toString()))
        state.setChannelMix(*mix);
    state.setAlbumMode(settings.value(albumKey).toString() == QLatin1String("true"));
    if (const auto format = exportFormatNamed(settings.value(formatKey).toString()))
        window.exportSession().setFormat(*format);
    if (const auto rate = sampleRateOfHertz(settings.value(rateKey).toLongLong()))
        window.exportSession().setSampleRate(*rate);
    window.exportSession().setSkipUpToDate(settings.value(skipKey).toString() == QLatin1String("true"));

    const QRect before = window.geometry();
    if (window.restoreGeometry(settings.value(geometryKey).toByteArray()) && !onSomeScreen(window.frameGeometry()))
        window.setGeometry(before); // a screen that is gone
    if (QSplitter* split = splitter(window))
        split->restoreState(settings.value(splitterKey).toByteArray());
}

void keep(BatchSession& state, MainWindow& window) {
    const auto keepAim = [&state] {
        QSettings settings;
        settings.setValue(targetKey, state.targetLUFS());
        settings.setValue(ceilingKey, state.ceilingDBTP());
        settings.setValue(normalizeByKey, normalizeByNames.name(state.normalizeBy()));
        settings.setValue(channelMixKey, channelMixNames.name(state.channelMix()));
        settings.setValue(presetKey, presetName(state.preset()));
        settings.setValue(albumKey, state.albumMode());
    };
    for (const auto signal :
         {&BatchSession::targetLUFSChanged, &BatchSession::ceilingDBTPChanged, &BatchSession::normalizeByChanged,
          &BatchSession::channelMixChanged, &BatchSession::presetChanged, &BatchSession::albumModeChanged})
        QObject::connect(&state, signal, &state, keepAim);
    const ExportSession& exports = window.exportSession();
    QObject::connect(&exports, &ExportSession::choicesChanged, &window, [&exports] {
        QSettings settings;
        settings.setValue(formatKey, keyword(exports.choices().format));
        settings.setValue(rateKey, static_cast<qlonglong>(hertz(exports.choices().sampleRate)));
        settings.setValue(skipKey, exports.choices().skipUpToDate);
    });
    // Closing the window or quitting from the menu, which may not close it.
    new LayoutKeeper(window);
    QObject::connect(qApp, &QCoreApplication::aboutToQuit, &window, [&window] { saveLayout(window); });
}

} // namespace RememberedChoices
