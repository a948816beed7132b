// Time to paint the waveform's static layer for a 60-minute file at
// 1600 x 400 pixels, against one 60 Hz frame (16.7 ms).
// Usage: build/bench/waveform_bench

#include "HourAnalysis.h"
#include "ui/WaveformPainter.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdio>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    const AnalysisResult r = hourLongAnalysis();

    const PlotGeometry g{1600, 400};
    QImage image(1600, 400, QImage::Format_ARGB32_Premultiplied);
    std::vector<double> ms;
    for (int i = 0; i < 21; ++i) {
        image.fill(Qt::transparent);
        QElapsedTimer timer;
        timer.start();
        QPainter painter(&image);
        WaveformPainter::paintStaticLayer(painter, r, nullptr, g);
        painter.end();
        ms.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(ms.begin(), ms.end());
    const double median = ms[ms.size() / 2];
    std::printf("static layer, 60 min at 1600 x 400: median %.2f ms (best %.2f) = %.0f%% of a 60 Hz frame\n", median,
                ms.front(), 100.0 * median / (1000.0 / 60.0));
    return 0;
}
