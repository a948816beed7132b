#include "ui/Dialogs.h"

#include "list/SettingsFile.h"
#include "ui/ClippingWarningDialog.h"

#include <QFileDialog>
#include <QStringList>

Dialogs Dialogs::standard() {
    Dialogs d;
    d.chooseAudioFiles = [](QWidget* parent) {
        QStringList patterns;
        for (const QString& ext : AppState::audioExtensions())
            patterns << QStringLiteral("*.") + ext << QStringLiteral("*.") + ext.toUpper();
        patterns.sort();
        return QFileDialog::getOpenFileUrls(parent, QStringLiteral("Add Audio Files"), QUrl(),
                                            QStringLiteral("Audio files (%1)").arg(patterns.join(QLatin1Char(' '))));
    };
    d.chooseExportFolder = [](QWidget* parent) {
        QFileDialog dialog(parent, QStringLiteral("Choose Export Folder"));
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly);
        dialog.setLabelText(QFileDialog::Accept, QStringLiteral("Export"));
        return dialog.exec() == QDialog::Accepted && !dialog.selectedFiles().isEmpty() ? dialog.selectedFiles().front()
                                                                                       : QString();
    };
    d.chooseSettingsToSave = [](QWidget* parent) {
        return QFileDialog::getSaveFileName(parent, QStringLiteral("Save Settings"), SettingsFile::suggestedFileName,
                                            QStringLiteral("JSON (*.json)"));
    };
    d.chooseSettingsToLoad = [](QWidget* parent) {
        return QFileDialog::getOpenFileName(parent, QStringLiteral("Load Settings"), QString(),
                                            QStringLiteral("JSON (*.json)"));
    };
    d.askAboutClipping = [](QWidget* parent, const AppState& state) -> std::optional<bool> {
        ClippingWarningDialog dialog(state, parent);
        if (dialog.exec() != QDialog::Accepted)
            return std::nullopt;
        return dialog.useLimiter();
    };
    return d;
}
