#pragma once

// The window's undo history for the working list and the segment edits:
// removing a file ("Remove "a.wav""), and the segment edit actions of the
// waveform's overlay and reset button, where a whole drag becomes one
// "Adjust Segment" step and a change refused makes none.
// Undoing an edit selects the file it changes, so the user sees it.

#include "editing/SegmentEditAction.h"
#include "playback/AudioPlaybackEngine.h"
#include "session/BatchSession.h"

#include <QString>
#include <QTimer>
#include <QUndoStack>
#include <functional>
#include <optional>

class Selection;

class EditHistory {
public:
    // `undo` may be null: edits and removals then happen without undo steps.
    EditHistory(BatchSession& state, AudioPlaybackEngine& engine, QUndoStack* undo);

    // Removes the selected file with an undo step; false when nothing was selected.
    bool removeSelected();
    // Runs `replace`, which replaces the list (a settings file loaded), as
    // one step whose undo brings back the list, its aim, channel mix and
    // selection as they were. No step when it returns false (it failed and
    // changed nothing).
    bool replaceList(const QString& name, const std::function<bool()>& replace);

    void handleSegmentEditAction(const SegmentEditAction& action, const AudioFileItemPtr& file);
    void performSegmentEdit(const QString& name, const AudioFileItemPtr& file,
                            const std::function<void(SegmentEditState&)>& block);
    void registerSegmentEditUndo(const QString& name, const AudioFileItemPtr& file, const SegmentEditSnapshot& restore,
                                 const SegmentEditSnapshot& redo);
    bool isDragging() const { return drag_.has_value(); }

private:
    // Brings a running playback of the file in step with its edits, once
    // the events waiting now are handled: a drag sends many changes between
    // two frames, and the envelope is rebuilt once for all of them.
    void refreshPlayback(const AudioFileItemPtr& file);
    void applyPendingRefresh();

    BatchSession& state_;
    Selection& selection_;
    AudioPlaybackEngine& engine_;
    QUndoStack* undo_;
    // The file a drag began on, and its edits then: the drag's undo step
    // belongs to it even if the selection changes before the drag ends.
    struct Drag {
        AudioFileItemPtr file;
        SegmentEditSnapshot before;
    };
    std::optional<Drag> drag_;
    AudioFileItemPtr refreshing_;
    QTimer refreshTimer_;
};
