#pragma once

// A realistic analysed file for the widget tests and screenshots: three
// minutes of music-like sound (chords, a beat) with a quiet passage.

#include "analysis/LoudnessAnalyzer.h"
#include "session/AudioFileItem.h"
#include "support/AnalysisSupport.h"
#include "support/AudioFixtures.h"
#include "support/QtPrinters.h"
#include <QApplication>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QTest>

#include <QObject>
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

inline std::vector<float> musicLike(double seconds, int64_t rate = 48000) {
    std::vector<float> out(static_cast<size_t>(seconds * static_cast<double>(rate)));
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> noise(-1.0f, 1.0f);
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = static_cast<double>(i) / static_cast<double>(rate);
        const double beat = std::fmod(t, 0.5);
        const double chord =
            0.15 * (std::sin(2 * M_PI * 220 * t) + std::sin(2 * M_PI * 277 * t) + std::sin(2 * M_PI * 330 * t));
        const double drum = 0.5 * std::exp(-beat * 18) * noise(rng);
        double level = 0.6 + 0.3 * std::sin(2 * M_PI * t / 40.0);
        if (t > 70 && t < 95)
            level *= 0.08; // the quiet passage
        if (t > 130 && t < 150)
            level *= 1.4;
        out[i] = static_cast<float>(level * (chord + drum));
    }
    return out;
}

inline std::shared_ptr<AudioFileItem> analysedItem(const QString& name, const std::vector<float>& samples,
                                                   int64_t rate = 48000) {
    auto item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile("/music/" + name));
    item->setAnalysis(support::analyzeSamples(samples, rate));
    return item;
}

// 100 s, a flat envelope at ±0.2, the loudest window from 20 to 40 s at
// -14 LUFS, a curve at -20 LUFS with -26 from 50 to 60 s and -26.5 from 72
// to 78 s (too short to be a soft passage).
inline AnalysisResult synthetic(int pointsPerSecond = 1) {
    AnalysisResult r;
    r.duration = 100.0;
    r.envelope.bucketCount = 500;
    r.envelope.minValues.assign(500, 0.2f);
    r.envelope.maxValues.assign(500, 0.2f);
    r.windowStart = 20.0;
    r.windowEnd = 40.0;
    r.loudest20sLUFS = -14.0;
    for (int k = 0; k <= 100 * pointsPerSecond; ++k) {
        const double i = static_cast<double>(k) / pointsPerSecond;
        r.times.push_back(i);
        r.loudnessCurve.push_back(i >= 50 && i <= 60 ? -26.0 : (i >= 72 && i <= 78 ? -26.5 : -20.0));
    }
    return r;
}

// The child of `root` with that object name; the test fails without one.
template <typename T> T* child(const QObject& root, const char* name) {
    T* found = root.findChild<T*>(QString::fromLatin1(name));
    EXPECT_NE(found, nullptr) << "no child named " << name;
    return found;
}
