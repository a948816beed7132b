#pragma once

// Lists the files whose peaks would pass 0 dBFS and asks how to export them.

#include "session/AudioFileItem.h"

#include <QDialog>
#include <vector>

class QRadioButton;

class ClippingWarningDialog : public QDialog {
    Q_OBJECT

public:
    // Lists the files of `files` that would clip.
    ClippingWarningDialog(const std::vector<AudioFileItemPtr>& files, double ceilingDBTP, QWidget* parent = nullptr);
    bool useLimiter() const;

private:
    QRadioButton* limiter_;
    QRadioButton* anyway_;
};
