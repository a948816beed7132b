#pragma once

// What the widget tests share: a file measured by hand, and finding children.

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
#include <vector>

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
