#pragma once

// The five-page introduction, window-modal over the main window, 640 x 520:
// the page area, a divider and a footer with Skip, one dot per page, Back
// (from the second page on) and Next, which reads Get Started on the last
// page and also answers Return. Pages slide in from the side they are
// reached from over 0.3 s. Closing it by any way only closes it.

#include <QDialog>

class QLabel;
class QPushButton;
class QParallelAnimationGroup;

class OnboardingWizardView : public QDialog {
    Q_OBJECT

public:
    explicit OnboardingWizardView(QWidget* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    enum class Edge { leading, trailing };

    void goTo(int page, Edge direction);
    void refreshFooter();

    int currentPage_ = 0;
    QWidget* pageArea_;
    QWidget* shown_ = nullptr;
    QParallelAnimationGroup* slide_ = nullptr;
    QWidget* dots_;
    QPushButton* back_;
    QPushButton* primary_;
};
