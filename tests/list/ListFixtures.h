#pragma once

// Generated audio files and a recorder of status texts for the list tests.

#include "list/AppState.h"
#include "support/AudioFixtures.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QTemporaryDir>
#include <QUrl>
#include <gtest/gtest.h>

using fixtures::writeTone;

inline QList<QUrl> urlsOf(const QStringList& paths) {
    QList<QUrl> urls;
    for (const QString& p : paths)
        urls << QUrl::fromLocalFile(p);
    return urls;
}

struct StatusRecorder {
    QStringList texts;
    explicit StatusRecorder(AppState& state) {
        QObject::connect(&state, &AppState::statusMessageChanged, [this](const QString& t) { texts << t; });
    }
    bool sawComplete() const { return texts.contains(AppState::analysisCompleteMessage); }
};

inline bool waitForAnalyses(const AppState& state) {
    return fixtures::waitUntil([&] {
        for (const AudioFileItemPtr& item : state.files())
            if (item->isAnalyzing())
                return false;
        return true;
    });
}
