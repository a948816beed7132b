// Time to paint the waveform's static layer for a 60-minute file at
// 1600 x 400 pixels, against one 60 Hz frame (16.7 ms). The analysis is
// made up with the shape of a real one: 2000 envelope buckets and a curve
// point every 0.1 s, with quiet stretches for the soft colour.
// Usage: build/bench/waveform_bench

#include "ui/WaveformPainter.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);

    AnalysisResult r;
    r.duration = 3600.0;
    r.envelope.bucketCount = 2000;
    std::mt19937 rng(1);
    std::uniform_real_distribution<float> level(0.2f, 0.9f);
    for (int i = 0; i < 2000; ++i) {
        const float a = level(rng);
        r.envelope.maxValues.push_back(a);
        r.envelope.minValues.push_back(-a);
    }
    r.curveWindowSec = 3.0;
    for (int i = 0; i < 36000; ++i) {
        const double t = 1.5 + i * 0.1;
        r.times.push_back(t);
        r.loudnessCurve.push_back(std::fmod(t, 600.0) < 60 ? -40.0 + std::sin(t) : -16.0 + 4 * std::sin(t / 7));
    }
    r.peakLUFS = -12.0;
    r.windowStart = 1000.0;
    r.windowEnd = 1020.0;

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
    std::printf("static layer, 60 min at 1600 x 400: median %.2f ms (best %.2f) = %.0f%% of a 60 Hz frame\n",
                median, ms.front(), 100.0 * median / (1000.0 / 60.0));
    return 0;
}
