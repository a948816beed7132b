#pragma once

// The working list as table rows: one row per file of BatchSession, five
// columns (name, Peak 20s, correction, final loudness, headroom), the
// album and its figure (shown in album mode), and five
// more that the view shows on request (integrated loudness, loudness range,
// true peak, largest momentary and short-term loudness), following the list
// row by row and each file's changes in its own row.

#include "session/BatchSession.h"

#include <QAbstractTableModel>
#include <QColor>
#include <unordered_map>
#include <vector>

class FileTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column {
        name,
        peak,
        correction,
        final,
        headroom,
        album,
        integrated,
        loudnessRange,
        truePeak,
        maxMomentary,
        maxShortTerm,
        columnCount_
    };
    static constexpr int firstOptionalColumn = integrated;
    enum Role { isAnalyzingRole = Qt::UserRole + 1, hasEditsRole, hasSoftPassagesRole, warningRole };

    static inline const QColor manualColor = QColor(255, 165, 0);
    static inline const QColor errorColor = QColor(255, 59, 48);
    static inline const QColor warningColor = QColor(255, 214, 10);
    static inline const QColor goodColor = QColor(52, 199, 89);
    // A colour that means something, in its shade that reads on the rows, and
    // on the selection's highlight.
    static QColor shown(const QColor& meaning);
    static QColor onHighlight(const QColor& colour);

    explicit FileTableModel(BatchSession& state, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;

    // What the header's menu calls an optional column, and the key its
    // choice is remembered by; empty for the other columns.
    static QString columnName(int column);
    static QString columnKey(int column);

    AudioFileItemPtr file(int row) const;
    int rowOf(const QUuid& id) const;
    BatchSession& state() const { return state_; }

private:
    void followList();
    void reindex();

    BatchSession& state_;
    std::vector<AudioFileItemPtr> rows_; // as last announced to the views
    std::unordered_map<const AudioFileItem*, int> rowIndex_;
    std::unordered_map<const AudioFileItem*, QMetaObject::Connection> watched_;
};
