#include "ui/CorrectionControl.h"

#include "ui/PaintKit.h"
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>
#include <QVBoxLayout>
#include <cmath>

// The value: drag it up to raise the correction.
class DragValue : public QWidget {
public:
    std::function<void(double startValue, double dy)> onDrag;
    std::function<double()> current;
    QString text;
    bool dragging = false;

    explicit DragValue(QWidget* parent) : QWidget(parent) {
        setFixedWidth(50);
        setToolTip(QStringLiteral("Drag up/down to adjust"));
        setCursor(Qt::SizeVerCursor);
        setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    }
    QSize sizeHint() const override { return {50, fontMetrics().height() + 4}; }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        if (dragging) {
            QColor accent = palette().color(QPalette::Highlight);
            accent.setAlphaF(0.15f);
            QPainterPath plate;
            plate.addRoundedRect(QRectF(rect()), 4, 4);
            p.fillPath(plate, accent);
        }
        p.setPen(palette().color(QPalette::Text));
        p.drawText(rect().adjusted(4, 2, -4, -2), Qt::AlignRight | Qt::AlignVCenter, text);
    }
    void mousePressEvent(QMouseEvent* event) override {
        pressY_ = event->position().y();
        pressed_ = event->button() == Qt::LeftButton;
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (!pressed_)
            return;
        const double dy = event->position().y() - pressY_;
        if (!dragging) {
            if (std::abs(dy) < CorrectionControl::dragThreshold)
                return;
            dragging = true;
            startValue_ = current();
            update();
        }
        onDrag(startValue_, dy);
    }
    void mouseReleaseEvent(QMouseEvent*) override {
        pressed_ = false;
        if (dragging) {
            dragging = false;
            update();
        }
    }

private:
    bool pressed_ = false;
    double pressY_ = 0.0;
    double startValue_ = 0.0;
};

CorrectionControl::CorrectionControl(std::shared_ptr<AudioFileItem> file, std::function<void()> onChanged,
                                     QWidget* parent)
    : QWidget(parent), file_(std::move(file)), onChanged_(std::move(onChanged)), value_(new DragValue(this)),
      up_(new QToolButton(this)), down_(new QToolButton(this)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(2, 0, 2, 0);
    row->setSpacing(2);
    row->addWidget(value_);
    auto* stepper = new QVBoxLayout;
    stepper->setSpacing(0);
    // Arrows a pointer can hit, half the row's height each.
    const int arrowHeight = std::max(10, (fontMetrics().height() + 6) / 2);
    for (QToolButton* b : {up_, down_}) {
        b->setAutoRaise(true);
        b->setFixedSize(16, arrowHeight);
        b->setAutoRepeat(true);
        stepper->addWidget(b);
    }
    up_->setArrowType(Qt::UpArrow);
    up_->setObjectName(QStringLiteral("stepUp"));
    down_->setArrowType(Qt::DownArrow);
    down_->setObjectName(QStringLiteral("stepDown"));
    row->addLayout(stepper);
    auto* unit = new QLabel(QStringLiteral("dB"), this);
    QFont caption = unit->font();
    caption.setPixelSize(10);
    unit->setFont(caption);
    unit->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    // On the number's baseline, not above it.
    row->addWidget(unit, 0, Qt::AlignBaseline);
    row->addStretch();

    value_->setObjectName(QStringLiteral("correctionValue"));
    value_->current = [this] { return file_->correctionDB(); };
    value_->onDrag = [this](double start, double dy) { store(afterDrag(start, dy)); };
    connect(up_, &QToolButton::clicked, this, [this] { store(std::min(maximumDB, file_->correctionDB() + stepDB)); });
    connect(down_, &QToolButton::clicked, this, [this] { store(std::max(minimumDB, file_->correctionDB() - stepDB)); });
    connect(file_.get(), &AudioFileItem::correctionChanged, this, &CorrectionControl::refresh);
    refresh();
}

double CorrectionControl::afterDrag(double start, double dy) {
    const double raw = std::round((start - dy / pointsPerDB) * 10.0) / 10.0; // halves away from zero
    return std::clamp(raw, minimumDB, maximumDB);
}

bool CorrectionControl::isDragging() const { return value_->dragging; }

// Every change, even to the same value, makes the correction manual.
void CorrectionControl::store(double value) {
    file_->setCorrectionDB(value);
    file_->setIsManualOverride(true);
    if (onChanged_)
        onChanged_();
}

void CorrectionControl::refresh() {
    value_->text = QString::asprintf("%+.1f", file_->correctionDB());
    value_->update();
}
