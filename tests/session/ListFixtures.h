#pragma once

// Generated audio files and a recorder of status texts for the list tests.

#include "session/BatchSession.h"
#include "support/AudioFixtures.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"

#include <QDir>
#include <QTemporaryDir>
#include <QUrl>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

using fixtures::writeTone;

inline QList<QUrl> urlsOf(const QStringList& paths) {
    QList<QUrl> urls;
    for (const QString& p : paths)
        urls << QUrl::fromLocalFile(p);
    return urls;
}

// A 30-second item measured at `loudest20sLUFS` whose true peak is `truePeakDBTP`
// (its sample peak half a dB lower, which headroom and the clipping guard
// never read), with a correction; unmeasured at NaN.
inline AudioFileItemPtr measuredItem(const QString& path, double loudest20sLUFS, double truePeakDBTP,
                                     double correction) {
    auto item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile(path));
    if (!std::isnan(loudest20sLUFS)) {
        AnalysisResult r;
        r.loudest20sLUFS = loudest20sLUFS;
        r.truePeakDBTP = truePeakDBTP;
        r.peakDBFS = truePeakDBTP - 0.5;
        r.duration = 30;
        item->setAnalysis(r);
    }
    item->setCorrectionDB(correction);
    return item;
}

// The session's analysis events in order: "done/total" for its progress
// ("0/3" when three begin), "complete" when none runs any more.
struct StatusRecorder {
    QStringList texts;
    explicit StatusRecorder(BatchSession& state) {
        QObject::connect(&state, &BatchSession::analysisProgress, [this](int64_t done, int64_t total) {
            texts << QStringLiteral("%1/%2").arg(done).arg(total);
        });
        QObject::connect(&state, &BatchSession::analysisFinished, [this] { texts << QStringLiteral("complete"); });
    }
};

// The listed files' names, in list order.
inline QStringList names(const BatchSession& state) {
    QStringList out;
    for (const AudioFileItemPtr& item : state.files())
        out << QFileInfo(item->path()).fileName();
    return out;
}

inline bool waitForAnalyses(const BatchSession& state) {
    return fixtures::waitUntil([&] {
        for (const AudioFileItemPtr& item : state.files())
            if (item->isAnalyzing())
                return false;
        return true;
    });
}

// A session that has listed and measured `paths`, `jobs` at a time; with a
// `correction`, each file takes it as a manual override.
inline std::unique_ptr<BatchSession> measuredSession(const QStringList& paths, std::optional<double> correction = {},
                                                     int jobs = 1) {
    auto state = std::make_unique<BatchSession>(BatchSession::AnalysisOptions{analyzeFile, jobs});
    state->addFiles(urlsOf(paths));
    EXPECT_TRUE(waitForAnalyses(*state));
    if (correction) {
        for (const AudioFileItemPtr& item : state->files()) {
            item->setCorrectionDB(*correction);
            item->setIsManualOverride(true);
        }
    }
    return state;
}
