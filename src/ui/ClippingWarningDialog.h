#pragma once

// Lists the files whose peaks would pass 0 dBFS and asks how to export them.

#include "list/AppState.h"

#include <QDialog>

class QRadioButton;

class ClippingWarningDialog : public QDialog {
    Q_OBJECT

public:
    ClippingWarningDialog(const AppState& state, QWidget* parent = nullptr);
    bool useLimiter() const;
    QRadioButton* limiterChoice() const { return limiter_; }
    QRadioButton* anywayChoice() const { return anyway_; }

private:
    QRadioButton* limiter_;
    QRadioButton* anyway_;
};
