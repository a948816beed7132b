#pragma once

// The questions the window asks the user through dialogs, as replaceable
// functions, so tests can answer them. The defaults show the real dialogs.

#include "export/ExportJob.h"
#include "session/BatchSession.h"

#include <QList>
#include <QString>
#include <QUrl>
#include <functional>
#include <optional>

class QWidget;

struct Dialogs {
    // Audio files to add; empty when cancelled.
    std::function<QList<QUrl>(QWidget* parent)> chooseAudioFiles;
    // A folder whose audio files, at every level, are added; empty when cancelled.
    std::function<QString(QWidget* parent)> chooseAudioFolder;
    // The folder that receives "normalized"; empty when cancelled.
    std::function<QString(QWidget* parent)> chooseExportFolder;
    std::function<QString(QWidget* parent)> chooseSettingsToSave;
    std::function<QString(QWidget* parent)> chooseSettingsToLoad;
    // Where the report goes: a .json name makes it JSON, any other CSV.
    std::function<QString(QWidget* parent)> chooseReportToSave;
    // The clipping dialog over the state's clipping files: use the limiter
    // (true), export anyway (false), or cancel (none).
    std::function<std::optional<bool>(QWidget* parent, const BatchSession& state)> askAboutClipping;
    // Earlier outputs of these names are in the folder: replace them, keep
    // both, or cancel (none).
    std::function<std::optional<ExistingOutputs>(QWidget* parent, const QStringList& names)> askAboutExisting;
    // Quitting while an export runs: whether to cancel it and quit.
    std::function<bool(QWidget* parent)> confirmQuitDuringExport;
    // Loading a settings file over a list of `count` files: whether to replace it.
    std::function<bool(QWidget* parent, size_t count)> confirmReplaceList;
    // Closing with edits not saved: save them first (true), discard them
    // (false), or stay (none).
    std::function<std::optional<bool>(QWidget* parent)> askToSaveEdits;
    // A list of `count` files left by a window that did not close normally:
    // whether to bring it back.
    std::function<bool(QWidget* parent, size_t count)> offerRecoveredList;
    // A message in the desktop's notification area, for news that comes
    // while the window is not in front.
    std::function<void(const QString& heading, const QString& body)> notify;

    // The desktop's file dialogs, each starting in the folder last used for
    // its purpose ("audio", "export", "settings", "report").
    static Dialogs standard();
    // The folder last chosen for `purpose`; empty when none was or it is gone.
    static QString rememberedFolder(const QString& purpose);
    // That folder (the home folder at first), and remembering a new one.
    static QString startFolder(const QString& purpose);
    static void rememberFolder(const QString& purpose, const QString& folder);
};
