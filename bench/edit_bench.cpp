// Edit mode on a 60-minute file with 50 separators at 1600 x 400:
// - the time of one redraw of the edit overlay's layer plus the magnifier,
//   against one 60 Hz frame (16.7 ms); the target is under a quarter;
// - the longest stall of the event loop during a scripted 5-second gain drag
//   (a pointer event every 8 ms) while the file plays; the target is none
//   over 16 ms.
// Usage: build/bench/edit_bench   (the hour-long file is made once in ~/.cache/sonivel/bench)

#include "BenchAudio.h"
#include "EventLoopStall.h"
#include "HourAnalysis.h"
#include "app/AllocatorTuning.h"
#include "editing/SegmentEditModel.h"
#include "io/FFmpegLocator.h"
#include "playback/SilentOutput.h"
#include "session/BatchSession.h"
#include "support/WaveformViewProbe.h"
#include "ui/EditHistory.h"
#include "ui/MagnifierOverlay.h"
#include "ui/SegmentEditPainter.h"
#include "ui/WaveformView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QUndoStack>
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

SegmentEditSnapshot fiftySeparators() {
    SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
    for (int i = 1; i <= 50; ++i)
        SegmentEditModel::addSeparator(edits, i * 70.0);
    for (size_t i = 0; i < edits.segmentGains.size(); ++i)
        SegmentEditModel::setSegmentGain(edits, static_cast<int64_t>(i), i % 2 ? 4.0 : -6.0);
    for (const Separator& s : std::vector<Separator>(edits.separators))
        SegmentEditModel::setFadeDuration(edits, s.id, 2000.0);
    return edits;
}

double medianMs(std::vector<double> ms) {
    std::sort(ms.begin(), ms.end());
    return ms[ms.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    keepFreedMemoryForReuse(); // as the application does
    QApplication app(argc, argv);
    const AnalysisResult r = hourLongAnalysis();
    const SegmentEditSnapshot edits = fiftySeparators();
    const PlotGeometry g{1600, 400};
    const double frameMs = 1000.0 / 60.0;

    QImage image(1600, 400, QImage::Format_ARGB32_Premultiplied);
    std::vector<double> layer, lens;
    for (int i = 0; i < 21; ++i) {
        image.fill(Qt::transparent);
        QElapsedTimer timer;
        timer.start();
        QPainter painter(&image);
        SegmentEditPainter::paint(painter, r, edits, g);
        layer.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
        timer.restart();
        MagnifierOverlay{r, edits, 60.0 + 1530.0 * (i + 0.5) / 21, g, 1000.0}.paint(painter);
        lens.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    const double layerMs = medianMs(layer), lensMs = medianMs(lens);
    std::printf("edit layer %.2f ms + lens %.2f ms = %.0f%% of a 60 Hz frame (target under 25%%)\n", layerMs, lensMs,
                100.0 * (layerMs + lensMs) / frameMs);

    // The drag, on the real view, wired to the real history and engine.
    const QString hour = hourLongOgg(FFmpegLocator::find());
    auto item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile(hour));
    item->setAnalysis(r);
    item->segmentEdits().restore(edits);
    item->setIsEditMode(true);
    BatchSession state;
    AudioPlaybackEngine engine(std::make_unique<SilentOutput>());
    QUndoStack undo;
    EditHistory history(state, engine, &undo);
    WaveformView view;
    view.resize(1600, 400);
    view.setFile(item);
    view.setOnSegmentEditAction([&](const SegmentEditAction& a) { history.handleSegmentEditAction(a, item); });
    view.show();
    engine.play(hour, 1000.0, -3.0, &item->segmentEdits());
    QCoreApplication::processEvents();

    const QPointF start(g.xOfTime(1015.0, r.duration), 300);
    const auto send = [&](QEvent::Type type, QPointF at, Qt::MouseButtons buttons) {
        QCoreApplication::postEvent(
            &view, new QMouseEvent(type, at, view.mapToGlobal(at), Qt::LeftButton, buttons, Qt::NoModifier));
    };
    const int paintsBefore = WaveformViewProbe::staticLayerPaints(view);
    QElapsedTimer dragging;
    bool released = false;
    QTimer driver;
    driver.setInterval(8);
    QObject::connect(&driver, &QTimer::timeout, [&] {
        const double s = static_cast<double>(dragging.elapsed()) / 1000.0;
        if (s < 5.0) {
            send(QEvent::MouseMove, QPointF(start.x(), 300 - 200 * std::abs(std::sin(s * 1.3))), Qt::LeftButton);
        } else if (!released) {
            send(QEvent::MouseButtonRelease, start, Qt::NoButton);
            released = true;
        }
    });
    send(QEvent::MouseButtonPress, start, Qt::LeftButton);
    dragging.start();
    driver.start();
    const double stall = longestStall([&] { return released && dragging.elapsed() > 5100; });
    std::printf("5 s gain drag while playing: longest stall %.1f ms (target 16 ms); %d redraws, %d undo step, %s\n",
                stall, WaveformViewProbe::staticLayerPaints(view) - paintsBefore, undo.count(),
                engine.isPlaying() ? "still playing" : "stopped");
    engine.stop();
    return 0;
}
