#include "ui/onboarding/LoopingVideoView.h"

#include <QPainter>
#include <QPainterPath>

static void registerVideoResources() {
    static const bool registered = [] {
        Q_INIT_RESOURCE(videos);
        return true;
    }();
    (void)registered;
}

static QString resourcePath(const QString& fileName, const QString& fileExtension) {
    registerVideoResources();
    return QStringLiteral(":/videos/%1.%2").arg(fileName, fileExtension);
}

LoopingVideoView::LoopingVideoView(const QString& fileName, const QString& fileExtension, QWidget* parent)
    : QWidget(parent), video_(resourcePath(fileName, fileExtension)) {
    setObjectName(fileName);
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(std::max(1, static_cast<int>(video_.frameInterval() * 1000.0 + 0.5)));
    connect(&timer_, &QTimer::timeout, this, &LoopingVideoView::advance);
    advance(); // the first frame is there before the view is shown
}

void LoopingVideoView::advance() {
    const VideoFrame* frame = video_.next();
    if (!frame) {
        timer_.stop();
        return;
    }
    frame_ = QImage(reinterpret_cast<const uchar*>(frame->pixels.data()), frame->width, frame->height, frame->width * 4,
                    QImage::Format_RGB32)
                 .copy();
    update();
}

void LoopingVideoView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (video_.isOpen())
        timer_.start();
}

void LoopingVideoView::hideEvent(QHideEvent* event) {
    QWidget::hideEvent(event);
    timer_.stop();
}

void LoopingVideoView::paintEvent(QPaintEvent*) {
    if (frame_.isNull())
        return;
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, true);
    painter.setRenderHint(QPainter::Antialiasing, true);
    const QSizeF fitted = QSizeF(frame_.size()).scaled(QSizeF(size()), Qt::KeepAspectRatio);
    const QRectF target(QPointF((width() - fitted.width()) / 2, (height() - fitted.height()) / 2), fitted);
    QPainterPath rounded;
    rounded.addRoundedRect(target, 8, 8);
    painter.setClipPath(rounded);
    painter.drawImage(target, frame_);
}
