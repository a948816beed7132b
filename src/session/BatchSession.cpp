#include "session/BatchSession.h"

#include "session/Albums.h"

#include "io/FileIdentity.h"
#include "io/FolderScan.h"
#include "io/NativePath.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <mutex>
#include <stop_token>
#include <thread>

// What one call of analyzeFiles shares with its jobs; `completed` is counted
// on the owning thread as results arrive.
struct BatchSession::AnalysisGroup {
    struct Work {
        QUuid id;
        QString path;
    };
    std::vector<Work> work;
    ChannelMix mix = ChannelMix::sum;
};

// One call's paths with a folder among them, listed on a thread of its own:
// what it found and has not handed over, and whether it has ended.
struct BatchSession::Listing {
    std::mutex mutex;
    std::vector<ListedPath> found;
    QStringList empty; // the folders without audio files
    bool walked = false;
    bool woken = false; // a call to take what was found is on its way
    // The owning thread's: the last of it is in the list; what it left out.
    bool done = false;
    std::vector<SkippedFile> skipped;
    QSet<QString> listedBefore; // what was listed when it began, as addListed checks
};

namespace {

// The folders given that hold no audio file, as what was left out.
std::vector<BatchSession::SkippedFile> withoutAudio(const QStringList& folders) {
    std::vector<BatchSession::SkippedFile> skipped;
    for (const QString& folder : folders)
        skipped.push_back({folder, QStringLiteral("no audio files in it")});
    return skipped;
}

} // namespace

struct BatchSession::RunningListing {
    std::shared_ptr<Listing> listing;
    std::jthread thread;
};

// A finished analysis, on its way to the owning thread.
struct BatchSession::Finished {
    std::shared_ptr<AnalysisGroup> group;
    size_t index;
    FileAnalysis outcome;
};

BatchSession::BatchSession(QObject* parent) : BatchSession(AnalysisOptions{}, parent) {}

BatchSession::BatchSession(AnalysisOptions options, QObject* parent)
    : QObject(parent), options_(std::move(options)), inbox_(std::make_shared<Inbox<Finished>>()) {
    if (options_.activeProcessorCount > 0)
        ownRunner_ = std::make_unique<JobRunner>(options_.activeProcessorCount);
    if (!options_.analyze)
        options_.analyze = analyzeFile;
}

BatchSession::~BatchSession() {
    listings_.clear(); // stops and joins each thread
    stopAndWait();
}

void BatchSession::stopAndWait() {
    for (const JobRunner::Batch& batch : analyses_)
        batch.requestStop();
    for (const JobRunner::Batch& batch : analyses_)
        batch.wait();
    analyses_.clear();
}

const QSet<QString>& BatchSession::audioExtensions() {
    static const QSet<QString> extensions = {"wav", "wave", "aif",  "aiff", "mp3", "m4a", "aac", "flac",
                                             "ogg", "oga",  "opus", "wma",  "wv",  "ape", "caf", "alac",
                                             "mp4", "m4b",  "m4p",  "mka",  "ac3", "ec3", "dts"};
    return extensions;
}

double BatchSession::correctionFor(double targetLUFS, double figureLUFS) {
    return std::round((targetLUFS - figureLUFS) * 10.0) / 10.0; // std::round: halves away from zero
}

bool BatchSession::lists(const QString& path) const {
    return std::any_of(files_.begin(), files_.end(),
                       [&](const AudioFileItemPtr& item) { return isSameFile(item->path(), path); });
}

QString BatchSession::listedFileNotReplaced(const QString& path) {
    return QStringLiteral("\"%1\" is one of the audio files in the list and is not replaced.")
        .arg(NativePath::shownName(path));
}

// Stores a field and emits `signal` when it changed.
template <typename T, typename Signal> static void publish(BatchSession* state, T& field, T value, Signal signal) {
    if (field == value)
        return;
    field = std::move(value);
    emit(state->*signal)();
}

void BatchSession::setTargetLUFS(double lufs) {
    if (std::isfinite(lufs))
        publish(this, targetLUFS_, lufs, &BatchSession::targetLUFSChanged);
    keepPresetTrue();
}

void BatchSession::setCeilingDBTP(double ceiling) {
    if (std::isfinite(ceiling))
        publish(this, ceilingDBTP_,
                std::clamp(std::round(ceiling * 10.0) / 10.0, CeilingRange::lowestDBTP, CeilingRange::highestDBTP),
                &BatchSession::ceilingDBTPChanged);
    keepPresetTrue();
}

void BatchSession::setNormalizeBy(NormalizeBy by) {
    if (by == normalizeBy_)
        return;
    normalizeBy_ = by;
    for (const AudioFileItemPtr& item : files_)
        item->setNormalizeBy(by);
    recalcCorrections();
    emit normalizeByChanged();
    keepPresetTrue();
}

void BatchSession::setPreset(TargetPreset preset) {
    setAim({presetValues(preset).value_or(currentAim().values), preset});
}

void BatchSession::setAim(const Aim& aim) {
    setTargetLUFS(aim.values.targetLUFS);
    setNormalizeBy(aim.values.normalizeBy);
    setCeilingDBTP(aim.values.ceilingDBTP);
    publish(this, preset_, presetHolding(aim.preset, currentAim().values), &BatchSession::presetChanged);
}

void BatchSession::keepPresetTrue() {
    publish(this, preset_, presetHolding(preset_, currentAim().values), &BatchSession::presetChanged);
}

void BatchSession::aim(AudioFileItem& item) const {
    if (item.analysis() && !item.isManualOverride())
        item.setCorrectionDB(correctionFor(targetLUFS_, *item.aimedFigureLUFS()));
}

void BatchSession::setAlbumMode(bool on) {
    if (on == albumMode_)
        return;
    albumMode_ = on;
    recalcCorrections();
    emit albumModeChanged();
}

void BatchSession::groupAlbums() {
    std::vector<std::pair<QString, const AnalysisResult*>> tracks;
    for (const AudioFileItemPtr& item : files_)
        tracks.emplace_back(item->path(), albumMode_ && item->analysis() ? &*item->analysis() : nullptr);
    std::vector<std::optional<AudioFileItem::AlbumShare>> shares(files_.size());
    for (const Albums::Group& group : Albums::grouped(tracks))
        for (const size_t i : group.tracks)
            shares[i] = AudioFileItem::AlbumShare{group.album.key, group.album.name,
                                                  group.figures.figureLUFS(normalizeBy_), group.figures.tracks};
    for (size_t i = 0; i < files_.size(); ++i)
        files_[i]->setAlbum(std::move(shares[i]));
}

void BatchSession::setChannelMix(ChannelMix mix) {
    if (mix == channelMix_)
        return;
    channelMix_ = mix;
    emit channelMixChanged();
    if (!files_.empty())
        analyzeFiles(files_);
}

std::vector<BatchSession::SkippedFile> BatchSession::addFiles(const QList<QUrl>& urls) {
    QStringList paths;
    for (const QUrl& url : urls)
        if (url.isLocalFile())
            paths << NativePath::fromUrl(url);
    // Files, and a folder read within a moment, are added at once; a larger
    // folder is read again on a thread of its own, and listed from there.
    std::stop_source tooLarge;
    QElapsedTimer clock;
    clock.start();
    std::vector<ListedPath> found;
    const QStringList empty = openFolders(
        paths,
        [&](std::vector<ListedPath>&& more) {
            found.insert(found.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
            if (found.size() > listedAtOnce || clock.elapsed() > 20)
                tooLarge.request_stop();
        },
        tooLarge.get_token());
    if (tooLarge.stop_requested()) {
        list(paths);
        return {};
    }
    std::vector<SkippedFile> skipped = withoutAudio(empty);
    const std::vector<SkippedFile> rest = addListed(found);
    skipped.insert(skipped.end(), rest.begin(), rest.end());
    return skipped;
}

void BatchSession::list(const QStringList& paths) {
    std::erase_if(listings_, [](const RunningListing& r) { return r.listing->done; });
    auto listing = std::make_shared<Listing>();
    listing->listedBefore = listedPaths();
    // The owning thread is woken at most every 50 ms while the walk goes on,
    // and when it ends.
    listings_.push_back({listing, std::jthread([this, paths, listing](std::stop_token stop) {
                             QElapsedTimer since;
                             since.start();
                             const QStringList empty = openFolders(
                                 paths,
                                 [&](std::vector<ListedPath>&& found) {
                                     const std::lock_guard lock(listing->mutex);
                                     listing->found.insert(listing->found.end(), std::make_move_iterator(found.begin()),
                                                           std::make_move_iterator(found.end()));
                                     if (since.elapsed() >= 50)
                                         wakeFor(listing), since.restart();
                                 },
                                 stop);
                             {
                                 const std::lock_guard lock(listing->mutex);
                                 listing->empty = empty;
                                 listing->walked = true;
                                 wakeFor(listing);
                             }
                         })});
}

void BatchSession::wakeFor(const std::shared_ptr<Listing>& listing) {
    if (!std::exchange(listing->woken, true))
        QMetaObject::invokeMethod(
            this, [this, listing] { takeListed(listing); }, Qt::QueuedConnection);
}

bool BatchSession::isListing() const {
    return std::any_of(listings_.begin(), listings_.end(), [](const RunningListing& r) { return !r.listing->done; });
}

void BatchSession::takeListed(const std::shared_ptr<Listing>& shared) {
    Listing& listing = *shared;
    std::vector<ListedPath> batch;
    {
        const std::lock_guard lock(listing.mutex);
        listing.woken = false;
        // A slice at a time, so that the window answers in between.
        const size_t n = std::min(listing.found.size(), listedAtOnce);
        batch.assign(std::make_move_iterator(listing.found.begin()),
                     std::make_move_iterator(listing.found.begin() + n));
        listing.found.erase(listing.found.begin(), listing.found.begin() + n);
        listing.done = listing.walked && listing.found.empty();
        if (!listing.found.empty()) { // the rest once the window has had its turn
            listing.woken = true;
            QTimer::singleShot(1, this, [this, shared] { takeListed(shared); });
        }
    }
    std::vector<SkippedFile> skipped = addListed(batch, listing.listedBefore);
    listing.skipped.insert(listing.skipped.end(), skipped.begin(), skipped.end());
    if (!listing.done)
        return; // more to come
    std::vector<SkippedFile> told = withoutAudio(listing.empty);
    told.insert(told.end(), listing.skipped.begin(), listing.skipped.end());
    if (!told.empty())
        emit notAdded(told);
    if (!isAnalyzing())
        emit analysisFinished();
}

QSet<QString> BatchSession::listedPaths() const {
    QSet<QString> listed;
    for (const AudioFileItemPtr& item : files_)
        listed.insert(QDir::cleanPath(item->path()));
    return listed;
}

std::vector<BatchSession::SkippedFile> BatchSession::addListed(const std::vector<ListedPath>& paths) {
    return addListed(paths, listedPaths());
}

std::vector<BatchSession::SkippedFile> BatchSession::addListed(const std::vector<ListedPath>& paths,
                                                               const QSet<QString>& listed) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    std::vector<AudioFileItemPtr> added;
    std::vector<SkippedFile> skipped;
    for (const auto& [path, subfolder] : paths) {
        if (!audioExtensions().contains(QFileInfo(path).suffix().toLower())) {
            skipped.push_back({path, QStringLiteral("not an audio file")});
            continue;
        }
        // Checked against the list as it was before this call, so the same
        // URL twice in one drop gives two items.
        if (listed.contains(QDir::cleanPath(path))) {
            skipped.push_back({path, QStringLiteral("already listed")});
            continue;
        }
        added.push_back(std::make_shared<AudioFileItem>(NativePath::toUrl(path)));
        added.back()->setNormalizeBy(normalizeBy_);
        added.back()->setSubfolder(subfolder);
    }
    if (added.empty())
        return skipped;

    files_.insert(files_.end(), added.begin(), added.end());
    emit filesChanged();
    emit filesAdded(added.front()->id());
    analyzeFiles(added);
    return skipped;
}

std::vector<BatchSession::SkippedFile> BatchSession::addPaths(const QStringList& paths) {
    QList<QUrl> urls;
    std::vector<SkippedFile> skipped;
    for (const QString& path : paths) {
        if (NativePath::exists(path))
            urls << NativePath::toUrl(path);
        else
            skipped.push_back({path, QStringLiteral("not found")});
    }
    const std::vector<SkippedFile> notAdded = addFiles(urls);
    skipped.insert(skipped.end(), notAdded.begin(), notAdded.end());
    return skipped;
}

QStringList BatchSession::openFolders(const QStringList& paths,
                                      const std::function<void(std::vector<ListedPath>&& found)>& found,
                                      std::stop_token stop) {
    QStringList empty;
    for (const QString& path : paths) {
        if (stop.stop_requested())
            break;
        // The folder's own name, then the folders between it and the file.
        const QString root = QDir::cleanPath(path);
        const QString name = QFileInfo(root).fileName();
        bool any = false;
        const bool folder = FolderScan::scan(
            path, [](const QString& file) { return audioExtensions().contains(QFileInfo(file).suffix().toLower()); },
            [&](QStringList&& files) {
                std::vector<ListedPath> listed;
                for (const QString& file : files) {
                    const QString between = file.mid(root.size() + 1).section(QLatin1Char('/'), 0, -2);
                    listed.push_back({file, between.isEmpty() ? name : name + QLatin1Char('/') + between});
                }
                any = true;
                found(std::move(listed));
            },
            stop);
        if (!folder)
            found({{path, {}}});
        else if (!any)
            empty << path;
    }
    return empty;
}

std::vector<BatchSession::ListedPath> BatchSession::withFoldersOpened(const QStringList& paths, QStringList* empty) {
    std::vector<ListedPath> out;
    const auto take = [&](std::vector<ListedPath>&& found) {
        out.insert(out.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
    };
    for (const QString& folder : openFolders(paths, take)) {
        if (empty)
            *empty << folder;
        else
            out.push_back({folder, {}}); // reported as any path that holds no audio
    }
    return out;
}

QString BatchSession::describe(const std::vector<SkippedFile>& skipped, size_t named) {
    QStringList parts;
    for (size_t i = 0; i < std::min(skipped.size(), named); ++i)
        parts << QStringLiteral("%1 (%2)").arg(NativePath::shownName(skipped[i].path), skipped[i].reason);
    if (skipped.size() > named)
        parts << QStringLiteral("%1 more").arg(skipped.size() - named);
    return parts.join(QStringLiteral(", "));
}

void BatchSession::loadFiles(std::vector<AudioFileItemPtr> items) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    files_ = std::move(items);
    for (const AudioFileItemPtr& item : files_)
        item->setNormalizeBy(normalizeBy_);
    emit filesChanged();
    emit listReplaced();
    std::vector<AudioFileItemPtr> unanalysed;
    std::copy_if(files_.begin(), files_.end(), std::back_inserter(unanalysed),
                 [](const AudioFileItemPtr& item) { return !item->analysis(); });
    if (!unanalysed.empty())
        analyzeFiles(unanalysed);
}

void BatchSession::loadFiles(std::vector<AudioFileItemPtr> items, ChannelMix mix) {
    if (mix != channelMix_) {
        loadFiles({});
        setChannelMix(mix);
    }
    loadFiles(std::move(items));
}

void BatchSession::analyzeFiles(const std::vector<AudioFileItemPtr>& items) {
    const auto group = std::make_shared<AnalysisGroup>();
    group->mix = channelMix_;
    if (inFlight_.isEmpty())
        progress_ = {};
    for (const AudioFileItemPtr& item : items) {
        group->work.push_back({item->id(), item->path()});
        ++inFlight_[item->id()];
    }
    progress_.total += static_cast<int64_t>(items.size());
    emit analysisProgress(progress_.done, progress_.total);
    for (const AudioFileItemPtr& item : items)
        item->setIsAnalyzing(true);

    std::erase_if(analyses_, [](const JobRunner::Batch& batch) { return batch.finished(); });
    JobRunner& runner = ownRunner_ ? *ownRunner_ : JobRunner::shared();
    // The session waits for these jobs before it goes, so they may post to it.
    analyses_.push_back(
        runner.start(static_cast<int64_t>(group->work.size()), [this, group, analyze = options_.analyze,
                                                                inbox = inbox_](int64_t i, std::stop_token stop) {
            const auto index = static_cast<size_t>(i);
            FileAnalysis outcome = FileAnalysis::of([&] { return analyze(group->work[index].path, group->mix, stop); },
                                                    QStringLiteral("Unexpected error while analysing this file"));
            if (stop.stop_requested())
                return;
            inbox->put({group, index, std::move(outcome)}, [this] {
                QMetaObject::invokeMethod(
                    this, [this] { applyFinished(); }, Qt::QueuedConnection);
            });
        }));
}

bool BatchSession::applyNextResults(std::chrono::milliseconds timeout) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning thread only
    // Every job that is not stopped hands in a result.
    inbox_->waitFor(timeout, [&] { return inFlight_.isEmpty(); });
    applyFinished(std::chrono::milliseconds::max());
    return isAnalyzing();
}

void BatchSession::applyFinished(std::chrono::milliseconds budget) {
    Q_ASSERT(thread() == QThread::currentThread()); // the owning (main) thread only
    QElapsedTimer clock;
    clock.start();
    bool left = true;
    while (left && std::chrono::milliseconds(clock.elapsed()) < budget)
        for (Finished& f : inbox_->take(32, left))
            applyResult(*f.group, f.index, std::move(f.outcome));
    // An album's figure moves with each of its tracks measured: grouped once
    // for all that came in.
    if (std::exchange(albumsChanged_, false))
        recalcCorrections();
    // The rest after the window has had its turn: a timer, as a posted call
    // would be handled in the same pass as this one.
    if (left)
        QTimer::singleShot(1, this, [this] { applyFinished(); });
}

void BatchSession::applyResult(AnalysisGroup& group, size_t index, FileAnalysis outcome) {
    ++progress_.done;
    const QUuid id = group.work[index].id;
    if (--inFlight_[id] <= 0)
        inFlight_.remove(id);
    // A file removed meanwhile has nothing to show its result on, and one
    // measured with a mix given up since waits for its next result.
    const AudioFileItemPtr item = group.mix == channelMix_ ? findFile(id) : nullptr;
    if (item) {
        item->setIsAnalyzing(false);
        if (outcome.ok()) {
            item->setAnalysis(outcome.takeValue());
            if (albumMode_)
                albumsChanged_ = true;
            else
                aim(*item);
        } else {
            item->setAnalysisError(outcome.error());
        }
        emit analysisProgress(progress_.done, progress_.total);
    }
    // Complete only when no drop's analyses are left running, and with every
    // album's correction aimed at its whole.
    if (!isAnalyzing()) {
        if (std::exchange(albumsChanged_, false))
            recalcCorrections();
        emit analysisFinished();
    }
}

void BatchSession::recalcCorrections() {
    groupAlbums();
    for (const AudioFileItemPtr& item : files_)
        aim(*item);
}

void BatchSession::resetOverride(AudioFileItem& item) {
    item.setIsManualOverride(false);
    aim(item);
}

std::optional<RemovedFile> BatchSession::removeFile(const QUuid& id) {
    const std::optional<size_t> found = indexOf(id);
    if (!found)
        return std::nullopt;
    AudioFileItemPtr removed = files_[*found];
    files_.erase(files_.begin() + static_cast<std::ptrdiff_t>(*found));
    if (albumMode_) {
        removed->setAlbum(std::nullopt);
        recalcCorrections(); // its album lost it
    }
    emit filesChanged();
    return RemovedFile{std::move(removed), static_cast<int64_t>(*found)};
}

void BatchSession::restoreRemovedFile(const RemovedFile& removed) {
    if (!removed.file)
        return;
    if (!indexOf(removed.file->id())) {
        const auto count = static_cast<int64_t>(files_.size());
        const int64_t at = std::min(std::max<int64_t>(removed.index, 0), count);
        files_.insert(files_.begin() + static_cast<std::ptrdiff_t>(at), removed.file);
        // The target may have moved while it was out of the list.
        removed.file->setNormalizeBy(normalizeBy_);
        if (albumMode_)
            recalcCorrections(); // its album has it back
        else
            aim(*removed.file);
        emit filesChanged();
        // Its analysis result came back while it was out of the list and was
        // dropped; without a new analysis it would show as analysing forever.
        if (removed.file->isAnalyzing() && !inFlight_.contains(removed.file->id()))
            analyzeFiles({removed.file});
    }
}

AudioFileItemPtr BatchSession::findFile(const QUuid& id) const {
    const std::optional<size_t> i = indexOf(id);
    return i ? files_[*i] : nullptr;
}

std::optional<size_t> BatchSession::indexOf(const QUuid& id) const {
    const auto it =
        std::find_if(files_.begin(), files_.end(), [&](const AudioFileItemPtr& item) { return item->id() == id; });
    if (it == files_.end())
        return std::nullopt;
    return static_cast<size_t>(it - files_.begin());
}
