#pragma once

// The plot area shared by the waveform, the edit overlay and the magnifier:
// margins around a plot whose x is time and whose y is loudness (−60 LUFS at
// the bottom, 0 at the top) or sample value (±1 about the middle). The
// defaults are the waveform view's; the introduction's miniature draws the
// same picture with smaller margins and labels.

#include <algorithm>

struct PlotGeometry {
    static constexpr double lufsMin = -60.0;
    static constexpr double lufsMax = 0.0;

    double width = 0.0;
    double height = 0.0;
    double marginLeft = 60.0;
    double marginRight = 10.0;
    double topPadding = 10.0;
    double marginBottom = 40.0;
    // Text sizes in points: the loudest window's label, the scales' labels.
    double titleSize = 12.0;
    double labelSize = 8.0;

    double plotW() const { return width - marginLeft - marginRight; }
    double yTop() const { return topPadding; }
    double yBot() const { return height - marginBottom; }
    double plotH() const { return yBot() - yTop(); }
    double midY() const { return (yTop() + yBot()) / 2.0; }
    bool isDrawable() const { return plotW() > 0 && plotH() > 0; }

    double xOfTime(double t, double duration) const {
        return duration <= 0 ? marginLeft : marginLeft + t / duration * plotW();
    }
    double timeAtX(double x, double duration) const { return duration * ((x - marginLeft) / plotW()); }
    double yOfLUFS(double lufs) const {
        const double clamped = std::clamp(lufs, lufsMin, lufsMax);
        return yBot() - plotH() * (clamped - lufsMin) / (lufsMax - lufsMin);
    }
    double yOfSample(double v) const { return midY() - plotH() * 0.5 * v; }
};
