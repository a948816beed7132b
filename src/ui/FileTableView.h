#pragma once

// The table of files: name with state markers, Peak 20s, the correction
// control, final loudness and headroom, and the optional figures chosen in
// the header's menu. One file is selected at a time, in
// step with BatchSession's selection; the context menu of a manual row resets it
// to the automatic correction; an empty table invites a drop.

#include "session/BatchSession.h"
#include "ui/Selection.h"

#include <QTableView>
#include <functional>

class FileTableModel;
class QMenu;

class FileTableView : public QTableView {
    Q_OBJECT

public:
    explicit FileTableView(BatchSession& state, QWidget* parent = nullptr);

    // Called after every correction change made in the table.
    void setOnCorrectionChanged(std::function<void()> callback) { onCorrectionChanged_ = std::move(callback); }
    // The menu for a right-click on `row`, or null when there is none.
    QMenu* contextMenuFor(int row);
    // The header's menu: the optional figures to show, each checked when
    // shown; the choice is remembered.
    QMenu* columnsMenu();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void selectFromState();

    BatchSession& state_;
    Selection& selection_ = Selection::of(state_);
    FileTableModel* model_;
    std::function<void()> onCorrectionChanged_;
    class QTimer* spinner_;
    bool syncing_ = false;
};
