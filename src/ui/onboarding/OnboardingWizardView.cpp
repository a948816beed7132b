#include "ui/onboarding/OnboardingWizardView.h"

#include "ui/PaintKit.h"
#include "ui/onboarding/OnboardingPages.h"

#include <QEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QPainter>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

// Five 7-point dots, the current page's in the accent colour.
class PageDots : public QWidget {
public:
    explicit PageDots(const int& current) : current_(current) { setFixedSize(OnboardingPages::pageCount * 15, 12); }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing, true);
        p.setPen(Qt::NoPen);
        QColor other = palette().color(QPalette::PlaceholderText);
        other.setAlphaF(0.3f);
        for (int i = 0; i < OnboardingPages::pageCount; ++i) {
            p.setBrush(i == current_ ? palette().color(QPalette::Highlight) : other);
            p.drawEllipse(QRectF(i * 15 + 4, 2.5, 7, 7));
        }
    }

private:
    const int& current_;
};

QPushButton* footerButton(const QString& label, bool semibold = false) {
    auto* button = new QPushButton(label);
    QFont font = button->font();
    font.setPixelSize(13);
    if (semibold)
        font.setWeight(QFont::DemiBold);
    button->setFont(font);
    button->setAutoDefault(false);
    return button;
}

} // namespace

OnboardingWizardView::OnboardingWizardView(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("onboarding"));
    setWindowTitle(QStringLiteral("Welcome to Sonivel"));
    setWindowModality(Qt::WindowModal);
    setFixedSize(640, 520);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    pageArea_ = new QWidget;
    pageArea_->installEventFilter(this);
    column->addWidget(pageArea_, 1);
    auto* divider = new QFrame;
    divider->setFrameShape(QFrame::HLine);
    divider->setFrameShadow(QFrame::Sunken);
    column->addWidget(divider);

    auto* footer = new QHBoxLayout;
    footer->setContentsMargins(24, 14, 24, 14);
    QPushButton* skip = footerButton(QStringLiteral("Skip"));
    skip->setObjectName(QStringLiteral("skip"));
    skip->setFlat(true);
    skip->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    connect(skip, &QPushButton::clicked, this, &QDialog::reject);
    dots_ = new PageDots(currentPage_);
    back_ = footerButton(QStringLiteral("Back"));
    back_->setObjectName(QStringLiteral("back"));
    connect(back_, &QPushButton::clicked, this, [this] { goTo(currentPage_ - 1, Edge::leading); });
    primary_ = footerButton(QStringLiteral("Next"), true);
    primary_->setObjectName(QStringLiteral("primary"));
    primary_->setDefault(true); // Return presses it
    connect(primary_, &QPushButton::clicked, this, [this] {
        if (currentPage_ >= OnboardingPages::pageCount - 1)
            accept();
        else
            goTo(currentPage_ + 1, Edge::trailing);
    });
    footer->addWidget(skip);
    footer->addStretch();
    footer->addWidget(dots_);
    footer->addStretch();
    footer->addWidget(back_);
    footer->addWidget(primary_);
    column->addLayout(footer);

    shown_ = OnboardingPages::make(0);
    shown_->setParent(pageArea_);
    refreshFooter();
}

void OnboardingWizardView::goTo(int page, Edge direction) {
    if (page < 0 || page >= OnboardingPages::pageCount || page == currentPage_)
        return;
    if (slide_) // a slide still running ends where it was going
        slide_->setCurrentTime(slide_->totalDuration());
    currentPage_ = page;
    QWidget* outgoing = shown_;
    shown_ = OnboardingPages::make(page);
    shown_->setParent(pageArea_);
    shown_->setGeometry(pageArea_->rect());
    const int w = pageArea_->width();
    const int from = direction == Edge::trailing ? w : -w;
    slide_ = new QParallelAnimationGroup(this);
    for (auto [widget, start, end] : {std::tuple{shown_, from, 0}, std::tuple{outgoing, 0, -from}}) {
        auto* move = new QPropertyAnimation(widget, "pos", slide_);
        move->setStartValue(QPoint(start, 0));
        move->setEndValue(QPoint(end, 0));
        move->setDuration(300);
        move->setEasingCurve(QEasingCurve::InOutQuad);
    }
    shown_->move(from, 0);
    shown_->show();
    QParallelAnimationGroup* slide = slide_;
    connect(slide_, &QAbstractAnimation::finished, this, [this, slide, outgoing] {
        outgoing->deleteLater(); // its animation and videos stop with it
        slide->deleteLater();
        if (slide_ == slide)
            slide_ = nullptr;
    });
    slide_->start();
    refreshFooter();
}

void OnboardingWizardView::refreshFooter() {
    const bool last = currentPage_ == OnboardingPages::pageCount - 1;
    back_->setVisible(currentPage_ > 0);
    primary_->setText(last ? QStringLiteral("Get Started") : QStringLiteral("Next"));
    primary_->setMinimumWidth(primary_->fontMetrics().horizontalAdvance(primary_->text()) + 36);
    dots_->update();
}

bool OnboardingWizardView::eventFilter(QObject* watched, QEvent* event) {
    if (watched == pageArea_ && event->type() == QEvent::Resize && !slide_ && shown_)
        shown_->setGeometry(pageArea_->rect());
    return QDialog::eventFilter(watched, event);
}
