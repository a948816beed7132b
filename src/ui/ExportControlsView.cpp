#include "ui/ExportControlsView.h"

#include "export/ExportRun.h"
#include "list/SettingsFile.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStandardItemModel>

ExportControlsView::ExportControlsView(AppState& state, ExportSession& session, Dialogs& dialogs, QWidget* parent)
    : QGroupBox(QStringLiteral("Export"), parent), state_(state), session_(session), dialogs_(dialogs),
      format_(new QComboBox), rate_(new QComboBox), save_(new QPushButton(QStringLiteral("Save Settings"))),
      load_(new QPushButton(QStringLiteral("Load Settings"))), export_(new QPushButton(QStringLiteral("Export All"))) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 6, 12, 6);
    for (ExportFormat f : allExportFormats)
        format_->addItem(rawValue(f), caseName(f));
    format_->setFixedWidth(150);
    for (SampleRate r : allSampleRates)
        rate_->addItem(label(r), static_cast<qlonglong>(rawValue(r)));
    rate_->setFixedWidth(100);
    rate_->setObjectName(QStringLiteral("sampleRate"));
    export_->setObjectName(QStringLiteral("exportAll"));
    QFont bold = export_->font();
    bold.setBold(true);
    export_->setFont(bold);
    export_->setStyleSheet(
        QStringLiteral("QPushButton { background: #34c759; color: white; border-radius: 5px; padding: 4px 14px; }"
                       "QPushButton:disabled { background: #9bd8a9; }"));
    row->addWidget(new QLabel(QStringLiteral("Format:")));
    row->addWidget(format_);
    row->addWidget(new QLabel(QStringLiteral("Sample Rate:")));
    row->addWidget(rate_);
    row->addStretch();
    for (QPushButton* b : {save_, load_}) {
        b->setMinimumWidth(b->sizeHint().width() + 16); // room around the words
        row->addWidget(b);
    }
    row->addWidget(export_);

    connect(format_, &QComboBox::currentIndexChanged, this,
            [this](int i) { session_.setFormat(allExportFormats[static_cast<size_t>(i)]); });
    connect(rate_, &QComboBox::currentIndexChanged, this,
            [this](int i) { session_.setSampleRate(allSampleRates[static_cast<size_t>(i)]); });
    connect(save_, &QPushButton::clicked, this, [this] {
        const QString path = dialogs_.chooseSettingsToSave(this);
        if (!path.isEmpty())
            SettingsFile::saveSettings(state_, path);
    });
    connect(load_, &QPushButton::clicked, this, [this] {
        const QString path = dialogs_.chooseSettingsToLoad(this);
        if (!path.isEmpty())
            SettingsFile::loadSettings(state_, path);
    });
    connect(export_, &QPushButton::clicked, this, &ExportControlsView::startExport);
    connect(&state_, &AppState::filesChanged, this, &ExportControlsView::refresh);
    connect(&session_, &ExportSession::isExportingChanged, this, &ExportControlsView::refresh);
    connect(&session_, &ExportSession::choicesChanged, this, &ExportControlsView::refresh);
    refresh();
}

void ExportControlsView::refresh() {
    export_->setEnabled(!state_.files().empty() && !session_.isExporting());
    // Rates the format cannot hold are shown, but not offered.
    auto* rates = qobject_cast<QStandardItemModel*>(rate_->model());
    for (size_t i = 0; i < allSampleRates.size(); ++i)
        rates->item(static_cast<int>(i))->setEnabled(supportsRate(session_.choices().format, allSampleRates[i]));
    const auto formatIndex = std::find(allExportFormats.begin(), allExportFormats.end(), session_.choices().format);
    format_->setCurrentIndex(static_cast<int>(formatIndex - allExportFormats.begin()));
    const auto rateIndex = std::find(allSampleRates.begin(), allSampleRates.end(), session_.choices().sampleRate);
    rate_->setCurrentIndex(static_cast<int>(rateIndex - allSampleRates.begin()));
}

void ExportControlsView::startExport() {
    if (state_.files().empty())
        return;
    bool useLimiter = false;
    if (!ExportRun::findClippingFiles(state_.files()).empty()) {
        const std::optional<bool> answer = dialogs_.askAboutClipping(this, state_);
        if (!answer)
            return;
        useLimiter = *answer;
    }
    const QString folder = dialogs_.chooseExportFolder(this);
    if (!folder.isEmpty())
        session_.start(useLimiter, folder);
}
