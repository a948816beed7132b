#pragma once

// A bundled demonstration video playing without controls, scaled to fit
// with its aspect kept, from its first frame on and around again without a
// pause. A video that is not there leaves the area empty.

#include "ui/onboarding/VideoLoop.h"

#include <QImage>
#include <QTimer>
#include <QWidget>

class LoopingVideoView : public QWidget {
    Q_OBJECT

public:
    // The application's video `fileName`.`fileExtension` (":/videos/...").
    LoopingVideoView(const QString& fileName, const QString& fileExtension, QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void advance();

    VideoLoop video_;
    QImage frame_;
    QTimer timer_;
};
