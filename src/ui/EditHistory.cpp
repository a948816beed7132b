#include "ui/EditHistory.h"

#include "io/NativePath.h"
#include "ui/Selection.h"

namespace {

// The change is made before the step is pushed; the stack's first redo()
// (made by push) therefore does nothing.
class AppliedCommand : public QUndoCommand {
public:
    using QUndoCommand::QUndoCommand;

protected:
    bool firstRedo() { return std::exchange(first_, false); }

private:
    bool first_ = true;
};

class RemoveFileCommand : public AppliedCommand {
public:
    RemoveFileCommand(Selection& selection, Selection::Removal removal)
        : selection_(selection), removal_(std::move(removal)) {
        setText(QStringLiteral("Remove \"%1\"").arg(NativePath::shownName(removal_.removed.file->path())));
    }
    void undo() override { selection_.restore(removal_); }
    void redo() override {
        if (!firstRedo())
            selection_.redo(removal_);
    }

private:
    Selection& selection_;
    Selection::Removal removal_;
};

// Everything a loaded settings file replaces: the list (its items, with
// their analyses and edits), its aim and channel mix, and the selection.
struct ListState {
    std::vector<AudioFileItemPtr> files;
    Aim aim;
    ChannelMix mix = ChannelMix::sum;
    std::optional<QUuid> selected;

    static ListState of(BatchSession& state) {
        return {state.files(), state.currentAim(), state.channelMix(), Selection::of(state).fileID()};
    }
    // The list first, so that the aim reaches only its own files.
    void apply(BatchSession& state) const {
        state.loadFiles(files, mix);
        state.setAim(aim);
        Selection::of(state).select(selected);
    }
};

class ReplaceListCommand : public AppliedCommand {
public:
    ReplaceListCommand(const QString& name, BatchSession& state, ListState before, ListState after)
        : state_(state), before_(std::move(before)), after_(std::move(after)) {
        setText(name);
    }
    void undo() override { before_.apply(state_); }
    void redo() override {
        if (!firstRedo())
            after_.apply(state_);
    }

private:
    BatchSession& state_;
    ListState before_;
    ListState after_;
};

class SegmentEditCommand : public AppliedCommand {
public:
    SegmentEditCommand(const QString& name, Selection& selection, AudioFileItemPtr file, SegmentEditSnapshot restore,
                       SegmentEditSnapshot redo, std::function<void(const AudioFileItemPtr&)> applied)
        : selection_(selection), file_(std::move(file)), restore_(std::move(restore)), redo_(std::move(redo)),
          applied_(std::move(applied)) {
        setText(name);
    }
    void undo() override { apply(restore_); }
    void redo() override {
        if (!firstRedo())
            apply(redo_);
    }

private:
    void apply(const SegmentEditSnapshot& snapshot) {
        selection_.select(file_->id()); // show the waveform being changed
        file_->segmentEdits().restore(snapshot);
        applied_(file_);
    }

    Selection& selection_;
    AudioFileItemPtr file_; // kept alive as long as the step
    SegmentEditSnapshot restore_;
    SegmentEditSnapshot redo_;
    std::function<void(const AudioFileItemPtr&)> applied_;
};

} // namespace

EditHistory::EditHistory(BatchSession& state, AudioPlaybackEngine& engine, QUndoStack* undo)
    : state_(state), selection_(Selection::of(state)), engine_(engine), undo_(undo) {
    refreshTimer_.setSingleShot(true);
    refreshTimer_.setInterval(0);
    QObject::connect(&refreshTimer_, &QTimer::timeout, [this] { applyPendingRefresh(); });
}

void EditHistory::applyPendingRefresh() {
    const AudioFileItemPtr file = std::exchange(refreshing_, nullptr);
    if (file && engine_.isPlaying() && engine_.currentFilePath() == file->path())
        engine_.updateGainEnvelope(file->segmentEdits(), file->correctionDB());
}

bool EditHistory::removeSelected() {
    std::optional<Selection::Removal> removed = selection_.removeSelected();
    if (removed && undo_)
        undo_->push(new RemoveFileCommand(selection_, std::move(*removed)));
    return removed.has_value();
}

bool EditHistory::replaceList(const QString& name, const std::function<bool()>& replace) {
    ListState before = ListState::of(state_);
    if (!replace())
        return false;
    if (undo_)
        undo_->push(new ReplaceListCommand(name, state_, std::move(before), ListState::of(state_)));
    return true;
}

void EditHistory::registerSegmentEditUndo(const QString& name, const AudioFileItemPtr& file,
                                          const SegmentEditSnapshot& restore, const SegmentEditSnapshot& redo) {
    if (undo_)
        undo_->push(new SegmentEditCommand(name, selection_, file, restore, redo,
                                           [this](const AudioFileItemPtr& f) { refreshPlayback(f); }));
}

void EditHistory::performSegmentEdit(const QString& name, const AudioFileItemPtr& file,
                                     const std::function<void(SegmentEditState&)>& block) {
    const SegmentEditSnapshot before = file->segmentEdits().snapshot();
    block(file->segmentEdits());
    // A change refused (a separator too close to another) leaves no step.
    if (file->segmentEdits().snapshot() != before)
        registerSegmentEditUndo(name, file, before, file->segmentEdits().snapshot());
}

void EditHistory::refreshPlayback(const AudioFileItemPtr& file) {
    if (refreshing_ && refreshing_ != file)
        applyPendingRefresh(); // the other file's change goes first
    refreshing_ = file;
    refreshTimer_.start();
}

void EditHistory::handleSegmentEditAction(const SegmentEditAction& action, const AudioFileItemPtr& file) {
    if (!file)
        return;
    namespace A = SegmentEditActions;
    SegmentEditState& edits = file->segmentEdits();
    std::visit(
        [&](const auto& a) {
            using T = std::decay_t<decltype(a)>;
            if constexpr (std::is_same_v<T, A::AddSeparator>) {
                performSegmentEdit(QStringLiteral("Add Separator"), file,
                                   [&](SegmentEditState& s) { s.addSeparator(a.time); });
            } else if constexpr (std::is_same_v<T, A::RemoveSeparator>) {
                performSegmentEdit(QStringLiteral("Remove Separator"), file,
                                   [&](SegmentEditState& s) { s.removeSeparator(a.id); });
                refreshPlayback(file);
            } else if constexpr (std::is_same_v<T, A::MoveSeparator>) {
                edits.moveSeparator(a.id, a.time, file->analysis() ? file->analysis()->duration : 0.0);
                refreshPlayback(file);
            } else if constexpr (std::is_same_v<T, A::SetSegmentGain>) {
                edits.setSegmentGain(a.index, a.gainOffsetDB);
                refreshPlayback(file);
            } else if constexpr (std::is_same_v<T, A::ResetSegmentGain>) {
                performSegmentEdit(QStringLiteral("Reset Segment Gain"), file,
                                   [&](SegmentEditState& s) { s.setSegmentGain(a.index, 0.0); });
                refreshPlayback(file);
            } else if constexpr (std::is_same_v<T, A::ResetAll>) {
                performSegmentEdit(QStringLiteral("Reset All Segment Edits"), file,
                                   [](SegmentEditState& s) { s.resetAll(); });
                refreshPlayback(file);
            } else if constexpr (std::is_same_v<T, A::SetFadeDuration>) {
                edits.setFadeDuration(a.separatorID, a.durationMs);
                refreshPlayback(file);
            } else if constexpr (std::is_same_v<T, A::DragBegan>) {
                drag_ = Drag{file, edits.snapshot()};
            } else if constexpr (std::is_same_v<T, A::DragEnded>) {
                if (drag_) {
                    const Drag drag = std::move(*drag_);
                    drag_.reset();
                    registerSegmentEditUndo(QStringLiteral("Adjust Segment"), drag.file, drag.before,
                                            drag.file->segmentEdits().snapshot());
                }
            }
        },
        action);
}
