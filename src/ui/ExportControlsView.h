#pragma once

// The export controls: format and rate, Save and Load Settings, and
// "Export All" with the clipping check before it.

#include "export/ExportSession.h"
#include "list/AppState.h"
#include "ui/Dialogs.h"

#include <QGroupBox>

class QComboBox;
class QPushButton;

class ExportControlsView : public QGroupBox {
    Q_OBJECT

public:
    ExportControlsView(AppState& state, ExportSession& session, Dialogs& dialogs, QWidget* parent = nullptr);

    QComboBox* formatPicker() const { return format_; }
    QComboBox* ratePicker() const { return rate_; }
    QPushButton* exportButton() const { return export_; }
    QPushButton* saveButton() const { return save_; }
    QPushButton* loadButton() const { return load_; }
    // What "Export All" does: the clipping check, then the export run.
    void startExport();

private:
    void refresh();

    AppState& state_;
    ExportSession& session_;
    Dialogs& dialogs_;
    QComboBox* format_;
    QComboBox* rate_;
    QPushButton* save_;
    QPushButton* load_;
    QPushButton* export_;
};
