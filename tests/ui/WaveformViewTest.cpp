#include "UiFixtures.h"
#include "editing/SegmentEditModel.h"
#include "support/WaveformViewProbe.h"
#include "ui/WaveformPainter.h"

#include <QAbstractButton>
#include <QFrame>
#include <QImage>

namespace {

QImage paintStatic(const AnalysisResult& r, QSize size, const SegmentEditSnapshot* edits = nullptr) {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(WaveformPainter::background);
    QPainter painter(&image);
    WaveformPainter::paintStaticLayer(painter, r, edits, PlotGeometry{double(size.width()), double(size.height())});
    return image;
}

// The view over a file of its own, `analysis` given (none: not analysed yet).
struct ShownFile {
    std::shared_ptr<AudioFileItem> item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/m/a.wav"));
    WaveformView view;
    explicit ShownFile(std::optional<AnalysisResult> analysis, int width = 600) {
        item->setAnalysis(std::move(analysis));
        view.resize(width, 300);
        view.setFile(item);
    }
};

bool near(QColor a, QColor b, int tolerance = 12) {
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

} // namespace

TEST(WaveformPainterTest, StaticLayerPixelsThatMatter) {
    const AnalysisResult r = synthetic();
    const QImage image = paintStatic(r, QSize(600, 300));
    const PlotGeometry g{600, 300};
    const QColor bg = WaveformPainter::background;
    // The loudest window is tinted yellow between its edges, not outside them.
    const int yClear = static_cast<int>(g.yTop() + 40);
    const QColor inside = image.pixelColor(static_cast<int>(g.xOfTime(30, 100)), yClear);
    const QColor outside = image.pixelColor(static_cast<int>(g.xOfTime(45, 100)), yClear);
    EXPECT_TRUE(near(outside, bg, 2)) << outside.name().toStdString();
    EXPECT_GT(inside.red(), bg.red() + 10);
    EXPECT_GT(inside.green(), bg.green() + 10);
    EXPECT_LE(inside.blue(), bg.blue() + 1);

    // The curve: exactly loudest20sLUFS - 12 (-26) is normal, below it soft; the
    // same whether it is stroked (sparse) or written as pixel runs (dense).
    for (const QImage& picture : {image, paintStatic(synthetic(10), QSize(600, 300))}) {
        const QColor normal =
            picture.pixelColor(static_cast<int>(g.xOfTime(55, 100)), static_cast<int>(g.yOfLUFS(-26.0)));
        const QColor soft =
            picture.pixelColor(static_cast<int>(g.xOfTime(75, 100)), static_cast<int>(g.yOfLUFS(-26.5)));
        EXPECT_TRUE(near(normal, WaveformPainter::curveColor, 30)) << normal.name().toStdString();
        EXPECT_TRUE(near(soft, WaveformPainter::softCurveColor, 30)) << soft.name().toStdString();
    }

    // A flat envelope still shows a half-point stroke in every column.
    const int envelopeY = static_cast<int>(std::floor(g.yOfSample(0.2)));
    int tinted = 0;
    for (int x = 61; x < 61 + 40; ++x)
        tinted += image.pixelColor(x, envelopeY).blue() > bg.blue() + 8 ? 1 : 0;
    EXPECT_EQ(tinted, 40);

    // No plot area, nothing drawn.
    QImage tiny(QSize(60, 40), QImage::Format_ARGB32_Premultiplied);
    tiny.fill(Qt::transparent);
    QPainter painter(&tiny);
    WaveformPainter::paintStaticLayer(painter, r, nullptr, PlotGeometry{60, 40});
    painter.end();
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 60; ++x)
            ASSERT_EQ(tiny.pixelColor(x, y).alpha(), 0);

    // The playhead is drawn in its colour at its x.
    QImage withPlayhead = image;
    QPainter over(&withPlayhead);
    WaveformPainter::paintPlayhead(over, 62.5, 100, g);
    over.end();
    const QColor head =
        withPlayhead.pixelColor(static_cast<int>(g.xOfTime(62.5, 100)), static_cast<int>(g.midY() + 30));
    EXPECT_GT(head.green(), 200);
    EXPECT_LT(head.red(), 100);
}

TEST(WaveformPainterTest, TicksHoverTextAndEditModeOffsets) {
    const std::vector<int> ticks95 = WaveformPainter::timeTicks(95.0);
    EXPECT_EQ(ticks95, (std::vector<int>{0, 9, 18, 27, 36, 45, 54, 63, 72, 81, 90}));
    EXPECT_EQ(WaveformPainter::timeTicks(5.0), (std::vector<int>{0, 1, 2, 3, 4, 5}));

    const AnalysisResult r = synthetic();
    const PlotGeometry g{600, 300};
    EXPECT_EQ(WaveformPainter::hoverText(r, g.marginLeft, nullptr, g), "0:00.0  -20.0 LUFS");
    EXPECT_TRUE(WaveformPainter::hoverText(r, g.marginLeft - 1, nullptr, g).isEmpty());
    EXPECT_TRUE(WaveformPainter::hoverText(r, 600 - 9, nullptr, g).isEmpty());
    EXPECT_EQ(WaveformPainter::hoverText(r, g.xOfTime(55, 100), nullptr, g), "0:55.0  -26.0 LUFS");
    SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
    SegmentEditModel::setSegmentGain(edits, 0, 4.0);
    EXPECT_EQ(WaveformPainter::hoverText(r, g.xOfTime(55, 100), &edits, g), "0:55.0  -22.0 LUFS");

    // A file shorter than the curve's window shows its loudness level over
    // its length; a silent one shows no curve.
    AnalysisResult brief;
    brief.loudest20sLUFS = -21.8, brief.duration = 2.0;
    const auto [times, lufs] = WaveformPainter::wholeFileCurve(brief);
    EXPECT_EQ(times, (std::vector<double>{0.0, 2.0}));
    EXPECT_EQ(lufs, (std::vector<double>{-21.8, -21.8}));
    brief.loudest20sLUFS = -70.0;
    EXPECT_TRUE(WaveformPainter::wholeFileCurve(brief).times.empty());
}

TEST(WaveformViewTest, HoverReadOutStaysInsideAndLeavesForTheButtons) {
    const AnalysisResult r = synthetic();
    const PlotGeometry g{600, 300};
    // The read-out's dark box, right and left of the pointer: always inside
    // the plot, under the title's row and over the curve's dot.
    const auto boxSides = [&](double hx) {
        QImage image(600, 300, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        WaveformPainter::paintHover(painter, r, QPointF(hx, 150), nullptr, g);
        painter.end();
        std::pair<int, int> sides{0, 0};
        for (int y = 0; y < 300; ++y)
            for (int x = 0; x < 600; ++x)
                if (qGray(image.pixel(x, y)) < 100) {
                    EXPECT_TRUE(x >= g.marginLeft && x <= 600 - g.marginRight && y > g.yTop() + 2 * g.titleSize &&
                                y < g.yOfLUFS(-20.0))
                        << x << "," << y;
                    ++(x > hx ? sides.first : sides.second);
                }
        return sides;
    };
    EXPECT_EQ(boxSides(g.xOfTime(0, 100)).second, 0);
    const auto [right, left] = boxSides(g.xOfTime(95, 100));
    EXPECT_EQ(right, 0) << "in the last tenth it goes left of the pointer";
    EXPECT_GT(left, 50 * 18);

    ShownFile shown(r);
    WaveformView& view = shown.view;
    QMouseEvent move(QEvent::MouseMove, QPointF(300, 100), QPointF(300, 100), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(&view, &move);
    EXPECT_TRUE(WaveformViewProbe::hasHoverReadOut(view));
    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(child<QAbstractButton>(view, "editSegments"), &enter);
    EXPECT_FALSE(WaveformViewProbe::hasHoverReadOut(view));
}

TEST(WaveformViewTest, SeeksByClickAndDragOutsideEditModeOnly) {
    ShownFile shown(synthetic());
    WaveformView& view = shown.view;
    std::vector<double> seeks;
    view.setOnSeek([&](double t) { seeks.push_back(t); });
    const PlotGeometry g = view.plotGeometry();
    QTest::mousePress(&view, Qt::LeftButton, {}, QPoint(static_cast<int>(g.xOfTime(25, 100)), 100));
    QTest::mouseMove(&view, QPoint(static_cast<int>(g.xOfTime(50, 100)), 120));
    QTest::mouseMove(&view, QPoint(5, 120)); // left of the plot: clamped to 0
    QTest::mouseRelease(&view, Qt::LeftButton, {}, QPoint(5, 120));
    ASSERT_EQ(seeks.size(), 3u);
    EXPECT_NEAR(seeks[0], 25.0, 0.2);
    EXPECT_NEAR(seeks[1], 50.0, 0.2);
    EXPECT_EQ(seeks[2], 0.0);
}

TEST(WaveformViewTest, StaticLayerIsCachedAcrossPlayheadAndHover) {
    ShownFile shown(synthetic(), 800);
    auto& [item, view] = shown;
    view.grab();
    const int painted = WaveformViewProbe::staticLayerPaints(view);
    EXPECT_EQ(painted, 1);
    for (int i = 0; i < 20; ++i) {
        view.setPlayheadTime(i * 0.5);
        QTest::mouseMove(&view, QPoint(100 + i * 10, 120));
        view.grab();
    }
    EXPECT_EQ(WaveformViewProbe::staticLayerPaints(view), painted);
    item->setIsEditMode(true);
    view.grab();
    item->segmentEdits().addSeparator(10.0);
    view.grab();
    EXPECT_EQ(WaveformViewProbe::staticLayerPaints(view), painted + 2) << "edit mode and a new separator repaint it";
}

TEST(WaveformViewTest, EditButtonResetAndHelpAppearOnce) {
    ShownFile shown(std::nullopt);
    auto& [item, view] = shown;
    view.setOnToggleEditMode([&] { item->setIsEditMode(!item->isEditMode()); });
    view.show();
    EXPECT_FALSE(child<QAbstractButton>(view, "editSegments")->isVisible()) << "no analysis, no buttons";
    item->setAnalysis(synthetic());
    EXPECT_TRUE(child<QAbstractButton>(view, "editSegments")->isVisible());
    EXPECT_EQ(child<QAbstractButton>(view, "editSegments")->toolTip(), "Enter segment edit mode");
    EXPECT_FALSE(child<QAbstractButton>(view, "resetSegments")->isVisible());

    QTest::mouseClick(child<QAbstractButton>(view, "editSegments"), Qt::LeftButton);
    EXPECT_TRUE(item->isEditMode());
    EXPECT_EQ(child<QAbstractButton>(view, "editSegments")->toolTip(), "Exit segment edit mode");
    EXPECT_TRUE(child<QFrame>(view, "editModeHelp")->isVisible()) << "shown the first time";
    QTest::mouseClick(child<QFrame>(view, "editModeHelp")->findChild<QAbstractButton*>("closeHelp"), Qt::LeftButton);
    EXPECT_FALSE(child<QFrame>(view, "editModeHelp")->isVisible());
    QTest::mouseClick(child<QAbstractButton>(view, "editSegments"), Qt::LeftButton);
    QTest::mouseClick(child<QAbstractButton>(view, "editSegments"), Qt::LeftButton);
    EXPECT_TRUE(item->isEditMode());
    EXPECT_FALSE(child<QFrame>(view, "editModeHelp")->isVisible()) << "only once";

    item->segmentEdits().addSeparator(30.0);
    EXPECT_TRUE(child<QAbstractButton>(view, "resetSegments")->isVisible()) << "its click is the history's";
}
