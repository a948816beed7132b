#pragma once

// What reopening a batch does not measure again: each analysed file's
// figures, curve and envelope (packed to a few kilobytes) in an SQLite file,
// keyed by the file's path and channel mix and valid while its size,
// modification time and inode, and the measurement's version, are the ones it
// was measured at. One thread of its own talks to the database; every other
// call is safe from any thread and waits only for that thread.
//
// The cache never stands in the way of a batch: a file that is damaged, cut
// short, locked for longer than a few seconds or not ours is moved aside
// (as "<file>.unusable") and a new one started, and when that fails too
// every file is simply measured. Whether the file is in use: `usable`.

#include "analysis/ChannelMix.h"
#include "analysis/FileAnalysis.h"

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

class AnalysisCache {
public:
    // Past this size, the entries of files that are gone are dropped when
    // the cache is opened.
    static constexpr int64_t defaultPruneBytes = int64_t{200} << 20;

    // $XDG_CACHE_HOME/sonivel/analysis.sqlite, else ~/.cache/sonivel/analysis.sqlite.
    static QString defaultFile();

    explicit AnalysisCache(QString file, int64_t pruneAboveBytes = defaultPruneBytes);
    // Writes what is still queued, then closes the database.
    ~AnalysisCache();
    AnalysisCache(const AnalysisCache&) = delete;
    AnalysisCache& operator=(const AnalysisCache&) = delete;

    // The kept measurement of `path` with `mix`, or none when there is none
    // that still fits the file.
    std::optional<AnalysisResult> find(const QString& path, ChannelMix mix);
    // The kept measurement, or a new one (then kept, unless the file changed
    // while it was measured). Stands in for analyzeFile.
    FileAnalysis analyze(const QString& path, ChannelMix mix, std::stop_token stop = {});
    // A file as its kept measurements know it: where it is, its size,
    // modification time (ns) and inode. None when it is not a file.
    struct Stamp {
        QByteArray path;
        qint64 size = 0;
        qint64 modified = 0;
        qint64 inode = 0;
        bool operator==(const Stamp&) const = default;
    };
    static std::optional<Stamp> stampOf(const QString& path);
    // After a change that left the file's audio as it was (its tags): the
    // measurements kept of it as `was` now stand for it as it is.
    void carryOver(const Stamp& was);
    // Forgets every file; whether the database took it.
    bool clear();
    // Whether the database is in use (false once even a new one failed).
    bool usable();

private:
    struct Worker;
    std::unique_ptr<Worker> worker_;
};
