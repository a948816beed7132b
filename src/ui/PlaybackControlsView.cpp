#include "ui/PlaybackControlsView.h"

#include "playback/AudioDeviceManager.h"
#include "ui/Icons.h"
#include "ui/Labelled.h"
#include "ui/PaintKit.h"
#include "ui/Selection.h"

#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

PlaybackControlsView::PlaybackControlsView(BatchSession& state, AudioPlaybackEngine& engine,
                                           PlaybackController& controller, QWidget* parent)
    : QWidget(parent), state_(state), engine_(engine), controller_(controller), play_(new QPushButton),
      stop_(new QPushButton(QStringLiteral("Stop"))), time_(new QLabel), devices_(new QComboBox) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 6);
    row->setSpacing(12);
    // Disabled, they look disabled: the palette's disabled text, not the colour.
    // In the shades of green and red that read on the buttons.
    const auto coloured = [this](const QColor& colour) {
        return QStringLiteral("QPushButton { color: %1 } QPushButton:disabled { color: %2 }")
            .arg(PaintKit::readableOn(colour, {palette().color(QPalette::Button)}).name(),
                 palette().color(QPalette::Disabled, QPalette::ButtonText).name());
    };
    play_->setStyleSheet(coloured(QColor(52, 199, 89)));
    play_->setObjectName(QStringLiteral("play"));
    stop_->setIcon(style()->standardIcon(QStyle::SP_MediaStop));
    stop_->setStyleSheet(coloured(QColor(255, 59, 48)));
    QFont small = time_->font();
    small.setPixelSize(11);
    time_->setFont(small);
    time_->setFixedWidth(130);
    time_->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    auto* output = labelFor(QStringLiteral("O&utput:"), devices_);
    output->setStyleSheet(time_->styleSheet());
    devices_->setMaximumWidth(300);
    auto* refreshButton = new QToolButton;
    refreshButton->setAutoRaise(true);
    refreshButton->setIcon(Icons::icon(QStringLiteral("view-refresh")));
    refreshButton->setToolTip(QStringLiteral("Refresh audio devices"));
    refreshButton->setAccessibleName(refreshButton->toolTip());
    row->addWidget(play_);
    row->addWidget(stop_);
    row->addWidget(time_);
    row->addStretch();
    row->addWidget(output);
    row->addWidget(devices_);
    row->addWidget(refreshButton);

    connect(play_, &QPushButton::clicked, this, [this] { controller_.togglePlay(); });
    connect(stop_, &QPushButton::clicked, this, [this] { engine_.stop(); });
    // Space and Escape without modifiers, anywhere in the window.
    playAction_ = new QAction(QStringLiteral("Play/Pause"), this);
    playAction_->setShortcut(QKeySequence(Qt::Key_Space));
    stopAction_ = new QAction(QStringLiteral("Stop"), this);
    stopAction_->setShortcut(QKeySequence(Qt::Key_Escape));
    for (QAction* action : commands()) {
        action->setShortcutContext(Qt::WindowShortcut);
        addAction(action); // its shortcut works with or without a menu
    }
    connect(playAction_, &QAction::triggered, this, [this] {
        if (play_->isEnabled())
            controller_.togglePlay();
    });
    connect(stopAction_, &QAction::triggered, this, [this] {
        if (stop_->isEnabled())
            engine_.stop();
    });
    connect(refreshButton, &QToolButton::clicked, this, &PlaybackControlsView::refreshDevices);
    connect(devices_, &QComboBox::activated, this,
            [this](int index) { controller_.chooseOutputDevice(devices_->itemData(index).toUInt()); });
    for (auto signal : {&AudioPlaybackEngine::isPlayingChanged, &AudioPlaybackEngine::isPausedChanged,
                        &AudioPlaybackEngine::currentTimeChanged})
        connect(&engine_, signal, this, &PlaybackControlsView::refresh);
    connect(&selection_, &Selection::changed, this, &PlaybackControlsView::refresh);
    connect(&state_, &BatchSession::filesChanged, this, &PlaybackControlsView::refresh);
    refreshDevices();
    refresh();
}

void PlaybackControlsView::refreshDevices() {
    devices_->clear();
    devices_->addItem(QStringLiteral("System Default"), AudioDeviceManager::systemDefaultID);
    for (const AudioDevice& device : AudioDeviceManager::outputDevices())
        devices_->addItem(device.label(), device.id);
    const int current = devices_->findData(controller_.selectedDeviceID());
    devices_->setCurrentIndex(std::max(0, current));
}

void PlaybackControlsView::refresh() {
    const bool playing = engine_.isPlaying();
    play_->setText(playing ? QStringLiteral("Pause") : QStringLiteral("Play"));
    play_->setIcon(style()->standardIcon(playing ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay));
    // A file analysed later enables Play through its change signal.
    if (const AudioFileItemPtr file = selection_.file())
        connect(file.get(), &AudioFileItem::analysisChanged, this, &PlaybackControlsView::refresh,
                Qt::UniqueConnection);
    play_->setEnabled(controller_.canPlay() || engine_.isPaused());
    stop_->setEnabled(playing || engine_.isPaused());
    playAction_->setEnabled(play_->isEnabled());
    stopAction_->setEnabled(stop_->isEnabled());
    time_->setText(controller_.timeString());
}
