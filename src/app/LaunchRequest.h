#pragma once

// What a start of the window asks for: files to add, and what to do with
// them. The desktop entry's actions start the window with one of the two
// options; a window already open is handed the whole request.

#include <QString>
#include <QStringList>

struct LaunchRequest {
    enum class Then {
        nothing,
        chooseFiles,            // with no files given, the file chooser opens
        exportWithLastSettings, // once analysed, the files are exported as last time, into the last folder
    };
    Then then = Then::nothing;
    QStringList files;

    // The window's own options; anything else that starts with a dash is a
    // command line's.
    static bool isWindowOption(const QString& argument);
    // The window's arguments (the program's name left out): an option of the
    // window first, if any, then files.
    static LaunchRequest fromArguments(QStringList arguments);
    // The word that stands for `then` where a request is handed over.
    static QString keyword(Then then);
    static Then fromKeyword(const QString& keyword);
};
