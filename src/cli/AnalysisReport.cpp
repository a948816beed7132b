#include "cli/AnalysisReport.h"

#include "io/DurationText.h"
#include "io/NativePath.h"

#include <QFileInfo>
#include <algorithm>

namespace {

QString displayName(const QString& file) {
    const QString name = QFileInfo(file).fileName();
    return NativePath::shown(name.isEmpty() ? file : name);
}

// Columns a terminal gives a text: two for East Asian wide and full-width
// characters, none for combining marks, one for the rest.
int displayWidth(const QString& text) {
    int width = 0;
    for (const char32_t c : text.toUcs4()) {
        const auto category = QChar::category(c);
        if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing || c == 0x200B)
            continue;
        const bool wide = (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF && c != 0x303F) ||
                          (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
                          (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
                          (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1F64F) ||
                          (c >= 0x1F900 && c <= 0x1F9FF) || (c >= 0x20000 && c <= 0x3FFFD);
        width += wide ? 2 : 1;
    }
    return width;
}

// `text` followed by spaces up to `width` columns.
QString padded(const QString& text, int width) {
    return text + QString(std::max(0, width - displayWidth(text)), QLatin1Char(' '));
}

} // namespace

QString shownName(const QString& file, const QString& subfolder) {
    return subfolder.isEmpty() ? displayName(file)
                               : NativePath::shown(subfolder + QLatin1Char('/') + QFileInfo(file).fileName());
}

int reportNameWidth(const QStringList& shown) {
    int width = 4; // "File"
    for (const QString& name : shown)
        width = std::max(width, displayWidth(name));
    return width;
}

QString reportHeader(int nameWidth) {
    return QStringLiteral("%1  %2  %3  %4  %5  %6  %7  %8")
        .arg(QStringLiteral("File"), -nameWidth)
        .arg(QStringLiteral("Peak 20s"), 11)
        .arg(QStringLiteral("Integrated"), 11)
        .arg(QStringLiteral("Sample peak"), 11)
        .arg(QStringLiteral("True peak"), 11)
        .arg(QStringLiteral("Loudest 20 s"), -21)
        .arg(QStringLiteral("Duration"), 9)
        .arg(QStringLiteral("Soft passages"));
}

QString reportRow(const FileReport& r, int nameWidth, const QString& shown) {
    const QString name = padded(shown, nameWidth);
    if (r.error) {
        return name + QStringLiteral("  ") + *r.error;
    }
    const QString window = durationText(r.windowStart) + QStringLiteral(" – ") + durationText(r.windowEnd);
    return QStringLiteral("%1  %2  %3  %4  %5  %6  %7  %8")
               .arg(name)
               .arg(QStringLiteral("%1 LUFS").arg(r.loudest20sLUFS, 0, 'f', 1), 11)
               .arg(QStringLiteral("%1 LUFS").arg(r.figures.integratedLUFS, 0, 'f', 1), 11)
               .arg(QStringLiteral("%1 dBFS").arg(r.peakDBFS, 0, 'f', 1), 11)
               .arg(QStringLiteral("%1 dBTP").arg(r.truePeakDBTP, 0, 'f', 1), 11)
               .arg(window, -21)
               .arg(durationText(r.duration), 9)
               .arg(r.softPassages.size()) +
           (r.warning ? QStringLiteral("  (") + *r.warning + QLatin1Char(')') : QString());
}
