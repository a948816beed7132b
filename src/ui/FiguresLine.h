#pragma once

// The line over the waveform that gives every figure of the selected file
// as text: the loudness figures, both peaks, the loudness range, the rate and
// the channels. It can be selected and copied, and a screen reader reads it.

#include "session/BatchSession.h"
#include "ui/Selection.h"

#include <QLabel>

class FiguresLine : public QLabel {
    Q_OBJECT

public:
    explicit FiguresLine(BatchSession& state, QWidget* parent = nullptr);

    // "Peak 20s -14.2 LUFS · Integrated -15.1 LUFS · LRA 6.3 LU · ..."
    static QString describe(const AnalysisResult& analysis);

private:
    void follow();
    void refresh();

    BatchSession& state_;
    Selection& selection_ = Selection::of(state_);
    QMetaObject::Connection fileConnection_;
};
