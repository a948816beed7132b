#include "ui/ExportControlsView.h"

#include "ui/EditHistory.h"
#include "ui/Labelled.h"
#include "ui/StatusLine.h"

#include "export/ExportRun.h"
#include "session/ExportPlan.h"
#include "session/SettingsFile.h"

#include <QAction>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QStandardItemModel>

ExportControlsView::ExportControlsView(BatchSession& state, ExportSession& session, EditHistory& history,
                                       StatusLine& status, Dialogs& dialogs, QWidget* parent)
    : QGroupBox(QStringLiteral("Export"), parent), state_(state), session_(session), history_(history), status_(status),
      dialogs_(dialogs), format_(new QComboBox), rate_(new QComboBox), ceiling_(new QDoubleSpinBox),
      escape_(new QShortcut(QKeySequence(Qt::Key_Escape), this)),
      save_(new QPushButton(QStringLiteral("Save Settings"))), load_(new QPushButton(QStringLiteral("Load Settings"))),
      export_(new QPushButton(QStringLiteral("Export All"))),
      saveAction_(new QAction(QStringLiteral("Save Settings..."), this)),
      loadAction_(new QAction(QStringLiteral("Load Settings..."), this)),
      exportAction_(new QAction(QStringLiteral("Export All..."), this)),
      skipAction_(new QAction(QStringLiteral("Skip Files Already Exported"), this)) {
    skipAction_->setCheckable(true);
    skipAction_->setStatusTip(
        QStringLiteral("Export All leaves out a file whose output is already there and newer than the file."));
    saveAction_->setShortcut(QKeySequence::Save);
    loadAction_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_L));
    exportAction_->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_E));
    for (QAction* action : commands()) {
        action->setShortcutContext(Qt::WindowShortcut);
        addAction(action); // its shortcut works with or without a menu
    }
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 6);
    for (ExportFormat f : allExportFormats)
        format_->addItem(label(f), keyword(f));
    format_->setFixedWidth(150);
    for (SampleRate r : allSampleRates)
        rate_->addItem(label(r), static_cast<qlonglong>(hertz(r)));
    rate_->setFixedWidth(100);
    rate_->setObjectName(QStringLiteral("sampleRate"));
    ceiling_->setObjectName(QStringLiteral("ceiling"));
    ceiling_->setRange(CeilingRange::lowestDBTP, CeilingRange::highestDBTP);
    ceiling_->setDecimals(1);
    ceiling_->setSingleStep(0.1);
    ceiling_->setSuffix(QStringLiteral(" dBTP"));
    ceiling_->setToolTip(QStringLiteral("The highest true peak an export may reach; the limiter or the clipping "
                                        "guard keeps every file at or under it."));
    escape_->setContext(Qt::WindowShortcut);
    export_->setObjectName(QStringLiteral("exportAll"));
    QFont bold = export_->font();
    bold.setBold(true);
    export_->setFont(bold);
    export_->setStyleSheet(
        QStringLiteral("QPushButton { background: #1e7d36; color: white; border-radius: 5px; padding: 4px 14px; }"
                       "QPushButton:disabled { background: #9bd8a9; }"
                       // the keyboard's ring, which a styled button no longer draws by itself
                       "QPushButton:focus { border: 2px solid palette(highlight); padding: 2px 12px; }"));
    row->addWidget(labelFor(QStringLiteral("F&ormat:"), format_));
    row->addWidget(format_);
    row->addWidget(labelFor(QStringLiteral("Sample &Rate:"), rate_));
    row->addWidget(rate_);
    row->addWidget(labelFor(QStringLiteral("Ce&iling:"), ceiling_));
    row->addWidget(ceiling_);
    row->addStretch();
    for (QPushButton* b : {save_, load_}) {
        b->setMinimumWidth(b->sizeHint().width() + 4); // room around the words
        row->addWidget(b);
    }
    row->addWidget(export_);

    connect(format_, &QComboBox::currentIndexChanged, this,
            [this](int i) { session_.setFormat(allExportFormats[static_cast<size_t>(i)]); });
    connect(rate_, &QComboBox::currentIndexChanged, this,
            [this](int i) { session_.setSampleRate(allSampleRates[static_cast<size_t>(i)]); });
    connect(ceiling_, &QDoubleSpinBox::valueChanged, this, [this](double v) { state_.setCeilingDBTP(v); });
    connect(escape_, &QShortcut::activated, &session_, &ExportSession::cancel);
    connect(saveAction_, &QAction::triggered, this, &ExportControlsView::saveSettings);
    connect(loadAction_, &QAction::triggered, this, &ExportControlsView::loadSettings);
    connect(exportAction_, &QAction::triggered, this, &ExportControlsView::startExport);
    connect(skipAction_, &QAction::toggled, &session_, &ExportSession::setSkipUpToDate);
    connect(save_, &QPushButton::clicked, saveAction_, &QAction::trigger);
    connect(load_, &QPushButton::clicked, loadAction_, &QAction::trigger);
    connect(export_, &QPushButton::clicked, this, &ExportControlsView::startExport);
    connect(&state_, &BatchSession::filesChanged, this, &ExportControlsView::refresh);
    connect(&session_, &ExportSession::isExportingChanged, this, &ExportControlsView::refresh);
    connect(&session_, &ExportSession::choicesChanged, this, &ExportControlsView::refresh);
    connect(&state_, &BatchSession::ceilingDBTPChanged, this, &ExportControlsView::refresh);
    refresh();
}

bool ExportControlsView::saveSettings() {
    const QString path = dialogs_.chooseSettingsToSave(this);
    if (path.isEmpty())
        return false;
    const Result<> saved = SettingsFile::saveSettings(state_, path);
    status_.show(saved.ok() ? QStringLiteral("Settings saved.")
                            : QStringLiteral("Error saving settings: ") + saved.error().message);
    if (saved.ok())
        savedEdits_ = handEdits(state_);
    return saved.ok();
}

void ExportControlsView::loadSettings() {
    const QString path = dialogs_.chooseSettingsToLoad(this);
    if (path.isEmpty() || (!state_.files().empty() && !dialogs_.confirmReplaceList(this, state_.files().size())))
        return;
    history_.replaceList(QStringLiteral("Load Settings"), [&] {
        const Result<SettingsFile::Loaded> loaded = SettingsFile::loadSettings(state_, path);
        if (!loaded.ok()) {
            status_.show(QStringLiteral("Error loading settings: ") + loaded.error().message);
            return false;
        }
        if (loaded.value().mixAssumed)
            status_.showWhenAnalysed(SettingsFile::noMixNotice);
        savedEdits_ = handEdits(state_);
        return true;
    });
}

std::vector<SettingsData::FileEntry> ExportControlsView::handEdits(const BatchSession& state) {
    std::vector<SettingsData::FileEntry> edits = SettingsFile::settingsFrom(state).files;
    std::erase_if(edits, [](const SettingsData::FileEntry& f) { return !f.manual && !f.segments; });
    for (SettingsData::FileEntry& f : edits)
        f.correctionDB = f.manual ? f.correctionDB : 0.0; // an automatic one follows the target
    return edits;
}

bool ExportControlsView::hasUnsavedEdits() const { return handEdits(state_) != savedEdits_; }

void ExportControlsView::refresh() {
    const bool exporting = session_.isExporting();
    export_->setText(exporting ? QStringLiteral("Cancel") : QStringLiteral("Export All"));
    export_->setEnabled(exporting || !state_.files().empty());
    escape_->setEnabled(exporting);
    exportAction_->setEnabled(!exporting && !state_.files().empty());
    for (QWidget* w : std::initializer_list<QWidget*>{format_, rate_, ceiling_, load_})
        w->setEnabled(!exporting);
    loadAction_->setEnabled(!exporting);
    skipAction_->setEnabled(!exporting);
    skipAction_->setChecked(session_.choices().skipUpToDate);
    // Rates the format cannot hold are shown, but not offered, and say why.
    const ExportFormat format = session_.choices().format;
    auto* rates = qobject_cast<QStandardItemModel*>(rate_->model());
    for (size_t i = 0; i < allSampleRates.size(); ++i) {
        QStandardItem* item = rates->item(static_cast<int>(i));
        const bool held = supportsRate(format, allSampleRates[i]);
        item->setEnabled(held);
        item->setToolTip(held ? QString() : rateLimit(format));
    }
    ceiling_->setValue(state_.ceilingDBTP());
    const auto formatIndex = std::find(allExportFormats.begin(), allExportFormats.end(), session_.choices().format);
    format_->setCurrentIndex(static_cast<int>(formatIndex - allExportFormats.begin()));
    const auto rateIndex = std::find(allSampleRates.begin(), allSampleRates.end(), session_.choices().sampleRate);
    rate_->setCurrentIndex(static_cast<int>(rateIndex - allSampleRates.begin()));
}

void ExportControlsView::startExport() {
    if (session_.isExporting()) {
        session_.cancel();
        return;
    }
    exportInto(QString());
}

void ExportControlsView::exportWithLastSettings() {
    const auto start = [this] {
        if (!session_.isExporting())
            exportInto(Dialogs::rememberedFolder(QStringLiteral("export")));
    };
    if (state_.isAnalyzing())
        connect(&state_, &BatchSession::analysisFinished, this, start, Qt::SingleShotConnection);
    else
        start();
}

void ExportControlsView::exportInto(QString folder) {
    if (state_.files().empty())
        return;
    // Where nothing passes the ceiling the limiter changes nothing.
    bool useLimiter = true;
    if (!ExportPlan::findClippingFiles(state_.files(), state_.ceilingDBTP()).empty()) {
        const std::optional<bool> answer = dialogs_.askAboutClipping(this, state_);
        if (!answer)
            return;
        useLimiter = *answer;
    }
    if (folder.isEmpty())
        folder = dialogs_.chooseExportFolder(this);
    if (folder.isEmpty())
        return;
    ExistingOutputs existing = ExistingOutputs::keepBoth;
    if (const QStringList names = session_.existingOutputs(folder); !names.isEmpty()) {
        const std::optional<ExistingOutputs> answer = dialogs_.askAboutExisting(this, names);
        if (!answer)
            return;
        existing = *answer;
    }
    session_.start(useLimiter, folder, existing);
}
