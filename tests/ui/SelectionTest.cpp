#include "ui/Selection.h"
#include "../session/ListFixtures.h"

TEST(SelectionTest, FollowsTheListAndRemovalSelectsTheNeighbourAndUndoRedoRestoreIt) {
    QTemporaryDir dir;
    QStringList paths;
    for (const char* name : {"a.wav", "b.wav", "c.wav"})
        paths << writeTone(dir, name, 1.0);
    BatchSession state(BatchSession::AnalysisOptions{analyzeFile, 2});
    Selection& selection = Selection::of(state);
    EXPECT_EQ(&Selection::of(state), &selection) << "one per batch";
    const auto selected = [&] { return selection.file() ? QFileInfo(selection.file()->path()).fileName() : QString(); };
    // The first of a drop when nothing is selected; a later drop leaves it.
    state.addFiles(urlsOf({paths[0]}));
    state.addFiles(urlsOf({paths[1], paths[2]}));
    EXPECT_EQ(selected(), "a.wav");
    ASSERT_TRUE(waitForAnalyses(state));

    // Remove the middle item: the next one moves into its place.
    selection.select(state.files()[1]->id());
    const AudioFileItemPtr b = state.files()[1];
    std::optional<Selection::Removal> removedB = selection.removeSelected();
    ASSERT_TRUE(removedB);
    EXPECT_EQ(removedB->removed.index, 1);
    EXPECT_EQ(names(state), (QStringList{"a.wav", "c.wav"}));
    EXPECT_EQ(selected(), "c.wav");
    // Remove the last item: the new last one is selected.
    const std::optional<Selection::Removal> removedC = selection.removeSelected();
    EXPECT_EQ(selected(), "a.wav");

    // Undo B while the list is shorter: it goes to the end, same object.
    selection.restore(*removedB);
    EXPECT_EQ(names(state), (QStringList{"a.wav", "b.wav"}));
    EXPECT_EQ(state.files()[1], b);
    EXPECT_EQ(selected(), "b.wav");
    EXPECT_TRUE(b->analysis()) << "restored with its analysis, not analysed again";
    selection.restore(*removedC); // back at its old index 1, before B
    EXPECT_EQ(names(state), (QStringList{"a.wav", "c.wav", "b.wav"}));
    selection.restore(*removedC); // already there: only selects it
    EXPECT_EQ(state.files().size(), 3u);
    EXPECT_EQ(selected(), "c.wav");

    // Redo B's removal: it goes again, and the selection its removal left returns.
    selection.select(state.files()[0]->id());
    selection.redo(*removedB);
    EXPECT_EQ(removedB->removed.index, 2);
    EXPECT_EQ(names(state), (QStringList{"a.wav", "c.wav"}));
    EXPECT_EQ(selected(), "c.wav");
    selection.redo(*removedB); // nothing left to remove
    EXPECT_EQ(state.files().size(), 2u);
    selection.restore(*removedB);

    // A list loaded whole selects its first file; removing the only one clears it.
    state.loadFiles({b});
    EXPECT_EQ(selected(), "b.wav");
    ASSERT_TRUE(selection.removeSelected());
    EXPECT_FALSE(selection.fileID());
    EXPECT_FALSE(selection.removeSelected());
}
