// The introduction's moving parts against the time they have: decoding and
// converting one frame of each bundled video (through the player widget's
// own decoder) against the video's frame interval, and painting one frame
// of the miniature waveform animation against a 60 Hz frame.
// Usage: build/bench/intro_bench

#include "ui/onboarding/LoopingVideoView.h"
#include "ui/onboarding/SimpleModeAnimation.h"
#include "ui/onboarding/VideoLoop.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <cstdio>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    LoopingVideoView registers(QStringLiteral("demoFastCheck"), QStringLiteral("mp4")); // the resources

    for (const char* name : {"demoFastCheck", "manualEditDemo"}) {
        VideoLoop video(QStringLiteral(":/videos/%1.mp4").arg(QLatin1String(name)));
        if (!video.isOpen()) {
            std::printf("%s: cannot be opened\n", name);
            return 1;
        }
        int frames = 0;
        QElapsedTimer timer;
        timer.start();
        double last = -1;
        for (const VideoFrame* f = video.next(); f && f->seconds > last; f = video.next()) {
            last = f->seconds;
            ++frames;
        }
        const double perFrame = static_cast<double>(timer.nsecsElapsed()) / 1e6 / frames;
        std::printf("%s: %d frames, %.2f ms each = %.1f%% of its %.1f ms frame interval\n", name, frames, perFrame,
                    100.0 * perFrame / (video.frameInterval() * 1000.0), video.frameInterval() * 1000.0);
    }

    SimpleModeAnimation animation;
    animation.resize(576, 200);
    animation.show();
    QTest::qWait(3000); // into the corrected phase, the fullest picture
    QElapsedTimer timer;
    timer.start();
    constexpr int repaints = 60;
    for (int i = 0; i < repaints; ++i)
        animation.grab();
    const double perPaint = static_cast<double>(timer.nsecsElapsed()) / 1e6 / repaints;
    std::printf("miniature waveform: %.2f ms a frame = %.0f%% of a 60 Hz frame\n", perPaint,
                100.0 * perPaint / (1000.0 / 60.0));
    return 0;
}
