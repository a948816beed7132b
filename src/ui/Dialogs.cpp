#include "ui/Dialogs.h"

#include "ui/DesktopNotification.h"

#include "session/SettingsFile.h"
#include "ui/ClippingWarningDialog.h"
#include "ui/StatusLine.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QStringList>

namespace {

// A question with two answers: whether it got `yes`.
bool ask(QWidget* parent, const QString& title, const QString& text, QMessageBox::StandardButton yes,
         QMessageBox::StandardButton no, QMessageBox::StandardButton preset) {
    return QMessageBox::question(parent, title, text, yes | no, preset) == yes;
}

// Runs a file dialog: the desktop's own where the platform offers one, else
// Qt's at a size that shows its columns. It starts in the folder last used
// for the same purpose, remembered across runs.
QStringList runFileDialog(QWidget* parent, const QString& purpose, const QString& title, QFileDialog::FileMode mode,
                          QFileDialog::AcceptMode accept, const QString& filter = QString(),
                          const QString& suggestedName = QString()) {
    QFileDialog dialog(parent, title, Dialogs::startFolder(purpose), filter);
    dialog.setFileMode(mode);
    dialog.setAcceptMode(accept);
    if (mode == QFileDialog::Directory) {
        dialog.setOption(QFileDialog::ShowDirsOnly);
        dialog.setLabelText(QFileDialog::Accept,
                            purpose == QLatin1String("export") ? QStringLiteral("Export") : QStringLiteral("Add"));
    }
    if (!suggestedName.isEmpty())
        dialog.selectFile(suggestedName);
    dialog.resize(900, 560);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return {};
    const QStringList chosen = dialog.selectedFiles();
    Dialogs::rememberFolder(purpose,
                            mode == QFileDialog::Directory ? chosen.front() : QFileInfo(chosen.front()).absolutePath());
    return chosen;
}

QString firstOf(const QStringList& files) { return files.isEmpty() ? QString() : files.front(); }

} // namespace

QString Dialogs::rememberedFolder(const QString& purpose) {
    const QString remembered = QSettings().value(QStringLiteral("folders/") + purpose).toString();
    return !remembered.isEmpty() && QFileInfo(remembered).isDir() ? remembered : QString();
}

QString Dialogs::startFolder(const QString& purpose) {
    const QString remembered = rememberedFolder(purpose);
    return remembered.isEmpty() ? QDir::homePath() : remembered;
}

void Dialogs::rememberFolder(const QString& purpose, const QString& folder) {
    QSettings().setValue(QStringLiteral("folders/") + purpose, folder);
}

Dialogs Dialogs::standard() {
    Dialogs d;
    d.notify = [](const QString& heading, const QString& body) { DesktopNotification::show(heading, body); };
    d.chooseAudioFiles = [](QWidget* parent) {
        QStringList patterns;
        for (const QString& ext : BatchSession::audioExtensions())
            patterns << QStringLiteral("*.") + ext << QStringLiteral("*.") + ext.toUpper();
        patterns.sort();
        QList<QUrl> urls;
        for (const QString& file : runFileDialog(
                 parent, QStringLiteral("audio"), QStringLiteral("Add Audio Files"), QFileDialog::ExistingFiles,
                 QFileDialog::AcceptOpen, QStringLiteral("Audio files (%1)").arg(patterns.join(QLatin1Char(' ')))))
            urls << QUrl::fromLocalFile(file);
        return urls;
    };
    d.chooseAudioFolder = [](QWidget* parent) {
        return firstOf(runFileDialog(parent, QStringLiteral("audio"), QStringLiteral("Add Folder"),
                                     QFileDialog::Directory, QFileDialog::AcceptOpen));
    };
    d.chooseExportFolder = [](QWidget* parent) {
        return firstOf(runFileDialog(parent, QStringLiteral("export"), QStringLiteral("Choose Export Folder"),
                                     QFileDialog::Directory, QFileDialog::AcceptOpen));
    };
    d.chooseSettingsToSave = [](QWidget* parent) {
        return firstOf(runFileDialog(parent, QStringLiteral("settings"), QStringLiteral("Save Settings"),
                                     QFileDialog::AnyFile, QFileDialog::AcceptSave, QStringLiteral("JSON (*.json)"),
                                     SettingsFile::suggestedFileName));
    };
    d.chooseSettingsToLoad = [](QWidget* parent) {
        return firstOf(runFileDialog(parent, QStringLiteral("settings"), QStringLiteral("Load Settings"),
                                     QFileDialog::ExistingFile, QFileDialog::AcceptOpen,
                                     QStringLiteral("JSON (*.json)")));
    };
    d.chooseReportToSave = [](QWidget* parent) {
        return firstOf(runFileDialog(parent, QStringLiteral("report"), QStringLiteral("Export Report"),
                                     QFileDialog::AnyFile, QFileDialog::AcceptSave,
                                     QStringLiteral("CSV (*.csv);;JSON (*.json)"),
                                     QStringLiteral("loudness_report.csv")));
    };
    d.askAboutClipping = [](QWidget* parent, const BatchSession& state) -> std::optional<bool> {
        ClippingWarningDialog dialog(state.files(), state.ceilingDBTP(), parent);
        if (dialog.exec() != QDialog::Accepted)
            return std::nullopt;
        return dialog.useLimiter();
    };
    d.askAboutExisting = [](QWidget* parent, const QStringList& names) -> std::optional<ExistingOutputs> {
        QMessageBox box(
            QMessageBox::Question, QStringLiteral("Replace Earlier Exports?"),
            names.size() == 1
                ? QStringLiteral("\"%1\" is already in the export folder.").arg(names.front())
                : QStringLiteral("%1 files of this export are already in the export folder.").arg(names.size()),
            QMessageBox::NoButton, parent);
        box.setInformativeText(QStringLiteral("Replace them with the new files, or keep both under new names?"));
        QAbstractButton* replace = box.addButton(QStringLiteral("Replace Them"), QMessageBox::DestructiveRole);
        QAbstractButton* keep = box.addButton(QStringLiteral("Keep Both"), QMessageBox::AcceptRole);
        box.addButton(QMessageBox::Cancel);
        box.setDefaultButton(qobject_cast<QPushButton*>(keep));
        box.exec();
        if (box.clickedButton() == replace)
            return ExistingOutputs::replace;
        if (box.clickedButton() == keep)
            return ExistingOutputs::keepBoth;
        return std::nullopt;
    };
    d.confirmQuitDuringExport = [](QWidget* parent) {
        return ask(parent, QStringLiteral("Quit Sonivel?"),
                   QStringLiteral("An export is running. Cancel it and quit? The files already written are kept."),
                   QMessageBox::Yes, QMessageBox::No, QMessageBox::No);
    };
    d.confirmReplaceList = [](QWidget* parent, size_t count) {
        return ask(parent, QStringLiteral("Load Settings?"),
                   QStringLiteral("The settings file replaces the %1 in the list, with their corrections and edits. "
                                  "Edit > Undo brings them back.")
                       .arg(StatusLine::files(static_cast<int64_t>(count))),
                   QMessageBox::Open, QMessageBox::Cancel, QMessageBox::Open);
    };
    d.askToSaveEdits = [](QWidget* parent) -> std::optional<bool> {
        const auto answer = QMessageBox::question(
            parent, QStringLiteral("Save Your Edits?"),
            QStringLiteral("Corrections set by hand or segment edits have not been saved. Save them in a settings "
                           "file before you quit?"),
            QMessageBox::Save | QMessageBox::Discard | QMessageBox::Cancel, QMessageBox::Save);
        if (answer == QMessageBox::Cancel)
            return std::nullopt;
        return answer == QMessageBox::Save;
    };
    d.offerRecoveredList = [](QWidget* parent, size_t count) {
        return ask(parent, QStringLiteral("Restore Your List?"),
                   QStringLiteral("Sonivel did not close normally last time. Restore the list you were working on "
                                  "(%1), with its corrections and segment edits?")
                       .arg(StatusLine::files(static_cast<int64_t>(count))),
                   QMessageBox::Yes, QMessageBox::No, QMessageBox::Yes);
    };
    return d;
}
