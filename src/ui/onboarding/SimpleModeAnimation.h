#pragma once

// The introduction's miniature of the waveform view, drawn by the waveform's
// own painter on the made-up song: "Drop audio files here", then the
// analysis revealed from left to right, then the correction towards the
// target, then back to the start. The loop runs only while the widget is
// shown and stops within one step after it is hidden.

#include "analysis/AnalysisResult.h"

#include <QWidget>

class QVariantAnimation;

class SimpleModeAnimation : public QWidget {
    Q_OBJECT

public:
    // The target the miniature corrects the song towards.
    static constexpr double targetLUFS = -14.0;

    explicit SimpleModeAnimation(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void step(int index);
    void animate(QVariantAnimation* animation, double to, int milliseconds);

    const AnalysisResult& mock_;
    int phase_ = 0;
    double analyzeProgress_ = 0.0;
    double correction_ = 0.0; // 0 = as measured, 1 = corrected to the target
    bool isActive_ = false;
    int run_ = 0; // steps of an earlier run do nothing
    QVariantAnimation* progressAnimation_;
    QVariantAnimation* correctionAnimation_;
};
