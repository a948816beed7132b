#include "ui/BatchView.h"

#include "io/NativePath.h"
#include "playback/DefaultOutput.h"
#include "ui/ExportControlsView.h"
#include "ui/FiguresLine.h"
#include "ui/FileTableView.h"
#include "ui/Icons.h"
#include "ui/Labelled.h"
#include "ui/PaintKit.h"
#include "ui/PlaybackControlsView.h"
#include "ui/Selection.h"
#include "ui/WaveformPainter.h"
#include "ui/WaveformView.h"

#include <QAction>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QDragEnterEvent>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

namespace {

template <typename E> void showChoice(QComboBox* box, E value) {
    box->setCurrentIndex(box->findData(static_cast<int>(value)));
}
template <typename E> E choiceOf(const QComboBox* box) { return static_cast<E>(box->currentData().toInt()); }

// A drop-down of an enum's values by their names for the user, showing `current`.
template <typename E>
QComboBox* choiceBox(const char* objectName, std::initializer_list<std::pair<const char*, E>> items, E current,
                     const QString& tip) {
    auto* box = new QComboBox;
    box->setObjectName(QLatin1String(objectName));
    for (const auto& [text, value] : items)
        box->addItem(QString::fromUtf8(text), static_cast<int>(value));
    box->setToolTip(tip);
    showChoice(box, current);
    return box;
}

QFrame* divider() {
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

// The target field: any number may be typed; out of range it is clamped
// into -40 ... -3 when entered. What is not a number ("", "-", ".") leaves
// the target as it was.
class TargetField : public QDoubleSpinBox {
public:
    // Told of a typed value outside the range, before it is held to it.
    std::function<void(double typed)> onHeldToRange;

    QValidator::State validate(QString& text, int& pos) const override {
        const QValidator::State state = QDoubleSpinBox::validate(text, pos);
        if (state != QValidator::Invalid)
            return state;
        return typed(text) || text == QLatin1String("-") ? QValidator::Intermediate : QValidator::Invalid;
    }
    void fixup(QString& input) const override {
        if (const std::optional<double> v = typed(input))
            input = textFromValue(std::clamp(*v, minimum(), maximum()));
    }
    double valueFromText(const QString& text) const override {
        const std::optional<double> v = typed(text);
        return v ? std::clamp(*v, minimum(), maximum()) : value();
    }

protected:
    // Return enters the value and hands the keyboard back to the window, so
    // that Space plays instead of typing here.
    void keyPressEvent(QKeyEvent* event) override {
        const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
        if (enter)
            tellIfOutside();
        QDoubleSpinBox::keyPressEvent(event);
        if (enter)
            clearFocus();
    }
    void focusOutEvent(QFocusEvent* event) override {
        tellIfOutside();
        QDoubleSpinBox::focusOutEvent(event);
    }

private:
    // Either decimal mark, whatever the language: "-14,5" is "-14.5" (no
    // target between -40 and -3 has a thousands separator).
    static std::optional<double> typed(QString text) {
        text.replace(QLatin1Char(','), QLatin1Char('.'));
        bool number = false;
        const double v = QLocale::c().toDouble(text.trimmed(), &number);
        return number ? std::optional(v) : std::nullopt;
    }
    void tellIfOutside() {
        const std::optional<double> v = typed(lineEdit()->text());
        if (v && (*v < minimum() || *v > maximum()) && onHeldToRange)
            onHeldToRange(*v);
    }
};

} // namespace

QString BatchView::editModeHelpLine() {
    return QStringLiteral("Ctrl+Click: add separator  ·  Drag ↕: adjust gain  ·  Drag separator ↔: move  ·  "
                          "Alt+Click: remove separator  ·  Shift+Click: reset gain  ·  Drag ◣: adjust fade ·  "
                          "Hold Ctrl : magnifier");
}

BatchView::BatchView(BatchSession& state, ExportSession& session, QUndoStack* undo, Dialogs dialogs,
                     std::unique_ptr<AudioOutput> output, QWidget* parent)
    : QWidget(parent), state_(state), session_(session), dialogs_(std::move(dialogs)), statusLine_(state, session),
      engine_(std::make_unique<AudioPlaybackEngine>(output ? std::move(output) : makeDefaultAudioOutput())) {
    controller_ = std::make_unique<PlaybackController>(state_, *engine_);
    history_ = std::make_unique<EditHistory>(state_, *engine_, undo);
    setAcceptDrops(true);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addLayout(buildToolbar());
    column->addWidget(divider());
    column->addWidget(buildTableAndWaveform(), 1);
    column->addWidget(divider());
    auto* transport = new PlaybackControlsView(state_, *engine_, *controller_);
    commands_.playback = transport->commands();
    column->addWidget(transport);
    column->addWidget(divider());
    // Inset from the window's edges, title included.
    auto* exportRow = new QHBoxLayout;
    exportRow->setContentsMargins(12, 6, 12, 6);
    exportControls_ = new ExportControlsView(state_, session_, *history_, statusLine_, dialogs_);
    commands_.file = exportControls_->commands();
    exportRow->addWidget(exportControls_);
    column->addLayout(exportRow);
    column->addWidget(buildProgressStrip());
    column->addWidget(buildStatusLine());
    connectActions();
    onSelectionChanged();
    refreshProgress();
}

// The toolbar: Add Files, Remove and the target.
QLayout* BatchView::buildToolbar() {
    auto* toolbar = new QHBoxLayout;
    toolbar->setContentsMargins(12, 8, 12, 8);
    toolbar->setSpacing(6);
    add_ = new QPushButton(QStringLiteral("Add Files"));
    add_->setObjectName(QStringLiteral("add"));
    add_->setIcon(QIcon::fromTheme(QStringLiteral("list-add")));
    remove_ = new QPushButton(QStringLiteral("Remove"));
    remove_->setObjectName(QStringLiteral("remove"));
    remove_->setIcon(QIcon::fromTheme(QStringLiteral("list-remove")));
    auto* field = new TargetField;
    target_ = field;
    target_->setObjectName(QStringLiteral("target"));
    target_->setDecimals(1);
    target_->setRange(-40.0, -3.0); // typed values are clamped into range
    target_->setSingleStep(0.5);
    target_->setCorrectionMode(QAbstractSpinBox::CorrectToPreviousValue);
    target_->setKeyboardTracking(false);
    target_->setFixedWidth(80);
    const QString range = QStringLiteral("from %1 to %2 LUFS").arg(target_->minimum()).arg(target_->maximum());
    target_->setToolTip(QStringLiteral("Target loudness, ") + range);
    field->onHeldToRange = [this, field, range](double typed) {
        statusLine_.show(QStringLiteral("The target goes %1: %2 became %3.")
                             .arg(range)
                             .arg(typed)
                             .arg(std::clamp(typed, field->minimum(), field->maximum()), 0, 'f', 1));
    };
    target_->setValue(state_.targetLUFS());
    toolbar->addWidget(add_);
    toolbar->addWidget(remove_);
    toolbar->addStretch();
    toolbar->addWidget(labelFor(QStringLiteral("&Target LUFS:"), target_));
    toolbar->addWidget(target_);
    preset_ = new QComboBox;
    preset_->setObjectName(QStringLiteral("preset"));
    preset_->setAccessibleName(QStringLiteral("Target preset"));
    preset_->setToolTip(QStringLiteral("A platform's published target: sets the target, the figure and the "
                                       "export's ceiling together; editing any of them makes it Custom"));
    preset_->addItem(QStringLiteral("Custom"), static_cast<int>(TargetPreset::custom));
    preset_->setItemData(0, presetDescription(TargetPreset::custom), Qt::ToolTipRole);
    for (const PresetRow& row : presetRows) {
        preset_->addItem(QString::fromUtf8(row.label), static_cast<int>(row.preset));
        preset_->setItemData(preset_->count() - 1, presetDescription(row.preset), Qt::ToolTipRole);
    }
    showChoice(preset_, state_.preset());
    // As wide as most names; a longer one is cut in the closed box only.
    preset_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    preset_->setMinimumContentsLength(9);
    toolbar->addWidget(preset_);
    channelMix_ =
        choiceBox("channelMix", {{"Sum (BS.1770)", ChannelMix::sum}, {"Average (classic)", ChannelMix::average}},
                  state_.channelMix(),
                  QStringLiteral("How a file's channels make its loudness: summed as every BS.1770 meter "
                                 "reads it, or averaged into one as earlier versions measured"));
    normalizeBy_ =
        choiceBox("normalizeBy", {{"Loudest 20 s", NormalizeBy::loudest}, {"Integrated", NormalizeBy::integrated}},
                  state_.normalizeBy(),
                  QStringLiteral("The figure every correction aims at the target: the loudness of a "
                                 "file's loudest 20 seconds, or of the whole file"));
    for (const auto& [text, box] : {std::pair{QStringLiteral("&Normalize by:"), normalizeBy_},
                                    std::pair{QStringLiteral("&Channels:"), channelMix_}}) {
        toolbar->addWidget(labelFor(text, box));
        toolbar->addWidget(box);
    }
    return toolbar;
}

// The file table over the waveform, or the text shown in its place.
QSplitter* BatchView::buildTableAndWaveform() {
    auto* split = new QSplitter(Qt::Vertical);
    split->setObjectName(QStringLiteral("tableAndWaveform"));
    auto* table = new FileTableView(state_);
    table->setMinimumHeight(150);
    table->setAccessibleName(QStringLiteral("Files"));
    table->setOnCorrectionChanged([this] { controller_->updateLiveGain(); });
    waveformArea_ = new QStackedWidget;
    waveformArea_->setMinimumHeight(120);
    noSelection_ = new QLabel(QStringLiteral("Select a file to view waveform"));
    noSelection_->setObjectName(QStringLiteral("waveformPlaceholder"));
    noSelection_->setAlignment(Qt::AlignCenter);
    noSelection_->setAutoFillBackground(true);
    QPalette dark = noSelection_->palette();
    dark.setColor(QPalette::Window, WaveformPainter::background);
    dark.setColor(QPalette::WindowText, QColor(150, 150, 155));
    noSelection_->setPalette(dark);
    waveform_ = new WaveformView;
    waveform_->setOnSeek([this](double t) { engine_->seek(t); });
    waveform_->setOnSegmentEditAction(
        [this](const SegmentEditAction& action) { history_->handleSegmentEditAction(action, selection_.file()); });
    waveform_->setOnToggleEditMode([this] {
        if (const AudioFileItemPtr file = selection_.file()) {
            file->setIsEditMode(!file->isEditMode());
            refreshStatus();
        }
    });
    // The selected file's figures as text over its waveform.
    waveformPage_ = new QWidget;
    auto* page = new QVBoxLayout(waveformPage_);
    page->setContentsMargins(0, 0, 0, 0);
    page->setSpacing(0);
    page->addWidget(new FiguresLine(state_));
    page->addWidget(waveform_, 1);
    waveformArea_->addWidget(noSelection_);
    waveformArea_->addWidget(waveformPage_);
    split->addWidget(table);
    split->addWidget(waveformArea_);
    split->setStretchFactor(0, 2);
    split->setStretchFactor(1, 3);
    split->setSizes({220, 330});
    split->setChildrenCollapsible(false);
    return split;
}

// The strip under the export controls, shown only while exporting.
QFrame* BatchView::buildProgressStrip() {
    progress_ = new QFrame;
    progress_->setObjectName(QStringLiteral("progressStrip"));
    progress_->setAutoFillBackground(true);
    progress_->setStyleSheet(QStringLiteral("QFrame { background: rgba(52, 199, 89, 20); }"));
    auto* strip = new QVBoxLayout(progress_);
    strip->setContentsMargins(12, 8, 12, 8);
    strip->setSpacing(4);
    auto* stripRow = new QHBoxLayout;
    auto* stripIcon = new QLabel;
    stripIcon->setPixmap(Icons::tinted(QStringLiteral("document-drop"), QColor(52, 199, 89), 32)
                             .scaled(16, 16, Qt::KeepAspectRatio, Qt::SmoothTransformation));
    stripRow->addWidget(stripIcon);
    progressText_ = new QLabel;
    progressText_->setObjectName(QStringLiteral("progressText"));
    progressPercent_ = new QLabel;
    progressPercent_->setObjectName(QStringLiteral("progressPercent"));
    progressPercent_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    stripRow->addWidget(progressText_);
    stripRow->addStretch();
    stripRow->addWidget(progressPercent_);
    strip->addLayout(stripRow);
    progressBar_ = new QProgressBar;
    progressBar_->setRange(0, 1000);
    progressBar_->setTextVisible(false);
    progressBar_->setStyleSheet(QStringLiteral("QProgressBar::chunk { background: #34c759; }"));
    strip->addWidget(progressBar_);
    return progress_;
}

QLabel* BatchView::buildStatusLine() {
    status_ = new QLabel;
    status_->setObjectName(QStringLiteral("statusLine"));
    QFont caption = status_->font();
    caption.setPixelSize(11);
    status_->setFont(caption);
    status_->setContentsMargins(12, 4, 12, 4);
    return status_;
}

// What the buttons, shortcuts, state and engine set off.
void BatchView::connectActions() {
    connect(add_, &QPushButton::clicked, this, &BatchView::addFiles);
    removeAction_ = new QAction(QStringLiteral("Remove File"), this);
    removeAction_->setShortcuts({QKeySequence(Qt::Key_Delete), QKeySequence(Qt::CTRL | Qt::Key_Backspace),
                                 QKeySequence(Qt::CTRL | Qt::Key_Delete)});
    editAction_ = new QAction(QStringLiteral("Edit Segments"), this);
    editAction_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_E));
    commands_.edit = {removeAction_, editAction_};
    for (QAction* action : commands_.edit) {
        action->setShortcutContext(Qt::WindowShortcut);
        addAction(action);
    }
    auto* album = new QAction(QStringLiteral("Album Mode"), this);
    album->setCheckable(true);
    album->setChecked(state_.albumMode());
    album->setStatusTip(QStringLiteral("Give the tracks of an album one correction, so that the album keeps its "
                                       "balance (albums by their tags, else by folder)"));
    commands_.edit << album;
    connect(album, &QAction::toggled, &state_, &BatchSession::setAlbumMode);
    connect(&state_, &BatchSession::albumModeChanged, album, [this, album] { album->setChecked(state_.albumMode()); });
    connect(removeAction_, &QAction::triggered, this, [this] { history_->removeSelected(); });
    connect(remove_, &QPushButton::clicked, removeAction_, &QAction::trigger);
    connect(editAction_, &QAction::triggered, this, [this] {
        if (const AudioFileItemPtr file = selection_.file(); file && file->analysis())
            waveform_->toggleEditMode();
    });
    connect(target_, &QDoubleSpinBox::valueChanged, this,
            [this](double v) { state_.setTargetLUFS(std::clamp(v, -40.0, -3.0)); });
    connect(&state_, &BatchSession::targetLUFSChanged, this, [this] {
        target_->setValue(state_.targetLUFS());
        state_.recalcCorrections();
        controller_->updateLiveGain();
    });
    connect(preset_, &QComboBox::activated, this, [this](int index) {
        state_.setPreset(static_cast<TargetPreset>(preset_->itemData(index).toInt()));
        controller_->updateLiveGain();
    });
    connect(&state_, &BatchSession::presetChanged, this, [this] { showChoice(preset_, state_.preset()); });
    connect(channelMix_, &QComboBox::currentIndexChanged, this,
            [this] { state_.setChannelMix(choiceOf<ChannelMix>(channelMix_)); });
    connect(&state_, &BatchSession::channelMixChanged, this, [this] { showChoice(channelMix_, state_.channelMix()); });
    connect(normalizeBy_, &QComboBox::currentIndexChanged, this, [this] {
        state_.setNormalizeBy(choiceOf<NormalizeBy>(normalizeBy_));
        controller_->updateLiveGain();
    });
    connect(&state_, &BatchSession::normalizeByChanged, this,
            [this] { showChoice(normalizeBy_, state_.normalizeBy()); });
    connect(&selection_, &Selection::changed, this, &BatchView::onSelectionChanged);
    connect(engine_.get(), &AudioPlaybackEngine::isPlayingChanged, this, [this] {
        if (engine_->isPlaying() && !engine_->output().isAudible())
            statusLine_.show(QStringLiteral("No audio output device was found: playback runs without sound."));
    });
    connect(&statusLine_, &StatusLine::textChanged, this, &BatchView::refreshStatus);
    connect(&session_, &ExportSession::isExportingChanged, this, &BatchView::refreshProgress);
    connect(&session_, &ExportSession::progressChanged, this, &BatchView::refreshProgress);
    connect(&state_, &BatchSession::filesChanged, this, &BatchView::refreshToolbar);
    connect(&state_, &BatchSession::notAdded, this, &BatchView::showNotAdded);
    connect(engine_.get(), &AudioPlaybackEngine::currentTimeChanged, this,
            [this] { waveform_->setPlayheadTime(controller_->displayPlayheadTime()); });
    connect(engine_.get(), &AudioPlaybackEngine::isPlayingChanged, this,
            [this] { waveform_->setPlayheadTime(controller_->displayPlayheadTime()); });
}

void BatchView::addFiles() {
    const QList<QUrl> urls = dialogs_.chooseAudioFiles(this);
    if (!urls.isEmpty())
        state_.addFiles(urls);
}

void BatchView::addFolder() {
    if (const QString folder = dialogs_.chooseAudioFolder(this); !folder.isEmpty())
        addPaths({folder});
}

void BatchView::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void BatchView::dropEvent(QDropEvent* event) {
    handleDrop(*event->mimeData());
    event->acceptProposedAction();
}

void BatchView::handleDrop(const QMimeData& mime) {
    QList<QUrl> urls;
    for (const QUrl& url : mime.urls()) {
        if (url.isLocalFile())
            urls << url; // anything else carries no file and is skipped quietly
    }
    state_.addFiles(urls);
}

void BatchView::onSelectionChanged() {
    const AudioFileItemPtr file = selection_.file();
    waveform_->setFile(file);
    refreshWaveformArea();
    if (file) {
        connect(file.get(), &AudioFileItem::isEditModeChanged, this, &BatchView::refreshStatus, Qt::UniqueConnection);
        connect(file.get(), &AudioFileItem::analysisErrorChanged, this, &BatchView::refreshWaveformArea,
                Qt::UniqueConnection);
    }
    controller_->onSelectionChanged();
    waveform_->setPlayheadTime(controller_->displayPlayheadTime());
    refreshToolbar();
    refreshStatus();
}

// A file that could not be analysed shows why, not an empty plot.
void BatchView::refreshWaveformArea() {
    const AudioFileItemPtr file = selection_.file();
    const bool failed = file && file->analysisError();
    noSelection_->setText(failed ? QStringLiteral("%1 could not be analysed:\n%2")
                                       .arg(NativePath::shownName(file->path()), file->analysisError()->message)
                                 : QStringLiteral("Select a file to view waveform"));
    waveformArea_->setCurrentWidget(file && !failed ? waveformPage_ : static_cast<QWidget*>(noSelection_));
}

void BatchView::refreshToolbar() {
    const bool selected = selection_.fileID().has_value();
    remove_->setEnabled(selected);
    removeAction_->setEnabled(selected);
    editAction_->setEnabled(selected);
}

void BatchView::addPaths(const QStringList& paths) { showNotAdded(state_.addPaths(paths)); }

void BatchView::showNotAdded(const std::vector<BatchSession::SkippedFile>& skipped) {
    if (!skipped.empty())
        statusLine_.show(QStringLiteral("Not added: ") + BatchSession::describe(skipped, 5)); // not a library's worth
}

void BatchView::refreshStatus() {
    const AudioFileItemPtr file = selection_.file();
    if (file && file->isEditMode()) {
        status_->setText(editModeHelpLine());
        status_->setStyleSheet(PaintKit::textColourStyle(PaintKit::readableOn(
            PaintKit::withAlpha(palette().color(QPalette::WindowText), 0.7), {palette().color(QPalette::Window)})));
    } else {
        // One line here; an encoder's longer message in full in the tooltip.
        const QString message = statusLine_.text().trimmed();
        status_->setText(message.section(QLatin1Char('\n'), 0, 0));
        status_->setToolTip(message.contains(QLatin1Char('\n')) ? message : QString());
        status_->setStyleSheet(PaintKit::secondaryTextStyle(palette()));
    }
}

void BatchView::refreshProgress() {
    progress_->setVisible(session_.isExporting());
    const ExportProgress p = session_.progress();
    const double fraction = p.total < 1 ? 0.0 : std::clamp(p.done / static_cast<double>(p.total), 0.0, 1.0);
    progressText_->setText(QStringLiteral("%1 of %2 exported...").arg(p.current).arg(StatusLine::files(p.total)));
    progressPercent_->setText(QStringLiteral("%1%").arg(static_cast<int>(fraction * 100)));
    progressBar_->setValue(static_cast<int>(fraction * 1000));
}
