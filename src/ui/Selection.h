#pragma once

// Which listed file the window shows and plays. One per batch, attached to
// it (Selection::of). It follows the list: the first of a drop when nothing
// is selected, the first of a list loaded whole, and after a removal the file
// that took the removed one's place (or the new last one).

#include "session/BatchSession.h"

#include <QObject>
#include <QUuid>
#include <optional>

class Selection : public QObject {
    Q_OBJECT

public:
    // The batch's selection, made on first use (selecting the first file of
    // a list that is not empty).
    static Selection& of(BatchSession& state);

    const std::optional<QUuid>& fileID() const { return id_; }
    AudioFileItemPtr file() const { return id_ ? state_.findFile(*id_) : nullptr; }
    void select(std::optional<QUuid> id);

    // The undo record of removing the selected file, and what was selected after.
    struct Removal {
        RemovedFile removed;
        std::optional<QUuid> selectedAfter;
    };
    // Removes the selected file and selects its neighbour; none when nothing is selected.
    std::optional<Removal> removeSelected();
    // Undo: the file comes back and is selected.
    void restore(const Removal& removal);
    // Redo: it goes again, and what was selected after the removal is again.
    void redo(Removal& removal);

signals:
    void changed();

private:
    explicit Selection(BatchSession& state);
    BatchSession& state_;
    std::optional<QUuid> id_;
};
