#pragma once

// The selected file's waveform: envelope, loudness curve, loudest window,
// soft passages, playhead and hover read-out, with click-and-drag seeking and
// the button that switches segment edit mode. In edit mode the segment edit
// overlay takes the pointer: it draws the edits, turns gestures into edit
// actions, sets the pointer shape, offers a context menu and shows the
// magnifier. The static layer and the overlay's drawing are painted into
// cached pixmaps and repainted only when what they show changes; the
// playhead, the hover read-out and the magnifier are painted over them on
// every update.

#include "editing/SegmentEditAction.h"
#include "session/AudioFileItem.h"
#include "ui/PlotGeometry.h"
#include "ui/SegmentEditOverlay.h"

#include <QPixmap>
#include <QPointF>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>

class QAbstractButton;
class QFrame;
class QTimer;

class WaveformView : public QWidget {
    Q_OBJECT

public:
    explicit WaveformView(QWidget* parent = nullptr);
    ~WaveformView() override;

    // The file shown; the view follows its analysis, edit mode and edits.
    void setFile(std::shared_ptr<AudioFileItem> file);
    // Negative: no playhead.
    void setPlayheadTime(double seconds);
    void setOnToggleEditMode(std::function<void()> callback) { onToggleEditMode_ = std::move(callback); }
    void setOnSeek(std::function<void(double)> callback) { onSeek_ = std::move(callback); }
    // For the segment edit overlay laid over the plot in edit mode.
    void setOnSegmentEditAction(std::function<void(const SegmentEditAction&)> callback) {
        onSegmentEditAction_ = std::move(callback);
    }

    PlotGeometry plotGeometry() const;
    // What the Edit button does: into edit mode (with its help, the first
    // time) or out of it.
    void toggleEditMode();
    // The edit-mode help, in order, with the keys of this platform.
    static QStringList helpLines();

    QSize minimumSizeHint() const override { return {300, 150}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void leaveEvent(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    friend struct WaveformViewProbe; // tests count repaints of the cached layer
    struct StaticKey;

    void refresh();
    void layoutButtons();
    void seekTo(double x);
    bool isEditMode() const;
    const AnalysisResult* analysis() const;
    // Creates the overlay in edit mode, ends it (and a drag in progress) outside.
    void syncOverlay();
    void endPress();
    SegmentEditOverlay::Context editContext() const;
    void applyCursor();

    std::shared_ptr<AudioFileItem> file_;
    QMetaObject::Connection fileConnection_;
    double playheadTime_ = -1.0;
    std::optional<QPointF> hover_;
    std::function<void()> onToggleEditMode_;
    std::function<void(double)> onSeek_;
    std::function<void(const SegmentEditAction&)> onSegmentEditAction_;
    bool editModeHelpShown_ = false;

    std::unique_ptr<SegmentEditOverlay> overlay_;
    bool pressActive_ = false; // a left press in edit mode, until released
    QPointF pressStart_;

    // The static layer as shown, the part of it over the envelope (kept, as
    // a gain change does not touch it), and the overlay's drawing.
    QPixmap staticLayer_;
    QPixmap foreground_;
    QPixmap overlayLayer_;
    std::unique_ptr<StaticKey> staticKey_;
    std::unique_ptr<StaticKey> foregroundKey_;
    int staticLayerPaints_ = 0; // it is cached between
    QTimer* spinner_;
    int spinnerAngle_ = 0;
    class EditButton* edit_;
    QAbstractButton* reset_;
    QFrame* help_;
};
