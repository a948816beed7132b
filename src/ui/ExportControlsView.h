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
