#include "support/EventLoop.h"
#include "ui/WaveformPainter.h"
#include "ui/onboarding/LoopingVideoView.h"
#include "ui/onboarding/MockWaveform.h"
#include "ui/onboarding/OnboardingWizardView.h"
#include "ui/onboarding/SimpleModeAnimation.h"
#include "ui/onboarding/VideoLoop.h"

#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <algorithm>
#include <gtest/gtest.h>

namespace {

// The texts of the labels the wizard shows now.
QStringList visibleTexts(const QWidget& wizard) {
    QStringList texts;
    for (const QLabel* label : wizard.findChildren<QLabel*>())
        if (label->isVisible() && !label->text().isEmpty())
            texts << label->text();
    return texts;
}

} // namespace

TEST(OnboardingTest, MockSongAndItsLoudestWindow) {
    const AnalysisResult& mock = MockWaveform::shared();
    // The curve peaks at point 52 (78 s): the window starts five points
    // (7.5 s) earlier and lasts 20 s, inside the song's 120 s.
    EXPECT_EQ(mock.loudest20sLUFS, mock.loudnessCurve[52]);
    EXPECT_DOUBLE_EQ(mock.windowStart, 70.5);
    EXPECT_DOUBLE_EQ(mock.windowEnd, 90.5);

    // Fewer buckets than plot columns: the envelope still reaches the end.
    QImage image(600, 300, QImage::Format_ARGB32_Premultiplied);
    image.fill(WaveformPainter::background);
    QPainter painter(&image);
    const PlotGeometry g{600, 300};
    WaveformPainter::paintStaticLayer(painter, mock, nullptr, g);
    EXPECT_NE(image.pixelColor(static_cast<int>(g.xOfTime(119.5, 120)), static_cast<int>(g.midY()) + 20),
              WaveformPainter::background);
}

TEST(OnboardingTest, PagesButtonsAndKeys) {
    OnboardingWizardView wizard;
    wizard.show();
    auto* back = wizard.findChild<QPushButton*>("back");
    auto* primary = wizard.findChild<QPushButton*>("primary");
    EXPECT_TRUE(visibleTexts(wizard).contains("Welcome to Sonivel"));
    EXPECT_FALSE(back->isVisible()) << "no Back on the first page";

    QString before = "Welcome to Sonivel";
    for (const QString title : {"Fast Loudness Check", "Simple Mode", "Manual Edit Mode", "You're All Set!"}) {
        QTest::keyClick(&wizard, Qt::Key_Return);
        EXPECT_TRUE(visibleTexts(wizard).contains(title)) << "slides in at once: " << title.toStdString();
        EXPECT_TRUE(fixtures::waitUntil([&] { return !visibleTexts(wizard).contains(before); }, 5000))
            << "the page before leaves";
        EXPECT_TRUE(back->isVisible());
        EXPECT_EQ(primary->text(), title == "You're All Set!" ? "Get Started" : "Next");
        before = title;
    }
    back->click();
    EXPECT_TRUE(fixtures::waitUntil([&] { return !visibleTexts(wizard).contains("You're All Set!"); }, 5000));
    EXPECT_TRUE(visibleTexts(wizard).contains("Manual Edit Mode"));
    EXPECT_TRUE(visibleTexts(wizard).contains("Alt+Click"));
    EXPECT_EQ(primary->text(), "Next");
    primary->click();
    QTest::keyClick(&wizard, Qt::Key_Return); // during the slide: the last page's button closes
    EXPECT_FALSE(wizard.isVisible());
    EXPECT_EQ(wizard.result(), QDialog::Accepted); // Skip is the window's test's
}

TEST(OnboardingTest, AnimationRunsOnlyWhileShown) {
    SimpleModeAnimation animation;
    animation.resize(576, 200);
    animation.show();
    const QImage waiting = animation.grab().toImage();
    QTest::qWait(1300); // into the analysis
    const QImage analysing = animation.grab().toImage();
    EXPECT_NE(waiting, analysing);
    animation.hide();
    const QImage left = animation.grab().toImage();
    QTest::qWait(2000); // past the next steps
    EXPECT_EQ(animation.grab().toImage(), left) << "nothing moves once its page is left";
    animation.show();
    EXPECT_EQ(animation.grab().toImage(), waiting) << "shown again, it starts from the beginning";
}

TEST(OnboardingTest, VideosPlayLoopAndMayBeMissing) {
    LoopingVideoView missing("noSuchVideo", "mp4");
    missing.resize(320, 240);
    QWidget plain;
    plain.resize(320, 240);
    EXPECT_EQ(missing.grab().toImage(), plain.grab().toImage()) << "an empty area";

    LoopingVideoView view("demoFastCheck", "mp4"); // registers the bundled videos
    view.resize(320, 240);
    EXPECT_NE(view.grab().toImage(), plain.grab().toImage()) << "the first frame at once";

    VideoLoop video(":/videos/demoFastCheck.mp4");
    ASSERT_TRUE(video.isOpen());
    EXPECT_GT(video.frameInterval(), 0.0);
    const VideoFrame first = *video.next();
    EXPECT_EQ(first.seconds, 0.0);
    bool changed = false;
    double last = 0.0;
    int frames = 1;
    for (; frames < 2000; ++frames) {
        const VideoFrame* frame = video.next();
        ASSERT_TRUE(frame);
        if (frame->seconds < last) { // around again
            EXPECT_EQ(frame->seconds, 0.0);
            EXPECT_EQ(frame->pixels, first.pixels);
            break;
        }
        last = frame->seconds;
        changed = changed || frame->pixels != first.pixels;
    }
    EXPECT_TRUE(changed) << "the picture moves";
    EXPECT_GT(last, 5.0) << "a demonstration of some length";
    EXPECT_LT(frames, 2000) << "it comes round to the start";
}
