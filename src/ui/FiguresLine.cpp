#include "ui/FiguresLine.h"

#include "ui/PaintKit.h"
#include "ui/Selection.h"

#include <QStringList>
#include <cmath>

namespace {

QString figure(double value, const char* unit) {
    return std::isfinite(value) ? QStringLiteral("%1 %2").arg(value, 0, 'f', 1).arg(QLatin1String(unit))
                                : QStringLiteral("−∞ %1").arg(QLatin1String(unit));
}

} // namespace

FiguresLine::FiguresLine(BatchSession& state, QWidget* parent) : QLabel(parent), state_(state) {
    setObjectName(QStringLiteral("figuresLine"));
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setFocusPolicy(Qt::StrongFocus); // Tab reaches the figures, and a screen reader says them
    setWordWrap(true);               // on two lines rather than cut in a narrow window
    setContentsMargins(12, 4, 12, 4);
    QFont caption = font();
    caption.setPixelSize(11);
    setFont(caption);
    setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    connect(&selection_, &Selection::changed, this, &FiguresLine::follow);
    follow();
}

QString FiguresLine::describe(const AnalysisResult& a) {
    const QString separator = QStringLiteral("  ·  ");
    QStringList figures{
        QStringLiteral("Peak 20s ") + figure(a.loudest20sLUFS, "LUFS"),
        QStringLiteral("Integrated ") + figure(a.figures.integratedLUFS, "LUFS"),
        QStringLiteral("LRA ") + figure(a.figures.loudnessRangeLU, "LU"),
        QStringLiteral("True peak ") + figure(a.truePeakDBTP, "dBTP"),
        QStringLiteral("Sample peak ") + figure(a.peakDBFS, "dBFS"),
        QStringLiteral("Max momentary ") + figure(a.figures.maxMomentaryLUFS, "LUFS"),
        QStringLiteral("Max short-term ") + figure(a.figures.maxShortTermLUFS, "LUFS"),
        QStringLiteral("%1 kHz, %2 ch").arg(static_cast<double>(a.sampleRate) / 1000.0, 0, 'g', 4).arg(a.channels)};
    // A narrow window breaks the line between figures, never inside one.
    for (QString& f : figures)
        f.replace(QLatin1Char(' '), QChar::Nbsp).replace(QStringLiteral("short-"), QStringLiteral("short\u2011"));
    return figures.join(separator);
}

void FiguresLine::follow() {
    disconnect(fileConnection_);
    if (const AudioFileItemPtr file = selection_.file())
        fileConnection_ = connect(file.get(), &AudioFileItem::changed, this, &FiguresLine::refresh);
    refresh();
}

void FiguresLine::refresh() {
    const AudioFileItemPtr file = selection_.file();
    setText(file && file->analysis() ? describe(*file->analysis()) : QString());
    setAccessibleName(text().isEmpty() ? QStringLiteral("No figures yet") : text());
}
