#pragma once

// The export controls: format and rate, Save and Load Settings, and
// "Export All" with the clipping check before it, which becomes "Cancel"
// while a run goes. Loading asks before it replaces a list, and is a step
// that undo takes back.

#include "session/BatchSession.h"
#include "session/ExportSession.h"
#include "session/SettingsFile.h"
#include "ui/Dialogs.h"

#include <QGroupBox>

class QAction;
class QComboBox;
class QDoubleSpinBox;
class QPushButton;
class QShortcut;
class EditHistory;
class StatusLine;

class ExportControlsView : public QGroupBox {
    Q_OBJECT

public:
    ExportControlsView(BatchSession& state, ExportSession& session, EditHistory& history, StatusLine& status,
                       Dialogs& dialogs, QWidget* parent = nullptr);

    // What "Export All" does: the clipping check, the folder, the question
    // about earlier outputs, then the export run. While a run goes, the
    // button (and Escape) cancels it.
    void startExport();
    // Export All once no file is being analysed, with the choices as they
    // stand (as last time, when the window remembered them), into the
    // folder of the last export; the folder is asked for when there is none.
    void exportWithLastSettings();

    // The menu's commands for the buttons: Save Settings, Load Settings,
    // Export All, with their shortcuts; then whether files exported already
    // are skipped.
    QList<QAction*> commands() const { return {saveAction_, loadAction_, exportAction_, skipAction_}; }

    // Asks for a file and saves the settings there; false when cancelled or failed.
    bool saveSettings();
    // Some file has a manual correction or segment edits that differ from
    // those last saved or loaded.
    bool hasUnsavedEdits() const;

private:
    void loadSettings();
    // Export All into `folder`, or one the user chooses when it is empty.
    void exportInto(QString folder);
    void refresh();
    // Each file's correction set by hand and its segment edits.
    static std::vector<SettingsData::FileEntry> handEdits(const BatchSession& state);

    BatchSession& state_;
    ExportSession& session_;
    EditHistory& history_;
    StatusLine& status_;
    Dialogs& dialogs_;
    QComboBox* format_;
    QComboBox* rate_;
    QDoubleSpinBox* ceiling_;
    QShortcut* escape_;
    QPushButton* save_;
    QPushButton* load_;
    QPushButton* export_;
    QAction* saveAction_;
    QAction* loadAction_;
    QAction* exportAction_;
    QAction* skipAction_;
    std::vector<SettingsData::FileEntry> savedEdits_; // as last saved or loaded
};
