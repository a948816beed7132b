#include "ui/Selection.h"

#include <algorithm>

Selection& Selection::of(BatchSession& state) {
    if (auto* existing = state.findChild<Selection*>(QString(), Qt::FindDirectChildrenOnly))
        return *existing;
    return *new Selection(state);
}

Selection::Selection(BatchSession& state) : QObject(&state), state_(state) {
    if (!state.files().empty())
        id_ = state.files().front()->id();
    connect(&state, &BatchSession::filesAdded, this, [this](const QUuid& first) {
        if (!id_)
            select(first);
    });
    connect(&state, &BatchSession::listReplaced, this,
            [this] { select(state_.files().empty() ? std::nullopt : std::optional(state_.files().front()->id())); });
}

void Selection::select(std::optional<QUuid> id) {
    if (id == id_)
        return;
    id_ = id;
    emit changed();
}

std::optional<Selection::Removal> Selection::removeSelected() {
    std::optional<RemovedFile> removed = id_ ? state_.removeFile(*id_) : std::nullopt;
    if (!removed)
        return std::nullopt;
    const std::vector<AudioFileItemPtr>& files = state_.files();
    const auto at = std::min(static_cast<size_t>(removed->index), files.size() - 1);
    select(files.empty() ? std::nullopt : std::optional(files[at]->id()));
    return Removal{std::move(*removed), id_};
}

void Selection::restore(const Removal& removal) {
    if (!removal.removed.file)
        return;
    state_.restoreRemovedFile(removal.removed);
    select(removal.removed.file->id());
}

void Selection::redo(Removal& removal) {
    if (std::optional<RemovedFile> again =
            removal.removed.file ? state_.removeFile(removal.removed.file->id()) : std::nullopt) {
        removal.removed = std::move(*again);
        select(removal.selectedAfter);
    }
}
