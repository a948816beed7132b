#include "UiFixtures.h"
#include "playback/SilentOutput.h"
#include "session/BatchSession.h"
#include "ui/EditHistory.h"
#include "ui/MagnifierOverlay.h"
#include "ui/SegmentEditPainter.h"
#include "ui/WaveformPainter.h"
#include "ui/WaveformView.h"

#include <QContextMenuEvent>
#include <QUndoStack>

namespace A = SegmentEditActions;

namespace {

// The real view in edit mode over the 100 s synthetic file, wired to a real
// undo history. 600 x 170: the plot is 530 wide from x = 60, and 120 high
// from y = 10 to 130.
struct EditView {
    std::shared_ptr<AudioFileItem> item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/m/a.wav"));
    BatchSession state;
    AudioPlaybackEngine engine{std::make_unique<SilentOutput>()};
    QUndoStack undo;
    EditHistory history{state, engine, &undo};
    WaveformView view;
    std::vector<SegmentEditAction> actions;
    std::vector<double> seeks;

    EditView() {
        item->setAnalysis(synthetic());
        item->setIsEditMode(true);
        view.resize(600, 170);
        view.setFile(item);
        view.setOnSeek([this](double t) { seeks.push_back(t); });
        view.setOnSegmentEditAction([this](const SegmentEditAction& a) {
            actions.push_back(a);
            history.handleSegmentEditAction(a, item);
        });
    }
    SegmentEditState& edits() { return item->segmentEdits(); }
    int x(double t) const { return static_cast<int>(std::lround(view.plotGeometry().xOfTime(t, 100.0))); }
    void hover(QPoint p, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QMouseEvent move(QEvent::MouseMove, p, view.mapToGlobal(QPointF(p)), Qt::NoButton, Qt::NoButton, modifiers);
        QCoreApplication::sendEvent(&view, &move);
    }
    template <typename T> int count() const {
        return static_cast<int>(std::count_if(actions.begin(), actions.end(),
                                              [](const SegmentEditAction& a) { return std::holds_alternative<T>(a); }));
    }
    // The context menu's entries after hovering at p; `choose` is triggered.
    QStringList menuAt(QPoint p, const QString& choose = {}) {
        hover(p);
        QContextMenuEvent event(QContextMenuEvent::Mouse, p, view.mapToGlobal(p));
        QCoreApplication::sendEvent(&view, &event);
        QStringList texts;
        for (QMenu* menu : view.findChildren<QMenu*>(QStringLiteral("segmentMenu"))) {
            for (QAction* action : menu->actions()) {
                texts << action->text();
                if (action->text() == choose)
                    action->trigger();
            }
            delete menu;
        }
        return texts;
    }
};

} // namespace

TEST(SegmentEditOverlayTest, PressesOnSeparatorsAndFadeHandlesStartTheirDrags) {
    EditView t;
    t.edits().addSeparator(20.0); // x = 166; its 500 ms fade puts the handle at (167.3, 128)
    const QUuid id = t.edits().separators()[0].id;

    // 6 points right of the separator is a plain click: it seeks.
    QTest::mouseClick(&t.view, Qt::LeftButton, {}, QPoint(172, 60));
    EXPECT_TRUE(t.actions.empty());
    ASSERT_EQ(t.seeks.size(), 1u);
    EXPECT_NEAR(t.seeks[0], 112.0 / 530.0 * 100.0, 1e-9);

    // 5 points right hits it, and the press alone moves it under the pointer.
    QTest::mousePress(&t.view, Qt::LeftButton, {}, QPoint(171, 60));
    ASSERT_EQ(t.actions.size(), 2u);
    EXPECT_TRUE(std::holds_alternative<A::DragBegan>(t.actions[0]));
    EXPECT_NEAR(t.edits().separators()[0].timeSeconds, 111.0 / 530.0 * 100.0, 1e-9);
    QTest::mouseMove(&t.view, QPoint(219, 60));
    EXPECT_NEAR(t.edits().separators()[0].timeSeconds, 30.0, 1e-9);
    QTest::mouseRelease(&t.view, Qt::LeftButton, {}, QPoint(219, 60));
    EXPECT_EQ(t.count<A::DragEnded>(), 1);
    EXPECT_EQ(t.seeks.size(), 1u) << "a separator drag does not seek";
    EXPECT_EQ(t.undo.count(), 1);

    // Near the handle and 2 points from the separator: the handle wins. Its
    // fade follows the pointer, and left of the separator it is 0 ms.
    t.actions.clear();
    QTest::mousePress(&t.view, Qt::LeftButton, {}, QPoint(t.x(30.25) + 2, 126));
    EXPECT_EQ(t.count<A::MoveSeparator>(), 0);
    EXPECT_NEAR(t.edits().separators()[0].fadeDurationMs, (t.x(30.25) + 2 - 219) / 530.0 * 100.0 * 2000.0, 1e-6);
    QTest::mouseMove(&t.view, QPoint(225, 126));
    EXPECT_NEAR(t.edits().separators()[0].fadeDurationMs, 6.0 / 530.0 * 100.0 * 2000.0, 1e-6);
    QTest::mouseMove(&t.view, QPoint(150, 126));
    EXPECT_EQ(t.edits().separators()[0].fadeDurationMs, 0.0);
    QTest::mouseRelease(&t.view, Qt::LeftButton, {}, QPoint(150, 126));
    EXPECT_EQ(t.undo.count(), 2) << "one step per drag";
    t.undo.undo();
    EXPECT_EQ(t.edits().separators()[0].fadeDurationMs, 500.0);
    EXPECT_EQ(t.edits().separators()[0].id, id);
}

TEST(SegmentEditOverlayTest, VerticalDragsSetTheGainPastAThresholdAndClicksSeek) {
    EditView t;
    const int x = t.x(70.0);
    // A click, and a drag of 3 points, only seek.
    QTest::mouseClick(&t.view, Qt::LeftButton, {}, QPoint(x, 60));
    QTest::mousePress(&t.view, Qt::LeftButton, {}, QPoint(x, 60));
    QTest::mouseMove(&t.view, QPoint(x, 57));
    QTest::mouseRelease(&t.view, Qt::LeftButton, {}, QPoint(x, 57));
    EXPECT_TRUE(t.actions.empty());
    ASSERT_EQ(t.seeks.size(), 2u);
    EXPECT_NEAR(t.seeks[1], 70.0, 0.1);

    // The reference moves to the 4-point crossing; then 120 points up (the
    // plot's height) is 40/3 dB, and the gain stops at +20 dB.
    QTest::mousePress(&t.view, Qt::LeftButton, {}, QPoint(x, 125));
    QTest::mouseMove(&t.view, QPoint(x, 121));
    EXPECT_EQ(t.count<A::DragBegan>(), 1);
    EXPECT_EQ(t.edits().segmentGains()[0].gainOffsetDB, 0.0);
    QTest::mouseMove(&t.view, QPoint(x, 1));
    EXPECT_NEAR(t.edits().segmentGains()[0].gainOffsetDB, 40.0 / 3.0, 1e-9);
    QTest::mouseMove(&t.view, QPoint(x, -300));
    EXPECT_EQ(t.edits().segmentGains()[0].gainOffsetDB, 20.0);
    QTest::mouseRelease(&t.view, Qt::LeftButton, {}, QPoint(x, -300));
    EXPECT_EQ(t.seeks.size(), 2u) << "a gain drag does not seek";
    EXPECT_EQ(t.count<A::DragEnded>(), 1);
    EXPECT_EQ(t.undo.count(), 1);
    t.undo.undo();
    EXPECT_EQ(t.edits().segmentGains()[0].gainOffsetDB, 0.0);
    t.undo.redo();
    EXPECT_EQ(t.edits().segmentGains()[0].gainOffsetDB, 20.0);
}

TEST(SegmentEditOverlayTest, ModifierClicksAndTheContextMenu) {
    EditView t;
    // Ctrl outside the plot adds nothing and starts nothing.
    QTest::mouseClick(&t.view, Qt::LeftButton, Qt::ControlModifier, QPoint(30, 60));
    EXPECT_TRUE(t.actions.empty());
    EXPECT_TRUE(t.seeks.empty());

    // Ctrl inside adds one separator per press, however the press moves.
    QTest::mousePress(&t.view, Qt::LeftButton, Qt::ControlModifier, QPoint(t.x(50.0), 60));
    QTest::mouseMove(&t.view, QPoint(t.x(60.0), 30));
    QTest::mouseRelease(&t.view, Qt::LeftButton, Qt::ControlModifier, QPoint(t.x(60.0), 30));
    EXPECT_EQ(t.actions.size(), 1u);
    ASSERT_EQ(t.edits().separators().size(), 1u);
    EXPECT_NEAR(t.edits().separators()[0].timeSeconds, 50.0, 0.1);
    EXPECT_TRUE(t.seeks.empty());

    // Shift resets the segment's gain; Alt on the separator removes it.
    t.edits().setSegmentGain(1, -2.0);
    QTest::mouseClick(&t.view, Qt::LeftButton, Qt::ShiftModifier, QPoint(t.x(80.0), 60));
    EXPECT_EQ(t.edits().segmentGains()[1].gainOffsetDB, 0.0);
    t.edits().setSegmentGain(1, -2.0);

    // The menu: on a separator, remove it (and reset a gain that is not 0);
    // elsewhere in the plot, add one; outside it, nothing.
    EXPECT_EQ(t.menuAt(QPoint(t.x(50.0) + 3, 60)), QStringList({"Remove Separator", "Reset Segment Gain"}));
    EXPECT_EQ(t.menuAt(QPoint(t.x(20.0), 60), "Add Separator"), QStringList({"Add Separator"}));
    EXPECT_EQ(t.edits().separators().size(), 2u);
    EXPECT_TRUE(t.menuAt(QPoint(30, 60)).isEmpty());

    QTest::mouseClick(&t.view, Qt::LeftButton, Qt::AltModifier, QPoint(t.x(20.0) + 4, 60));
    EXPECT_EQ(t.edits().separators().size(), 1u);
    EXPECT_EQ(t.undo.count(), 4) << "add, reset, add, remove";
}

TEST(SegmentEditOverlayTest, PointerShapeAndMagnifierFollowTheZones) {
    EditView t;
    t.edits().addSeparator(20.0);
    t.edits().setFadeDuration(t.edits().separators()[0].id, 3000.0); // handle at (173.95, 128)
    const auto shapeAt = [&](QPoint p) {
        t.hover(p);
        return t.view.cursor().shape();
    };
    EXPECT_EQ(shapeAt(QPoint(172, 60)), Qt::SizeHorCursor) << "6 points from the separator";
    EXPECT_EQ(shapeAt(QPoint(173, 60)), Qt::SizeVerCursor);
    EXPECT_EQ(shapeAt(QPoint(183, 120)), Qt::SizeHorCursor) << "9 points from the fade handle";
    EXPECT_EQ(shapeAt(QPoint(184, 120)), Qt::SizeVerCursor);
    EXPECT_EQ(shapeAt(QPoint(30, 60)), Qt::ArrowCursor) << "outside the plot";
    shapeAt(QPoint(300, 60));
    t.item->setIsEditMode(false);
    EXPECT_EQ(t.view.cursor().shape(), Qt::ArrowCursor) << "nothing left behind";

    // The lens's top edge is cyan while Ctrl is held over the plot, from
    // the next pointer event on, and while a separator is dragged.
    t.item->setIsEditMode(true);
    const auto lensEdge = [&] {
        const QColor c = t.view.grab().toImage().pixelColor(t.x(60.0) + 60, 20);
        return c.green() > 90 && c.blue() > 90 && c.red() < 60;
    };
    t.hover(QPoint(t.x(60.0), 60));
    EXPECT_FALSE(lensEdge());
    t.hover(QPoint(t.x(60.0), 60), Qt::ControlModifier);
    EXPECT_TRUE(lensEdge());
    t.hover(QPoint(t.x(60.0), 60));
    EXPECT_FALSE(lensEdge());
    QTest::mousePress(&t.view, Qt::LeftButton, {}, QPoint(t.x(20.0), 60));
    QTest::mouseMove(&t.view, QPoint(t.x(60.0), 60));
    EXPECT_TRUE(lensEdge());
    QTest::mouseRelease(&t.view, Qt::LeftButton, {}, QPoint(t.x(60.0), 60));
    EXPECT_FALSE(lensEdge());
}

TEST(SegmentEditPainterTest, CurveColoursShadingAndGainLabels) {
    // Separators at 40 and 65: +4 dB, then -3 dB (the -26 LUFS stretch at
    // 50-60 s becomes -29, quiet), then +0.04 and -0.06 dB around a third.
    const AnalysisResult r = synthetic();
    SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
    SegmentEditModel::addSeparator(edits, 40.0);
    SegmentEditModel::addSeparator(edits, 65.0);
    SegmentEditModel::addSeparator(edits, 85.0);
    SegmentEditModel::setSegmentGain(edits, 0, 4.0);
    SegmentEditModel::setSegmentGain(edits, 1, -3.0);
    SegmentEditModel::setSegmentGain(edits, 2, 0.04);
    SegmentEditModel::setSegmentGain(edits, 3, -0.06);
    const PlotGeometry g{600, 300};
    QImage image(600, 300, QImage::Format_ARGB32_Premultiplied);
    image.fill(WaveformPainter::background);
    QPainter painter(&image);
    SegmentEditPainter::paint(painter, r, edits, g);
    painter.end();
    const auto at = [&](double t, double lufs) {
        return image.pixelColor(static_cast<int>(g.xOfTime(t, 100)), static_cast<int>(std::floor(g.yOfLUFS(lufs))));
    };
    const QColor bg = WaveformPainter::background;

    const QColor normal = at(20, -16), quiet = at(55, -29);
    EXPECT_GT(normal.blue(), 200);
    EXPECT_LT(normal.red(), 100);
    EXPECT_GT(quiet.red(), 200);
    EXPECT_LT(quiet.green(), 60);
    const QColor louder = at(20, -18), quieter = at(30 + 15, -21.5);
    EXPECT_GT(louder.green(), bg.green() + 10);
    EXPECT_LE(louder.red(), bg.red() + 2);
    EXPECT_GT(quieter.red(), bg.red() + 10);
    EXPECT_LE(quieter.green(), bg.green() + 2);
    EXPECT_EQ(at(75, -22).rgb(), bg.rgb()) << "0.04 dB: no shading";

    // Labels: "+4.0 dB" and "-0.1 dB" are drawn, +0.04 dB is not.
    const auto whiteAround = [&](double t) {
        int white = 0;
        for (int y = static_cast<int>(g.yTop()) + 14; y < g.yTop() + 26; ++y)
            for (int x = static_cast<int>(g.xOfTime(t, 100)) - 20; x < g.xOfTime(t, 100) + 20; ++x)
                white += qGray(image.pixel(x, y)) > 200 ? 1 : 0;
        return white;
    };
    EXPECT_GT(whiteAround(20), 20);
    EXPECT_GT(whiteAround(92.5), 20);
    EXPECT_EQ(whiteAround(75), 0);
}

TEST(MagnifierTest, LensStaysInsideThePlotAndTheFile) {
    const AnalysisResult r = synthetic();
    const PlotGeometry g{600, 300};
    SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
    SegmentEditModel::addSeparator(edits, 10.0);
    SegmentEditModel::setFadeDuration(edits, edits.separators[0].id, 5000.0); // 7.5 ... 12.5 s

    const MagnifierOverlay left{r, edits, g.marginLeft, g};
    const MagnifierOverlay::Lens a = left.lens();
    EXPECT_EQ(a.start, 0.0);
    EXPECT_EQ(a.end, 100.0 / 32);
    EXPECT_EQ(a.x0, g.marginLeft);
    EXPECT_EQ(a.xOfTime(a.pointerTime), a.left);
    const MagnifierOverlay::Lens b = MagnifierOverlay{r, edits, g.marginLeft + g.plotW(), g}.lens();
    EXPECT_EQ(b.end, 100.0);
    EXPECT_EQ(b.x0 + 280, g.marginLeft + g.plotW());
    EXPECT_EQ(MagnifierOverlay::timeLabel(125.37), "2:05.37");
    EXPECT_EQ(MagnifierOverlay::timeLabel(9.5), "0:09.50");

    const auto paint = [&](const MagnifierOverlay& lens) {
        QImage image(600, 300, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::black);
        QPainter painter(&image);
        lens.paint(painter);
        return image;
    };
    // A window from 12.5 s on, which the fade of the separator at 11 s
    // reaches until 13.5 s: that part is cyan, and neither the separator's
    // line nor its handle is drawn.
    const double centre = g.xOfTime(12.5 + 100.0 / 64, 100);
    const MagnifierOverlay::Lens c = MagnifierOverlay{r, edits, centre, g}.lens();
    ASSERT_NEAR(c.start, 12.5, 1e-9);
    SegmentEditModel::moveSeparator(edits, edits.separators[0].id, 11.0, 100.0);
    const QImage reaching = paint({r, edits, centre, g});
    const int top = static_cast<int>(c.top) + 2;
    const QColor inZone = reaching.pixelColor(static_cast<int>(c.xOfTime(13.0)), top);
    const QColor past = reaching.pixelColor(static_cast<int>(c.xOfTime(14.0)), top);
    EXPECT_GT(inZone.blue(), past.blue() + 20);
    for (int x = static_cast<int>(c.left); x < c.right; ++x)
        ASSERT_LT(reaching.pixelColor(x, static_cast<int>(c.bottom) - 3).blue(), 150) << x;

    // No buckets: background and border only.
    AnalysisResult empty = r;
    empty.envelope = {};
    const QImage bare = paint({empty, edits, centre, g});
    const QColor fill = bare.pixelColor(static_cast<int>(c.left) + 20, static_cast<int>(c.top) + 20);
    for (int y = static_cast<int>(c.top); y < c.bottom + 10; y += 3)
        for (int x = static_cast<int>(c.left); x < c.right; x += 3)
            ASSERT_EQ(bare.pixelColor(x, y), fill) << x << "," << y;
}
