#pragma once

// The batch that every view and the command line share: the working list
// and the aim of its corrections. It admits files, runs
// their analyses on the job runner, keeps automatic corrections aimed at the
// target, and offers the remove / restore / redo steps that undo is built
// on. Owning thread only; workers hand values back by posting to it, or the
// owner waits for them (the command line, which runs no event loop).

#include "analysis/AnalysisCache.h"
#include "analysis/FileAnalysis.h"
#include "export/CeilingRange.h"
#include "jobs/JobRunner.h"
#include "session/AudioFileItem.h"
#include "session/Inbox.h"
#include "session/TargetPreset.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>
#include <QUuid>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// The undo record of one removal; it keeps the removed item alive.
struct RemovedFile {
    AudioFileItemPtr file;
    int64_t index = 0;
};

class BatchSession : public QObject {
    Q_OBJECT

public:
    // Runs on a worker thread for each file; must be safe to call
    // concurrently, and ends early once `stop` is requested.
    using AnalyzeFunction = std::function<FileAnalysis(const QString& path, ChannelMix mix, std::stop_token stop)>;

    struct AnalysisOptions {
        AnalyzeFunction analyze = analyzeFile;
        // At most this many analyses run at once, on a runner of the
        // session's own; 0: on the program's runner, one per core.
        int activeProcessorCount = 0;
    };

    // Measures through `cache`, which outlives the session: a file kept
    // there is not decoded again, and a new measurement is kept.
    static AnalysisOptions throughCache(AnalysisCache& cache) {
        return {[&cache](const QString& path, ChannelMix mix, std::stop_token stop) {
                    return cache.analyze(path, mix, std::move(stop));
                },
                0};
    }

    static constexpr double defaultTargetLUFS = -16.0;

    explicit BatchSession(QObject* parent = nullptr);
    explicit BatchSession(AnalysisOptions options, QObject* parent = nullptr);
    // Stops and waits for running analyses; their results are dropped.
    ~BatchSession() override;

    // The 23 admitted extensions, lower case.
    static const QSet<QString>& audioExtensions();
    // round((target − peak) · 10) / 10, halves away from zero.
    static double correctionFor(double targetLUFS, double figureLUFS);

    const std::vector<AudioFileItemPtr>& files() const { return files_; }
    // The listed file with this id, or null.
    AudioFileItemPtr findFile(const QUuid& id) const;
    std::optional<size_t> indexOf(const QUuid& id) const;
    double targetLUFS() const { return targetLUFS_; }
    double ceilingDBTP() const { return ceilingDBTP_; }
    // How every file's channels make its loudness.
    ChannelMix channelMix() const { return channelMix_; }
    // Which figure every correction aims at the target.
    NormalizeBy normalizeBy() const { return normalizeBy_; }
    // Whether the tracks of an album (Albums) share one automatic
    // correction: the one that aims their album's figure at the target, so
    // the album keeps its balance.
    bool albumMode() const { return albumMode_; }
    // The platform whose target, figure and ceiling are set, while all three
    // still hold its values; Custom once any of them is edited.
    TargetPreset preset() const { return preset_; }
    // The target, the figure and the ceiling, with the preset they hold.
    Aim currentAim() const { return {{targetLUFS_, normalizeBy_, ceilingDBTP_}, preset_}; }

    // One of the listed files is `path` (by identity, not by name).
    bool lists(const QString& path) const;
    // Why a file written for the user does not replace `path`, a listed one.
    static QString listedFileNotReplaced(const QString& path);

    // Some file's analysis is still running, or files are still being listed.
    bool isAnalyzing() const { return !inFlight_.isEmpty() || isListing(); }
    // A folder's files are still being found (see addFiles).
    bool isListing() const;
    // Blocks until a result has come back (or none is running, or `timeout`
    // has passed) and applies what came back, as the event loop would;
    // false once nothing runs. For an owner without an event loop.
    bool applyNextResults(std::chrono::milliseconds timeout);

    void setTargetLUFS(double lufs);
    // Rounded to 0.1 dB and held to the range.
    void setCeilingDBTP(double ceiling);
    // Measures every listed file again with the new mix; results of
    // analyses still running with the old one are dropped.
    void setChannelMix(ChannelMix mix);
    // Aims every automatic correction anew.
    void setNormalizeBy(NormalizeBy by);
    void setAlbumMode(bool on);
    // Sets the preset's target, figure and ceiling together; Custom changes
    // none of them.
    void setPreset(TargetPreset preset);
    // Sets the three values (the ceiling held to its range) and keeps the
    // preset only if they are its own.
    void setAim(const Aim& aim);

    // Appends the files with an admitted extension whose paths are not listed
    // yet (filesAdded names the first) and analyses them; a folder stands for
    // the audio files under it (FolderScan). Returns the local files it left
    // out, each with why. When a folder takes longer than a moment to read
    // or holds more than listedAtOnce files, the paths are listed on a thread
    // of their own instead, in the same order, and the files join the list
    // in slices as they are found (a library of thousands does not hold up
    // the window); what that leaves out comes with notAdded.
    struct SkippedFile {
        QString path;
        QString reason; // "not an audio file", "already listed", "no audio files in it"
    };
    std::vector<SkippedFile> addFiles(const QList<QUrl>& urls);
    // The most files a folder adds in one go on the owning thread.
    static constexpr size_t listedAtOnce = 200;
    // A file to list, with the folders it was found in below a folder given
    // ("Rock/Album" for Rock/Album/01.flac found in Rock; empty for a file
    // given itself), which its output mirrors.
    struct ListedPath {
        QString path;
        QString subfolder;
    };
    // addFiles for paths whose folders are opened already.
    std::vector<SkippedFile> addListed(const std::vector<ListedPath>& listed);
    // "notes.txt (not an audio file), a.wav (already listed)"; past `named`
    // files, "12 more".
    static QString describe(const std::vector<SkippedFile>& skipped, size_t named = SIZE_MAX);
    // `paths` with each folder replaced by the audio files under it, in path
    // order; a folder without any goes to `empty`, or without `empty` stays.
    static std::vector<ListedPath> withFoldersOpened(const QStringList& paths, QStringList* empty = nullptr);
    // The same, handed to `found` as they are found, until `stop`; returns
    // the folders without any.
    static QStringList openFolders(const QStringList& paths,
                                   const std::function<void(std::vector<ListedPath>&& found)>& found,
                                   std::stop_token stop = {});
    // Adds files named on the command line (relative to the working folder);
    // returns those missing or left out, each with why.
    std::vector<SkippedFile> addPaths(const QStringList& paths);
    // Replaces the list (listReplaced) and analyses the items that have no
    // analysis yet.
    void loadFiles(std::vector<AudioFileItemPtr> items);
    // The same with the files measured with `mix`: when it changes, the
    // outgoing list is taken off first, so that it is not measured again.
    void loadFiles(std::vector<AudioFileItemPtr> items, ChannelMix mix);
    // Aims every analysed, automatic item at the current target (at its
    // album's figure in album mode, the albums grouped anew).
    void recalcCorrections();
    void resetOverride(AudioFileItem& item);

    // Takes the file out of the list; none when it is not listed.
    std::optional<RemovedFile> removeFile(const QUuid& id);
    // Puts it back where it was (at the end of a shorter list).
    void restoreRemovedFile(const RemovedFile& removed);

signals:
    void filesChanged();
    // After filesChanged: files were appended, the first of them `first`.
    void filesAdded(const QUuid& first);
    // After filesChanged: the whole list was replaced.
    void listReplaced();
    void targetLUFSChanged();
    void ceilingDBTPChanged();
    // Analyses begun or one of them ended: `done` of the `total` started
    // since none was running.
    void analysisProgress(int64_t done, int64_t total);
    // What a listing on a thread of its own (see addFiles) left out, once it ended.
    void notAdded(const std::vector<BatchSession::SkippedFile>& skipped);
    void analysisFinished(); // no analysis is running any more
    void channelMixChanged();
    void normalizeByChanged();
    void presetChanged();
    void albumModeChanged();

private:
    struct AnalysisGroup;
    struct Finished;
    struct Listing;
    struct RunningListing;

    // Starts listing `paths` on a thread of its own.
    void list(const QStringList& paths);
    // Every listed path, cleaned; what addListed leaves out as already listed.
    QSet<QString> listedPaths() const;
    std::vector<SkippedFile> addListed(const std::vector<ListedPath>& listed, const QSet<QString>& listedBefore);
    // Asks the owning thread (once until it comes) to take what was found.
    void wakeFor(const std::shared_ptr<Listing>& listing);
    // Adds what `listing` found since last time, up to listedAtOnce; once
    // all is in, says what it left out.
    void takeListed(const std::shared_ptr<Listing>& listing);
    void analyzeFiles(const std::vector<AudioFileItemPtr>& items);
    // Stops the running analyses and waits for their jobs to return.
    void stopAndWait();
    // Aims an automatic item's correction at the target.
    void aim(AudioFileItem& item) const;
    // Gives each analysed file its album in album mode, none otherwise.
    void groupAlbums();
    // Turns the preset into Custom once the values no longer are its own.
    void keepPresetTrue();
    // Applies what came back until `budget` is used up, then calls itself
    // again through the event loop for the rest.
    void applyFinished(std::chrono::milliseconds budget = std::chrono::milliseconds(8));
    void applyResult(AnalysisGroup& group, size_t index, FileAnalysis outcome);

    AnalysisOptions options_;
    std::vector<AudioFileItemPtr> files_;
    double targetLUFS_ = defaultTargetLUFS;
    double ceilingDBTP_ = CeilingRange::defaultDBTP;
    ChannelMix channelMix_ = ChannelMix::sum;
    NormalizeBy normalizeBy_ = NormalizeBy::loudest;
    bool albumMode_ = false;
    bool albumsChanged_ = false; // results came in since the albums were grouped
    TargetPreset preset_ = TargetPreset::custom;

    // Ids whose analysis has started and whose result has not come back
    // yet, with how many such analyses each has (one mix's and another's).
    QHash<QUuid, int> inFlight_;
    std::shared_ptr<Inbox<Finished>> inbox_;
    std::unique_ptr<JobRunner> ownRunner_; // for a bounded count of analyses at once
    std::vector<JobRunner::Batch> analyses_;
    struct Progress {
        int64_t done = 0;
        int64_t total = 0;
    } progress_;
    std::vector<RunningListing> listings_;
};
