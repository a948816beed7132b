#include "ui/WaveformView.h"
#include "ui/PaintKit.h"

#include "io/NativePath.h"
#include "ui/Icons.h"
#include "ui/MagnifierOverlay.h"
#include "ui/SegmentEditPainter.h"
#include "ui/WaveformPainter.h"

#include <QAbstractButton>
#include <QContextMenuEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

// The "Edit" button: a symbol and the word on a rounded plate, cyan while
// edit mode is on.
class EditButton : public QAbstractButton {
public:
    explicit EditButton(QWidget* parent) : QAbstractButton(parent) {
        setCursor(Qt::PointingHandCursor);
        setAccessibleName(QStringLiteral("Edit segments"));
        setEditMode(false);
    }
    void setEditMode(bool on) {
        on_ = on;
        setToolTip(on ? QStringLiteral("Exit segment edit mode") : QStringLiteral("Enter segment edit mode"));
        update();
    }
    QSize sizeHint() const override {
        QFont f = font();
        f.setPixelSize(15);
        f.setWeight(QFont::Medium);
        return {6 + 15 + 3 + QFontMetrics(f).horizontalAdvance(QStringLiteral("Edit")) + 6, 3 + 18 + 3};
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        QColor content = on_ ? QColor(Qt::cyan) : QColor(255, 255, 255, 204);
        QColor plate = on_ ? QColor(0, 255, 255, 38) : QColor(255, 255, 255, 46);
        QPainterPath path;
        path.addRoundedRect(QRectF(rect()), 4, 4);
        p.fillPath(path, plate);
        const QRect glyph(6, (height() - 15) / 2, 15, 15);
        if (on_) {
            // A filled disc with the scissors cut out in the view's background colour.
            p.setPen(Qt::NoPen);
            p.setBrush(content);
            p.drawEllipse(glyph);
            p.drawPixmap(glyph.adjusted(3, 3, -3, -3),
                         Icons::tinted(QStringLiteral("edit-cut"), QColor(30, 31, 36), 18));
        } else {
            p.drawPixmap(glyph, Icons::tinted(QStringLiteral("edit-cut"), content, 30));
        }
        QFont f = font();
        f.setPixelSize(15);
        f.setWeight(QFont::Medium);
        p.setFont(f);
        p.setPen(content);
        p.drawText(QRect(6 + 15 + 3, 0, width() - 24, height()), Qt::AlignVCenter | Qt::AlignLeft,
                   QStringLiteral("Edit"));
    }

private:
    bool on_ = false;
};

struct WaveformView::StaticKey {
    int64_t bucketCount;
    double windowStart, loudest20sLUFS, duration;
    QSize size;
    qreal pixelRatio;
    bool editMode;
    std::vector<Separator> separators;
    std::vector<SegmentGain> gains;
    bool operator==(const StaticKey&) const = default;
};

QStringList WaveformView::helpLines() {
    return {QStringLiteral("Ctrl+Click to add a separator"),
            QStringLiteral("Drag up/down to adjust segment gain"),
            QStringLiteral("Drag separator to move it"),
            QStringLiteral("Alt+Click separator to remove it"),
            QStringLiteral("Shift+Click segment to reset gain"),
            QStringLiteral("Drag ◣ triangle to adjust fade"),
            QStringLiteral("Hold Ctrl to magnify")};
}

WaveformView::WaveformView(QWidget* parent)
    : QWidget(parent), spinner_(new QTimer(this)), edit_(new EditButton(this)), reset_(new QToolButton(this)),
      help_(new QFrame(this)) {
    setMouseTracking(true);
    setMinimumHeight(150);
    setAttribute(Qt::WA_OpaquePaintEvent);
    spinner_->setInterval(40);
    connect(spinner_, &QTimer::timeout, this, [this] {
        spinnerAngle_ = (spinnerAngle_ + 30) % 360;
        update();
    });
    connect(edit_, &QAbstractButton::clicked, this, &WaveformView::toggleEditMode);
    edit_->setObjectName(QStringLiteral("editSegments"));
    reset_->setObjectName(QStringLiteral("resetSegments"));
    edit_->installEventFilter(this);
    reset_->installEventFilter(this);
    reset_->setCursor(Qt::ArrowCursor); // not the edit mode's resize arrows
    help_->setCursor(Qt::ArrowCursor);

    auto* reset = static_cast<QToolButton*>(reset_);
    reset->setAutoRaise(true);
    reset->setFixedSize(20, 20);
    reset->setIconSize(QSize(11, 11));
    reset->setIcon(QIcon(Icons::tinted(QStringLiteral("view-refresh"), QColor(255, 165, 0), 22)));
    reset->setToolTip(QStringLiteral("Reset all segment edits"));
    reset->setAccessibleName(reset->toolTip());
    connect(reset_, &QAbstractButton::clicked, this, [this] {
        if (file_ && onSegmentEditAction_)
            onSegmentEditAction_(SegmentEditActions::ResetAll{});
    });

    // The help shown the first time edit mode is entered.
    help_->setObjectName(QStringLiteral("editModeHelp"));
    help_->setFixedWidth(280);
    help_->setAutoFillBackground(true);
    help_->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(help_);
    column->setContentsMargins(12, 12, 12, 12);
    column->setSpacing(8);
    auto* header = new QHBoxLayout;
    auto* title = new QLabel(QStringLiteral("Segment Edit Mode"));
    QFont headline = title->font();
    headline.setBold(true);
    title->setFont(headline);
    auto* close = new QToolButton;
    close->setAutoRaise(true);
    close->setIcon(
        QIcon(Icons::tinted(QStringLiteral("window-close"), palette().color(QPalette::PlaceholderText), 24)));
    close->setObjectName(QStringLiteral("closeHelp"));
    close->setAccessibleName(QStringLiteral("Close the help"));
    connect(close, &QToolButton::clicked, help_, &QWidget::hide);
    header->addWidget(title);
    header->addStretch();
    header->addWidget(close);
    column->addLayout(header);
    const QStringList icons = {"list-add",     "drag-vertical", "drag-horizontal", "list-remove",
                               "view-refresh", "fade-handle",   "edit-find"};
    const QStringList lines = helpLines();
    const QColor secondary = PaintKit::secondaryText(palette());
    for (qsizetype i = 0; i < lines.size(); ++i) {
        auto* row = new QHBoxLayout;
        row->setSpacing(6);
        auto* glyph = new QLabel;
        glyph->setPixmap(Icons::tinted(icons[i], secondary, 12));
        auto* text = new QLabel(lines[i]);
        QFont f = text->font();
        f.setPixelSize(12);
        text->setFont(f);
        text->setStyleSheet(QStringLiteral("color: %1").arg(secondary.name()));
        row->addWidget(glyph);
        row->addWidget(text, 1);
        column->addLayout(row);
    }
    help_->adjustSize();
    help_->hide();
    refresh();
}

WaveformView::~WaveformView() = default;

void WaveformView::setFile(std::shared_ptr<AudioFileItem> file) {
    if (file != file_) {
        endPress();
        overlay_.reset(); // the overlay's state belongs to one file
    }
    disconnect(fileConnection_);
    file_ = std::move(file);
    setAccessibleName(file_ ? QStringLiteral("Waveform and loudness curve of ") + NativePath::shownName(file_->path())
                            : QStringLiteral("Waveform"));
    if (file_)
        fileConnection_ = connect(file_.get(), &AudioFileItem::changed, this, &WaveformView::refresh);
    refresh();
}

void WaveformView::setPlayheadTime(double seconds) {
    if (playheadTime_ == seconds)
        return;
    playheadTime_ = seconds;
    update();
}

PlotGeometry WaveformView::plotGeometry() const {
    return PlotGeometry{static_cast<double>(width()), static_cast<double>(height())};
}

bool WaveformView::isEditMode() const { return file_ && file_->isEditMode(); }

const AnalysisResult* WaveformView::analysis() const {
    return file_ && file_->analysis() ? &*file_->analysis() : nullptr;
}

void WaveformView::refresh() {
    const bool loading = file_ && file_->isAnalyzing() && !analysis();
    if (loading && !spinner_->isActive())
        spinner_->start();
    else if (!loading)
        spinner_->stop();
    edit_->setVisible(analysis() != nullptr);
    edit_->setEditMode(isEditMode());
    reset_->setVisible(analysis() && isEditMode() && file_->segmentEdits().hasEdits());
    if (!analysis())
        help_->hide();
    syncOverlay();
    layoutButtons();
    update();
}

SegmentEditOverlay::Context WaveformView::editContext() const {
    return {*analysis(), file_->segmentEdits(), plotGeometry(), onSegmentEditAction_, onSeek_};
}

void WaveformView::endPress() {
    if (!pressActive_)
        return;
    pressActive_ = false;
    if (overlay_ && analysis())
        overlay_->cancel(editContext());
}

void WaveformView::syncOverlay() {
    const bool wanted = isEditMode() && analysis();
    if (!wanted && overlay_) {
        endPress();
        overlay_.reset();
    } else if (wanted && !overlay_) {
        overlay_ = std::make_unique<SegmentEditOverlay>();
        if (hover_)
            overlay_->hover(*hover_, Qt::NoModifier);
    }
    applyCursor();
}

void WaveformView::applyCursor() {
    const AnalysisResult* data = analysis();
    const std::optional<Qt::CursorShape> shape =
        overlay_ && hover_ && data
            ? editModeCursor(*hover_, file_->segmentEdits().separators(), data->duration, plotGeometry())
            : std::nullopt;
    if (shape)
        setCursor(*shape);
    else
        unsetCursor();
}

void WaveformView::layoutButtons() {
    const QSize size = edit_->sizeHint();
    const int x = static_cast<int>(PlotGeometry{}.marginLeft) + 6;
    const int bottom = height() - static_cast<int>(PlotGeometry{}.marginBottom) - 6;
    edit_->setGeometry(x, bottom - size.height(), size.width(), size.height());
    reset_->move(x + size.width() + 6, bottom - size.height() + (size.height() - 20) / 2);
    help_->move(std::max(0, x), std::max(0, bottom - size.height() - help_->height() - 4));
}

void WaveformView::toggleEditMode() {
    const bool entering = !isEditMode();
    if (onToggleEditMode_)
        onToggleEditMode_();
    if (entering && !editModeHelpShown_) {
        editModeHelpShown_ = true;
        help_->show();
        help_->raise();
    }
    refresh();
}

void WaveformView::resizeEvent(QResizeEvent*) { layoutButtons(); }

void WaveformView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), WaveformPainter::background);
    const AnalysisResult* data = analysis();
    if (!data) {
        if (file_ && file_->isAnalyzing()) {
            painter.setRenderHint(QPainter::Antialiasing);
            const QPointF centre = rect().center();
            painter.setPen(QPen(Qt::gray, 3, Qt::SolidLine, Qt::RoundCap));
            painter.drawArc(QRectF(centre.x() - 10, centre.y() - 22, 20, 20), -spinnerAngle_ * 16, 270 * 16);
            painter.drawText(QRectF(0, centre.y() + 2, width(), 20), Qt::AlignHCenter | Qt::AlignTop,
                             QStringLiteral("Analyzing..."));
        }
        return;
    }
    const PlotGeometry g = plotGeometry();
    const bool editMode = isEditMode();
    const SegmentEditSnapshot edits = editMode ? file_->segmentEdits().snapshot() : SegmentEditSnapshot{};
    StaticKey key{data->envelope.bucketCount, data->windowStart, data->loudest20sLUFS, data->duration,    size(),
                  devicePixelRatioF(),        editMode,          edits.separators,     edits.segmentGains};
    if (!staticKey_ || !(*staticKey_ == key)) {
        const auto blank = [&] {
            QPixmap pixmap(size() * devicePixelRatioF());
            pixmap.setDevicePixelRatio(devicePixelRatioF());
            pixmap.fill(Qt::transparent);
            return pixmap;
        };
        StaticKey foregroundKey = key;
        foregroundKey.gains.clear(); // gains only scale the envelope
        if (!foregroundKey_ || !(*foregroundKey_ == foregroundKey)) {
            foreground_ = blank();
            QPainter layer(&foreground_);
            WaveformPainter::paintForeground(layer, *data, editMode ? &edits : nullptr, g);
            foregroundKey_ = std::make_unique<StaticKey>(std::move(foregroundKey));
        }
        staticLayer_ = blank();
        QPainter layer(&staticLayer_);
        WaveformPainter::paintBackdrop(layer, *data, editMode ? &edits : nullptr, g);
        layer.drawPixmap(0, 0, foreground_);
        overlayLayer_ = QPixmap();
        if (editMode) {
            overlayLayer_ = blank();
            QPainter overlay(&overlayLayer_);
            SegmentEditPainter::paint(overlay, *data, edits, g);
        }
        staticKey_ = std::make_unique<StaticKey>(std::move(key));
        ++staticLayerPaints_;
    }
    painter.drawPixmap(0, 0, staticLayer_);
    if (playheadTime_ >= 0 && data->duration > 0)
        WaveformPainter::paintPlayhead(painter, playheadTime_, data->duration, g);
    if (hover_ && data->duration > 0)
        WaveformPainter::paintHover(painter, *data, *hover_, editMode ? &edits : nullptr, g);
    if (!overlayLayer_.isNull())
        painter.drawPixmap(0, 0, overlayLayer_);
    if (overlay_ && overlay_->showMagnifier())
        MagnifierOverlay{*data, edits, overlay_->magnifierPosition()->x(), g, playheadTime_}.paint(painter);
}

void WaveformView::seekTo(double x) {
    const AnalysisResult* data = analysis();
    if (isEditMode() || !data || data->duration <= 0 || !onSeek_)
        return;
    const PlotGeometry g = plotGeometry();
    onSeek_(std::clamp(g.timeAtX(x, data->duration), 0.0, data->duration));
}

void WaveformView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    if (!overlay_) {
        seekTo(event->position().x());
        return;
    }
    pressActive_ = true;
    pressStart_ = event->position();
    overlay_->change(editContext(), pressStart_, pressStart_, event->modifiers());
    update();
}

void WaveformView::mouseMoveEvent(QMouseEvent* event) {
    hover_ = event->position();
    if (overlay_) {
        if (pressActive_)
            overlay_->change(editContext(), *hover_, pressStart_, event->modifiers());
        else
            overlay_->hover(*hover_, event->modifiers());
        applyCursor();
    } else if (event->buttons() & Qt::LeftButton) {
        seekTo(event->position().x());
    }
    update();
}

void WaveformView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !pressActive_ || !overlay_)
        return;
    pressActive_ = false;
    overlay_->end(editContext(), event->position());
    update();
}

void WaveformView::contextMenuEvent(QContextMenuEvent* event) {
    if (!overlay_ || pressActive_)
        return;
    const std::vector<SegmentEditOverlay::MenuItem> items = overlay_->contextMenu(editContext());
    if (items.empty())
        return;
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("segmentMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    for (const SegmentEditOverlay::MenuItem& item : items) {
        menu->addAction(item.text, this, [this, action = item.action] {
            if (onSegmentEditAction_)
                onSegmentEditAction_(action);
        });
    }
    menu->popup(event->globalPos());
}

void WaveformView::leaveEvent(QEvent*) {
    hover_.reset();
    if (overlay_)
        overlay_->leave();
    applyCursor();
    update();
}

// The pointer on a button over the plot is off the plot: no read-out stays behind.
bool WaveformView::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Enter && hover_) {
        hover_.reset();
        if (overlay_)
            overlay_->leave();
        update();
    }
    return QWidget::eventFilter(watched, event);
}
