#include "ui/FileTableModel.h"
#include "ui/PaintKit.h"

#include "io/NativePath.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QHash>
#include <QPalette>
#include <algorithm>
#include <cmath>
#include <iterator>

FileTableModel::FileTableModel(BatchSession& state, QObject* parent) : QAbstractTableModel(parent), state_(state) {
    connect(&state_, &BatchSession::filesChanged, this, &FileTableModel::followList);
    connect(&state_, &BatchSession::normalizeByChanged, this,
            [this] { emit headerDataChanged(Qt::Horizontal, peak, peak); });
    connect(&state_, &BatchSession::ceilingDBTPChanged, this, [this] {
        if (rowCount() > 0)
            emit dataChanged(index(0, headroom), index(rowCount() - 1, headroom));
    });
    rows_ = state_.files();
    reindex();
}

// The list changes by appending, by removing or inserting one file, or by
// being replaced: the first three are announced row by row, so views keep
// what they built for the other rows.
void FileTableModel::followList() {
    const std::vector<AudioFileItemPtr>& next = state_.files();
    const size_t before = rows_.size(), after = next.size();
    const size_t common = static_cast<size_t>(
        std::mismatch(rows_.begin(), rows_.begin() + static_cast<std::ptrdiff_t>(std::min(before, after)), next.begin())
            .first -
        rows_.begin());
    const int k = static_cast<int>(common);
    if (before == after && common == before)
        return;
    if (after > before && common == before) {
        beginInsertRows({}, k, static_cast<int>(after) - 1);
        rows_ = next;
        reindex(); // before the views hear of it
        endInsertRows();
    } else if (after + 1 == before && std::equal(rows_.begin() + k + 1, rows_.end(), next.begin() + k)) {
        beginRemoveRows({}, k, k);
        rows_ = next;
        reindex(); // before the views hear of it
        endRemoveRows();
    } else if (after == before + 1 && std::equal(next.begin() + k + 1, next.end(), rows_.begin() + k)) {
        beginInsertRows({}, k, k);
        rows_ = next;
        reindex(); // before the views hear of it
        endInsertRows();
    } else {
        beginResetModel();
        rows_ = next;
        reindex(); // before the views hear of it
        endResetModel();
    }
}

void FileTableModel::reindex() {
    rowIndex_.clear();
    std::unordered_map<const AudioFileItem*, QMetaObject::Connection> kept;
    for (size_t row = 0; row < rows_.size(); ++row) {
        AudioFileItem* raw = rows_[row].get();
        rowIndex_[raw] = static_cast<int>(row);
        if (const auto it = watched_.find(raw); it != watched_.end()) {
            kept.emplace(raw, it->second);
            watched_.erase(it);
        } else {
            kept.emplace(raw, connect(raw, &AudioFileItem::changed, this, [this, raw] {
                             if (const auto at = rowIndex_.find(raw); at != rowIndex_.end())
                                 emit dataChanged(index(at->second, 0), index(at->second, columnCount_ - 1));
                         }));
        }
    }
    for (const auto& [item, connection] : watched_)
        disconnect(connection);
    watched_ = std::move(kept);
}

int FileTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int FileTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : columnCount_; }

AudioFileItemPtr FileTableModel::file(int row) const {
    return row >= 0 && row < rowCount() ? rows_[static_cast<size_t>(row)] : nullptr;
}

int FileTableModel::rowOf(const QUuid& id) const {
    const auto it = std::find_if(rows_.begin(), rows_.end(), [&](const AudioFileItemPtr& f) { return f->id() == id; });
    return it == rows_.end() ? -1 : static_cast<int>(it - rows_.begin());
}

namespace {

// The optional columns: title, what the header's tooltip and menu call it,
// and the figure.
struct OptionalColumn {
    const char* key; // remembered by this name
    const char* title;
    const char* name;
    double (*figure)(const AnalysisResult&);
};

const OptionalColumn optionalColumns[] = {
    {"integrated", "Integrated (LUFS)", "Integrated loudness",
     [](const AnalysisResult& a) { return a.figures.integratedLUFS; }},
    {"loudnessRange", "LRA (LU)", "Loudness range", [](const AnalysisResult& a) { return a.figures.loudnessRangeLU; }},
    {"truePeak", "True peak (dBTP)", "True peak", [](const AnalysisResult& a) { return a.truePeakDBTP; }},
    {"maxMomentary", "Max M (LUFS)", "Largest momentary loudness (400 ms)",
     [](const AnalysisResult& a) { return a.figures.maxMomentaryLUFS; }},
    {"maxShortTerm", "Max S (LUFS)", "Largest short-term loudness (3 s)",
     [](const AnalysisResult& a) { return a.figures.maxShortTermLUFS; }},
};
static_assert(std::size(optionalColumns) == FileTableModel::columnCount_ - FileTableModel::firstOptionalColumn);

const OptionalColumn* optionalColumn(int section) {
    const int i = section - FileTableModel::firstOptionalColumn;
    return i >= 0 && i < static_cast<int>(std::size(optionalColumns)) ? &optionalColumns[i] : nullptr;
}

} // namespace

QString FileTableModel::columnName(int column) {
    const OptionalColumn* c = optionalColumn(column);
    return c ? QString::fromUtf8(c->name) : QString();
}

QString FileTableModel::columnKey(int column) {
    const OptionalColumn* c = optionalColumn(column);
    return c ? QString::fromLatin1(c->key) : QString();
}

QVariant FileTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal)
        return {};
    const OptionalColumn* optional = optionalColumn(section);
    if (role == Qt::ToolTipRole && optional)
        return QString::fromUtf8(optional->name);
    if (role != Qt::DisplayRole)
        return {};
    if (optional)
        return QString::fromUtf8(optional->title);
    switch (section) {
    case name: return QStringLiteral("File");
    case peak:
        return state_.normalizeBy() == NormalizeBy::integrated ? QStringLiteral("Integrated (LUFS)")
                                                               : QStringLiteral("Peak 20s (LUFS)");
    case correction: return QStringLiteral("Correction (dB)");
    case final: return QStringLiteral("Final (LUFS)");
    case headroom: return QStringLiteral("Headroom");
    case album: return QStringLiteral("Album (LUFS)");
    default: return {};
    }
}

QVariant FileTableModel::data(const QModelIndex& index, int role) const {
    const AudioFileItemPtr f = file(index.row());
    if (!f)
        return {};
    const auto& analysis = f->analysis();
    if (role == Qt::FontRole && index.column() != name && index.column() != album)
        return QFontDatabase::systemFont(QFontDatabase::FixedFont); // digits of equal width
    if (role == Qt::TextAlignmentRole && index.column() != name && index.column() != album)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    switch (index.column()) {
    case name:
        if (role == Qt::DisplayRole)
            return NativePath::shownName(f->path());
        // Where it is (two albums' "01.wav" look alike), and why it failed.
        if (role == Qt::ToolTipRole)
            return NativePath::shown(f->path()) +
                   (f->analysisError() ? QLatin1Char('\n') + f->analysisError()->message : QString()) +
                   (analysis && !analysis->loudnessTags.isEmpty()
                        ? QStringLiteral("\nLoudness tags: ") + analysis->loudnessTags
                        : QString());
        if (role == Qt::ForegroundRole && f->isManualOverride())
            return shown(manualColor);
        if (role == isAnalyzingRole)
            return f->isAnalyzing();
        if (role == hasEditsRole)
            return f->segmentEdits().hasEdits();
        if (role == hasSoftPassagesRole)
            return analysis && !analysis->softPassageRanges().empty();
        if (role == warningRole && analysis && analysis->warning())
            return *analysis->warning();
        break;
    case peak:
        if (role == Qt::DisplayRole) {
            if (analysis)
                return QString::asprintf("%.1f", *f->figureLUFS());
            if (f->isAnalyzing())
                return QStringLiteral("...");
            return f->analysisError() ? QStringLiteral("Failed") : QString();
        }
        if (role == Qt::ForegroundRole && !analysis) {
            if (f->isAnalyzing())
                return shown(QGuiApplication::palette().color(QPalette::PlaceholderText));
            if (f->analysisError())
                return shown(errorColor);
        }
        if (role == Qt::ToolTipRole && !analysis && f->analysisError())
            return f->analysisError()->message;
        break;
    case correction:
        // Painted by the correction delegate; the cell has no text of its own.
        if (role == Qt::EditRole)
            return f->correctionDB();
        break;
    case final:
        if (role == Qt::DisplayRole)
            return f->editedFinalLUFS() ? QString::asprintf("%.1f", *f->editedFinalLUFS()) : QString();
        if (role == Qt::ToolTipRole && f->segmentEdits().hasEdits())
            return QStringLiteral("With the segment gains, estimated from the loudness curve; the export measures "
                                  "what it writes and names the file after it");
        break;
    case album:
        if (!f->album())
            break;
        // "X – One  -12.3": the figure its correction aims at the target.
        if (role == Qt::DisplayRole)
            return QStringLiteral("%1  %2").arg(f->album()->name).arg(f->album()->figureLUFS, 0, 'f', 1);
        if (role == Qt::ToolTipRole)
            return QStringLiteral("%1 track(s) of \"%2\" share one correction, which puts the album's figure "
                                  "(%3 LUFS) on the target")
                .arg(f->album()->tracks)
                .arg(f->album()->name)
                .arg(f->album()->figureLUFS, 0, 'f', 1);
        break;
    case headroom: {
        const double ceiling = state_.ceilingDBTP();
        const std::optional<double> h = f->headroomDB(ceiling);
        if (!h)
            break;
        if (role == Qt::DisplayRole)
            return f->wouldClip(ceiling) ? QString::asprintf("CLIP +%.1f dB", -*h) : QString::asprintf("%.1f dB", *h);
        if (role == Qt::ToolTipRole)
            return QStringLiteral("From the corrected true peak to the %1 dBTP ceiling").arg(ceiling, 0, 'f', 1);
        if (role == Qt::ForegroundRole)
            return shown(f->wouldClip(ceiling) ? errorColor : (*h < 1.0 ? warningColor : goodColor));
        break;
    }
    default:
        if (const OptionalColumn* c = optionalColumn(index.column()); c && analysis && role == Qt::DisplayRole) {
            const double v = c->figure(*analysis);
            return std::isfinite(v) ? QString::asprintf("%.1f", v) : QStringLiteral("−∞");
        }
        break;
    }
    return {};
}

namespace {

// The readable shades of the few colours the cells use, found once per
// palette: a repaint asks for them cell by cell. Main thread only.
QColor cachedShade(const QColor& colour, bool onHighlight) {
    static QHash<std::pair<QRgb, bool>, QColor> shades;
    static qint64 paletteKey = 0;
    const QPalette palette = QGuiApplication::palette();
    if (palette.cacheKey() != paletteKey) {
        shades.clear();
        paletteKey = palette.cacheKey();
    }
    const std::pair key{colour.rgba(), onHighlight};
    if (const auto found = shades.constFind(key); found != shades.cend())
        return *found;
    const QColor highlight = palette.color(QPalette::Highlight);
    // On the selection, as readable as the theme's own selected text, up to the usual measure.
    const QColor shade =
        onHighlight
            ? PaintKit::readableOn(colour, {highlight},
                                   std::min(PaintKit::readableContrast,
                                            PaintKit::contrast(palette.color(QPalette::HighlightedText), highlight)))
            : PaintKit::readableOn(colour, {palette.color(QPalette::Base), palette.color(QPalette::AlternateBase)});
    return shades[key] = shade;
}

} // namespace

QColor FileTableModel::onHighlight(const QColor& colour) { return cachedShade(colour, true); }

QColor FileTableModel::shown(const QColor& meaning) { return cachedShade(meaning, false); }
