#include "ui/FileTableView.h"
#include "../session/ListFixtures.h"
#include "UiFixtures.h"
#include "ui/CorrectionDelegate.h"
#include "ui/FileTableModel.h"
#include "ui/Selection.h"

#include <QAction>
#include <QHeaderView>

namespace {

// A state whose analyses never finish on their own, so rows keep the states set here.
struct Table {
    BatchSession state{BatchSession::AnalysisOptions{
        [](const QString&, ChannelMix, std::stop_token) { return FileAnalysis::failure(Error::Kind::decode, "no"); },
        1}};
    FileTableView view{state};
    FileTableModel& model() { return *qobject_cast<FileTableModel*>(view.model()); }
    QString text(int row, int column) { return model().data(model().index(row, column)).toString(); }
    // The figures of a row, after its name: peak, final, headroom.
    QStringList figures(int row) {
        return {text(row, FileTableModel::peak), text(row, FileTableModel::final), text(row, FileTableModel::headroom)};
    }
    QColor colour(int row, int column) {
        return model().data(model().index(row, column), Qt::ForegroundRole).value<QColor>();
    }
};

} // namespace

TEST(FileTableViewTest, CellsShowTheFiguresInTheirColours) {
    Table t;
    const auto slight = measuredItem("/m/slight.wav", -17.0, -2.0, 1.05); // headroom -0.05
    const auto clipping = measuredItem("/m/clip.wav", -17.0, -2.0, 1.2);  // -0.2
    const auto exact = measuredItem("/m/exact.wav", -17.0, -3.0, 1.0);    // 1.0
    const auto pending = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/m/pending.wav"));
    const auto broken = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/m/broken.m4a"));
    t.state.loadFiles({slight, clipping, exact, pending, broken});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !broken->isAnalyzing(); }));
    pending->setAnalysisError(std::nullopt);
    pending->setIsAnalyzing(true);
    broken->setAnalysisError(Error{Error::Kind::empty, "Audio file contains no samples", {}, std::nullopt});

    EXPECT_EQ(t.text(0, FileTableModel::name), "slight.wav");
    EXPECT_EQ(t.figures(0), (QStringList{"-17.0", "-15.9", QString::asprintf("%.1f dB", -0.05)})); // -17 + 1.05
    EXPECT_EQ(t.figures(1).last(), "CLIP +0.2 dB");
    EXPECT_EQ(t.figures(2).last(), "1.0 dB");
    EXPECT_EQ(t.figures(3), (QStringList{"...", "", ""}));
    EXPECT_TRUE(t.model().data(t.model().index(3, 0), FileTableModel::isAnalyzingRole).toBool());
    EXPECT_EQ(t.figures(4).first(), "Failed");
    using M = FileTableModel;
    EXPECT_EQ((QList<QColor>{t.colour(0, M::headroom), t.colour(1, M::headroom), t.colour(2, M::headroom),
                             t.colour(4, M::peak)}),
              (QList<QColor>{M::shown(M::warningColor), M::shown(M::errorColor), M::shown(M::goodColor),
                             M::shown(M::errorColor)}));

    // Markers and the manual colour follow the file.
    EXPECT_FALSE(t.model().data(t.model().index(0, 0), FileTableModel::hasEditsRole).toBool());
    slight->segmentEdits().setSegmentGain(0, -1.0);
    EXPECT_TRUE(t.model().data(t.model().index(0, 0), FileTableModel::hasEditsRole).toBool());
    EXPECT_FALSE(t.model().data(t.model().index(0, 0), Qt::ForegroundRole).isValid());
    slight->setIsManualOverride(true);
    EXPECT_EQ(t.colour(0, FileTableModel::name), FileTableModel::shown(FileTableModel::manualColor));
}

TEST(FileTableViewTest, CorrectionDragStepperAndResetMenu) {
    EXPECT_DOUBLE_EQ(CorrectionDelegate::afterDrag(0.0, 400.0), -30.0);
    EXPECT_DOUBLE_EQ(CorrectionDelegate::afterDrag(0.0, 0.5), -0.1) << "-0.05 rounds away from zero";

    Table t;
    const auto file = measuredItem("/m/a.wav", -20.0, -6.0, 1.0);
    const auto failed = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/m/failed.wav"));
    t.state.loadFiles({file, failed});
    int changes = 0;
    t.view.setOnCorrectionChanged([&] { ++changes; });
    t.view.resize(1100, 200);
    t.view.show();
    EXPECT_EQ(t.view.contextMenuFor(0), nullptr) << "automatic: no menu";

    QWidget* viewport = t.view.viewport();
    const auto parts = [&](int row) {
        return CorrectionDelegate::partsOf(t.view.visualRect(t.model().index(row, FileTableModel::correction)));
    };
    const QPoint value = parts(0).value.center();
    QMouseEvent hover(QEvent::MouseMove, value, viewport->mapToGlobal(value), Qt::NoButton, {}, {});
    QApplication::sendEvent(viewport, &hover);
    EXPECT_EQ(viewport->cursor().shape(), Qt::SizeVerCursor);
    QTest::mousePress(viewport, Qt::LeftButton, {}, value);
    QTest::mouseMove(viewport, value - QPoint(0, 1)); // under the 2-point threshold
    EXPECT_EQ(file->correctionDB(), 1.0);
    QTest::mouseMove(viewport, value - QPoint(0, 25)); // 25 points up, out of the cell
    EXPECT_DOUBLE_EQ(file->correctionDB(), 3.5);
    EXPECT_TRUE(file->isManualOverride());
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, value - QPoint(0, 25));
    QTest::mouseMove(viewport, value - QPoint(0, 40));
    EXPECT_DOUBLE_EQ(file->correctionDB(), 3.5) << "the drag ended with the release";
    EXPECT_GE(changes, 1);

    file->setCorrectionDB(29.8);
    QTest::mouseClick(viewport, Qt::LeftButton, {}, parts(0).up.center());
    EXPECT_DOUBLE_EQ(file->correctionDB(), 30.0) << "the stepper stops at +30";
    QTest::mouseClick(viewport, Qt::LeftButton, {}, parts(0).down.center());
    EXPECT_DOUBLE_EQ(file->correctionDB(), 29.5);
    QTest::mouseClick(viewport, Qt::LeftButton, {}, parts(1).up.center());
    EXPECT_DOUBLE_EQ(failed->correctionDB(), 0.5) << "a file that failed stays editable";
    // Held down, the arrow repeats.
    QTest::mousePress(viewport, Qt::LeftButton, {}, parts(1).down.center());
    QTest::qWait(500);
    QTest::mouseRelease(viewport, Qt::LeftButton, {}, parts(1).down.center());
    EXPECT_LE(failed->correctionDB(), -1.0);

    QMenu* menu = t.view.contextMenuFor(0);
    ASSERT_TRUE(menu && menu->actions().size() == 1);
    menu->actions()[0]->trigger();
    EXPECT_FALSE(file->isManualOverride());
    EXPECT_DOUBLE_EQ(file->correctionDB(), 4.0); // -16 - (-20)
    EXPECT_FALSE(t.model().data(t.model().index(0, 0), Qt::ForegroundRole).isValid());
    EXPECT_EQ(t.view.contextMenuFor(-1), nullptr) << "empty space: no menu";
}

TEST(FileTableViewTest, SelectionFollowsTheStateBothWaysAndTheDropHintGoes) {
    Table t;
    t.view.resize(1100, 300);
    const QImage empty = t.view.viewport()->grab().toImage();
    const QPoint centre = t.view.viewport()->rect().center();
    int hint = 0;
    for (int y = centre.y() - 30; y < centre.y() + 30; ++y)
        for (int x = centre.x() - 80; x < centre.x() + 80; ++x)
            hint += empty.pixelColor(x, y) != empty.pixelColor(5, 5) ? 1 : 0;
    EXPECT_GT(hint, 50) << "the drop hint is drawn in the middle";

    const auto a = measuredItem("/m/a.wav", -20, -6, 0), b = measuredItem("/m/b.wav", -20, -6, 0);
    t.state.loadFiles({a, b});
    EXPECT_EQ(t.view.currentIndex().row(), 0);
    const QImage filled = t.view.viewport()->grab().toImage();
    EXPECT_EQ(filled.pixelColor(centre), filled.pixelColor(centre.x(), centre.y() + 60)) << "no hint any more";

    Selection::of(t.state).select(b->id());
    EXPECT_EQ(t.view.currentIndex().row(), 1);
    t.view.selectRow(0);
    EXPECT_EQ(Selection::of(t.state).fileID(), a->id());
}

TEST(FileTableViewTest, NarrowTableKeepsEveryFigureAndSelectionKeepsColours) {
    Table t;
    const auto clipping = measuredItem("/m/a rather long name of a song that must give way.wav", -17.0, -2.0, 3.0);
    clipping->setIsManualOverride(true);
    const auto broken = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/m/broken.m4a"));
    t.state.loadFiles({clipping, broken});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !broken->isAnalyzing(); }));
    broken->setAnalysisError(Error{Error::Kind::decode, "Cannot decode broken.m4a", {}, std::nullopt});
    EXPECT_EQ(t.model().data(t.model().index(1, FileTableModel::name), Qt::ToolTipRole).toString(),
              "/m/broken.m4a\nCannot decode broken.m4a");

    // At the window's narrowest the figures keep their width and all fit.
    t.view.resize(880, 200);
    t.view.show();
    const QHeaderView* header = t.view.horizontalHeader();
    EXPECT_LE(t.view.minimumWidth(), 880);
    EXPECT_LE(header->sectionViewportPosition(FileTableModel::headroom) + header->sectionSize(FileTableModel::headroom),
              t.view.viewport()->width());
    EXPECT_GE(header->sectionSize(FileTableModel::headroom), 100);

    // Selected, the CLIP figure and the manual name stay reddish and brownish
    // orange (dark enough to read on the highlight), not white.
    Selection::of(t.state).select(clipping->id());
    const QImage image = t.view.viewport()->grab().toImage();
    const auto tinted = [&](int column, auto isTint) {
        const QRect cell = t.view.visualRect(t.model().index(0, column));
        int count = 0;
        for (int x = cell.left(); x < cell.right(); ++x)
            for (int y = cell.top(); y < cell.bottom(); ++y)
                count += isTint(QColor(image.pixel(x, y))) ? 1 : 0;
        return count;
    };
    EXPECT_GT(
        tinted(FileTableModel::headroom, [](QColor c) { return c.red() > c.green() + 40 && c.red() > c.blue() + 40; }),
        10);
    EXPECT_GT(
        tinted(FileTableModel::name, [](QColor c) { return c.red() > c.green() + 12 && c.green() > c.blue() + 12; }),
        10);
}

// Adding, removing and restoring a file touch only their rows, and a change
// of one file repaints its row only.
TEST(FileTableViewTest, ListChangesAreAnnouncedRowByRow) {
    QTemporaryDir dir;
    Table t;
    QStringList events;
    FileTableModel& m = t.model();
    QObject::connect(&m, &QAbstractItemModel::modelReset, [&] { events << "reset"; });
    QObject::connect(&m, &QAbstractItemModel::rowsInserted,
                     [&](const QModelIndex&, int a, int b) { events << QString("insert %1-%2").arg(a).arg(b); });
    QObject::connect(&m, &QAbstractItemModel::rowsRemoved,
                     [&](const QModelIndex&, int a, int b) { events << QString("remove %1-%2").arg(a).arg(b); });
    QObject::connect(&m, &QAbstractItemModel::dataChanged, [&](const QModelIndex& a, const QModelIndex& b) {
        events << QString("row %1-%2").arg(a.row()).arg(b.row());
    });
    const auto touch = [&](const QString& name) {
        return QUrl::fromLocalFile(fixtures::writeFile(dir.filePath(name), {}));
    };
    t.state.addFiles({touch("a.wav"), touch("b.wav")});
    t.state.addFiles({touch("c.wav")});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !t.state.isAnalyzing(); }));
    EXPECT_EQ(events.filter("insert") + events.filter("reset"), (QStringList{"insert 0-1", "insert 2-2"}));

    events.clear();
    const auto removed = t.state.removeFile(t.state.files()[1]->id());
    ASSERT_TRUE(removed);
    t.state.files()[0]->setCorrectionDB(3.0);
    t.state.restoreRemovedFile(*removed);
    EXPECT_EQ(events, (QStringList{"remove 1-1", "row 0-0", "insert 1-1"}));
    EXPECT_EQ(m.file(1), removed->file);
    EXPECT_EQ(m.rowOf(removed->file->id()), 1);

    events.clear();
    t.state.loadFiles({});
    EXPECT_EQ(events, QStringList{"reset"});
    EXPECT_EQ(m.rowCount(), 0);
}
