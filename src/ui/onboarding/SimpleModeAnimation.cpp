#include "ui/onboarding/SimpleModeAnimation.h"

#include "ui/PaintKit.h"
#include "ui/WaveformPainter.h"
#include "ui/onboarding/MockWaveform.h"

#include <QPainter>
#include <QPainterPath>
#include <QTimer>
#include <QVariantAnimation>
#include <cmath>

namespace {

// The waveform view's picture at a small scale.
PlotGeometry miniature(double width, double height) {
    PlotGeometry g{width, height};
    g.marginLeft = 44;
    g.marginRight = 8;
    g.topPadding = 8;
    g.marginBottom = 24;
    g.titleSize = 9;
    g.labelSize = 7;
    return g;
}

// The song with `gainDB` applied to its envelope and curve.
AnalysisResult corrected(const AnalysisResult& mock, double gainDB) {
    AnalysisResult out = mock;
    const auto scale = static_cast<float>(std::pow(10.0, gainDB / 20.0));
    for (float& v : out.envelope.maxValues)
        v = std::min(v * scale, 1.0f);
    for (float& v : out.envelope.minValues)
        v = std::max(v * scale, -1.0f);
    for (double& v : out.loudnessCurve)
        v += gainDB;
    out.loudest20sLUFS += gainDB;
    return out;
}

} // namespace

SimpleModeAnimation::SimpleModeAnimation(QWidget* parent)
    : QWidget(parent), mock_(MockWaveform::shared()), progressAnimation_(new QVariantAnimation(this)),
      correctionAnimation_(new QVariantAnimation(this)) {
    setMinimumHeight(200);
    setMaximumHeight(200);
    connect(progressAnimation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        analyzeProgress_ = v.toDouble();
        update();
    });
    connect(correctionAnimation_, &QVariantAnimation::valueChanged, this, [this](const QVariant& v) {
        correction_ = v.toDouble();
        update();
    });
}

void SimpleModeAnimation::animate(QVariantAnimation* animation, double to, int milliseconds) {
    animation->stop();
    animation->setStartValue(animation == progressAnimation_ ? analyzeProgress_ : correction_);
    animation->setEndValue(to);
    animation->setDuration(milliseconds);
    animation->start();
}

void SimpleModeAnimation::step(int index) {
    if (!isActive_)
        return;
    const int run = run_;
    const auto next = [this, run](int delayMs, int nextIndex) {
        QTimer::singleShot(delayMs, this, [this, run, nextIndex] {
            if (run == run_)
                step(nextIndex);
        });
    };
    switch (index) {
    case 0: // waiting for files
        phase_ = 0;
        progressAnimation_->stop();
        correctionAnimation_->stop();
        analyzeProgress_ = 0;
        correction_ = 0;
        update();
        next(600, 1);
        break;
    case 1: // analysing, left to right
        phase_ = 1;
        progressAnimation_->setEasingCurve(QEasingCurve::Linear);
        animate(progressAnimation_, 1.0, 1500);
        next(1800, 2);
        break;
    case 2: // corrected to the target
        phase_ = 2;
        correctionAnimation_->setEasingCurve(QEasingCurve::InQuad);
        animate(correctionAnimation_, 1.0, 300);
        next(2500, 3);
        break;
    default: // back to the start
        phase_ = 3;
        correctionAnimation_->setEasingCurve(QEasingCurve::OutQuad);
        animate(correctionAnimation_, 0.0, 300);
        next(800, 0);
        break;
    }
}

void SimpleModeAnimation::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (isActive_)
        return;
    isActive_ = true;
    ++run_;
    step(0);
}

void SimpleModeAnimation::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    isActive_ = false;
    ++run_;
    progressAnimation_->stop();
    correctionAnimation_->stop();
}

void SimpleModeAnimation::paintEvent(QPaintEvent*) {
    using namespace PaintKit;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing, true);
    QPainterPath frame;
    frame.addRoundedRect(QRectF(rect()), 8, 8);
    painter.setClipPath(frame);
    painter.fillRect(rect(), WaveformPainter::background);
    const PlotGeometry g = miniature(width(), height());
    const double gain = targetLUFS - mock_.loudest20sLUFS;

    if (phase_ == 0) {
        painter.setPen(pen(withAlpha(Qt::gray, 0.5), 1.0, true, 5, 4));
        painter.drawRoundedRect(QRectF(rect()).adjusted(10, 10, -10, -10), 6, 6);
        QFont font = painter.font();
        font.setPixelSize(13);
        painter.setFont(font);
        painter.setPen(withAlpha(Qt::white, 0.7));
        painter.drawText(rect(), Qt::AlignCenter, QStringLiteral("Drop audio files here"));
        return;
    }
    if (phase_ == 1) {
        // Revealed up to the analysis's progress.
        painter.setClipRect(QRectF(0, 0, g.marginLeft + analyzeProgress_ * g.plotW(), height()), Qt::IntersectClip);
        WaveformPainter::paintStaticLayer(painter, mock_, nullptr, g);
        return;
    }
    // Corrected: the song moves towards the dashed target line, and the
    // correction is written beside it.
    const AnalysisResult shown = corrected(mock_, gain * correction_);
    painter.setOpacity(phase_ == 3 ? std::max(correction_, 0.0) : 1.0);
    WaveformPainter::paintStaticLayer(painter, shown, nullptr, g);
    const double y = g.yOfLUFS(targetLUFS);
    const QColor green(52, 199, 89);
    painter.setOpacity(painter.opacity() * correction_);
    painter.setPen(pen(green, 1.0, true));
    painter.drawLine(QPointF(g.marginLeft, y), QPointF(g.width - g.marginRight, y));
    painter.setFont(monospaced(g.titleSize, true));
    painter.setPen(green);
    painter.drawText(QRectF(g.marginLeft, g.yTop(), g.plotW() - 6, g.plotH() - 4), Qt::AlignRight | Qt::AlignBottom,
                     QString::asprintf("Target %.0f LUFS  %+.1f dB", targetLUFS, gain));
}
