#include "ui/FileTableModel.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QPalette>

FileTableModel::FileTableModel(AppState& state, QObject* parent) : QAbstractTableModel(parent), state_(state) {
    connect(&state_, &AppState::filesChanged, this, [this] {
        beginResetModel();
        endResetModel();
        watchFiles();
    });
    watchFiles();
}

void FileTableModel::watchFiles() {
    for (const auto& c : fileConnections_)
        disconnect(c);
    fileConnections_.clear();
    for (const AudioFileItemPtr& item : state_.files()) {
        AudioFileItem* raw = item.get();
        fileConnections_.push_back(connect(raw, &AudioFileItem::changed, this, [this, raw] {
            const int row = rowOf(raw->id());
            if (row >= 0)
                emit dataChanged(index(row, 0), index(row, columnCount_ - 1));
        }));
    }
}

int FileTableModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(state_.files().size());
}

int FileTableModel::columnCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : columnCount_; }

AudioFileItemPtr FileTableModel::file(int row) const {
    return row >= 0 && row < rowCount() ? state_.files()[static_cast<size_t>(row)] : nullptr;
}

int FileTableModel::rowOf(const QUuid& id) const {
    for (int row = 0; row < rowCount(); ++row) {
        if (state_.files()[static_cast<size_t>(row)]->id() == id)
            return row;
    }
    return -1;
}

QVariant FileTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case name: return QStringLiteral("File");
    case peak: return QStringLiteral("Peak 20s (LUFS)");
    case correction: return QStringLiteral("Correction (dB)");
    case final: return QStringLiteral("Final (LUFS)");
    case headroom: return QStringLiteral("Headroom");
    default: return {};
    }
}

QVariant FileTableModel::data(const QModelIndex& index, int role) const {
    const AudioFileItemPtr f = file(index.row());
    if (!f)
        return {};
    const auto& analysis = f->analysis();
    const QColor secondary = QGuiApplication::palette().color(QPalette::PlaceholderText);
    if (role == Qt::FontRole && index.column() != name)
        return QFontDatabase::systemFont(QFontDatabase::FixedFont); // digits of equal width
    if (role == Qt::TextAlignmentRole && index.column() != name)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    switch (index.column()) {
    case name:
        if (role == Qt::DisplayRole)
            return QFileInfo(f->path()).fileName();
        if (role == Qt::ToolTipRole && f->analysisError())
            return *f->analysisError();
        if (role == Qt::ForegroundRole && f->isManualOverride())
            return manualColor;
        if (role == isAnalyzingRole)
            return f->isAnalyzing();
        if (role == hasEditsRole)
            return f->segmentEdits().hasEdits();
        if (role == hasSoftPassagesRole)
            return analysis && !analysis->softPassageRanges().empty();
        break;
    case peak:
        if (role == Qt::DisplayRole) {
            if (analysis)
                return QString::asprintf("%.1f", analysis->peakLUFS);
            if (f->isAnalyzing())
                return QStringLiteral("...");
            return f->analysisError() ? QStringLiteral("ERR") : QString();
        }
        if (role == Qt::ForegroundRole && !analysis) {
            if (f->isAnalyzing())
                return secondary;
            if (f->analysisError())
                return errorColor;
        }
        if (role == Qt::ToolTipRole && !analysis && f->analysisError())
            return *f->analysisError();
        break;
    case correction:
        // Shown by the row's CorrectionControl; the cell itself stays empty.
        if (role == Qt::EditRole)
            return f->correctionDB();
        break;
    case final:
        if (role == Qt::DisplayRole)
            return f->finalLUFS() ? QString::asprintf("%.1f", *f->finalLUFS()) : QString();
        break;
    case headroom: {
        const std::optional<double> h = f->headroomDB();
        if (!h)
            break;
        if (role == Qt::DisplayRole)
            return f->wouldClip() ? QString::asprintf("CLIP +%.1f dB", -*h) : QString::asprintf("%.1f dB", *h);
        if (role == Qt::ForegroundRole)
            return f->wouldClip() ? errorColor : (*h < 1.0 ? warningColor : goodColor);
        break;
    }
    default:
        break;
    }
    return {};
}

QColor FileTableModel::onHighlight(const QColor& colour) {
    const QColor white(Qt::white);
    const auto mix = [](int a, int b) { return (a * 2 + b * 3) / 5; };
    return QColor(mix(colour.red(), white.red()), mix(colour.green(), white.green()), mix(colour.blue(), white.blue()));
}
