#include "analysis/AnalysisCache.h"

#include "analysis/AnalysisPacking.h"
#include "analysis/LoudnessAnalyzer.h"
#include "io/NativePath.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QVariant>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <sys/stat.h>
#include <thread>

namespace {

// "SNVL": tells our database from any other SQLite file.
constexpr qint64 applicationId = 0x534E564C;
// Raised whenever the table below changes; an older file is started anew.
constexpr qint64 schemaVersion = 1;
// How long a statement waits for another program's lock.
constexpr int busyMilliseconds = 3000;

// SQLite's primary result codes for a file that can no longer be trusted:
// a general error (such as a table gone), a damaged image, not a database.
bool damaged(const QSqlError& error) {
    const int code = error.nativeErrorCode().toInt() & 0xff;
    return code == 1 || code == 11 || code == 26;
}

// What a kept measurement is valid for: the file as it was when measured.
using FileKey = AnalysisCache::Stamp;

int64_t sizeOnDisk(const QString& file) {
    return QFileInfo(file).size() + QFileInfo(file + QStringLiteral("-wal")).size();
}

} // namespace

// The thread that owns the database connection, and the queue of what it is
// asked to do. Everything but `call`, `post` and `kept` runs on that thread.
struct AnalysisCache::Worker {
    const QString file;
    const int64_t pruneAbove;
    const QString connection = QStringLiteral("sonivel-cache-%1").arg(reinterpret_cast<quintptr>(this), 0, 16);
    bool open = false;

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<std::function<void()>> tasks;
    bool quitting = false;
    std::thread thread;

    Worker(QString f, int64_t prune) : file(std::move(f)), pruneAbove(prune), thread([this] { run(); }) {}

    ~Worker() {
        {
            const std::lock_guard lock(mutex);
            quitting = true;
        }
        wake.notify_one();
        thread.join();
    }

    void post(std::function<void()> task) {
        {
            const std::lock_guard lock(mutex);
            tasks.push_back(std::move(task));
        }
        wake.notify_one();
    }

    // Runs `step` on the cache's thread and waits for its value.
    template <typename Step> auto call(Step step) -> decltype(step()) {
        std::packaged_task<decltype(step())()> task(std::move(step));
        auto value = task.get_future();
        post([&task] { task(); });
        return value.get();
    }

    void run() {
        start();
        for (;;) {
            std::function<void()> task;
            {
                std::unique_lock lock(mutex);
                wake.wait(lock, [&] { return quitting || !tasks.empty(); });
                if (tasks.empty())
                    break; // quitting, with every queued store written
                task = std::move(tasks.front());
                tasks.pop_front();
            }
            task();
        }
        close();
    }

    QSqlDatabase db() const { return QSqlDatabase::database(connection, false); }

    void start() {
        // Without the driver every file is measured, and the cache file is left alone.
        if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE")))
            return;
        if (openFile()) {
            pruneIfLarge();
            return;
        }
        rebuild();
    }

    // Opens the file, making our table in a new one; false for a file that
    // cannot be read, is locked, damaged, or not ours.
    bool openFile() {
        QDir().mkpath(QFileInfo(file).absolutePath());
        {
            QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
            database.setDatabaseName(file);
            database.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyMilliseconds));
            open = database.open() && prepare(database);
        }
        if (!open)
            close();
        return open;
    }

    static bool prepare(const QSqlDatabase& database) {
        QSqlQuery q(database);
        const auto number = [&](const QString& sql) -> std::optional<qint64> {
            if (!q.exec(sql) || !q.next())
                return std::nullopt;
            return q.value(0).toLongLong();
        };
        const auto id = number(QStringLiteral("PRAGMA application_id"));
        const auto version = number(QStringLiteral("PRAGMA user_version"));
        const auto tables = number(QStringLiteral("SELECT count(*) FROM sqlite_master"));
        if (!id || !version || !tables)
            return false;
        if (*tables == 0 && *id == 0) {
            // Space freed by forgetting files goes back to the system.
            for (const QString& sql :
                 {QStringLiteral("PRAGMA auto_vacuum = INCREMENTAL"),
                  QStringLiteral("CREATE TABLE analyses (path BLOB NOT NULL, mix INTEGER NOT NULL, "
                                 "size INTEGER NOT NULL, modified INTEGER NOT NULL, inode INTEGER NOT NULL, "
                                 "measurement INTEGER NOT NULL, result BLOB NOT NULL, UNIQUE (path, mix))"),
                  QStringLiteral("PRAGMA application_id = %1").arg(applicationId),
                  QStringLiteral("PRAGMA user_version = %1").arg(schemaVersion)})
                if (!q.exec(sql))
                    return false;
        } else if (*id != applicationId || *version != schemaVersion) {
            return false;
        }
        return q.exec(QStringLiteral("PRAGMA journal_mode = WAL")) &&
               q.exec(QStringLiteral("PRAGMA synchronous = NORMAL"));
    }

    void close() {
        if (QSqlDatabase::contains(connection)) {
            db().close();
            QSqlDatabase::removeDatabase(connection);
        }
        open = false;
    }

    // Moves the file (and its journals, which would otherwise be played into
    // the new one) aside and starts a new one; with none, files are measured.
    void rebuild() {
        close();
        for (const QString& suffix :
             {QString(), QStringLiteral("-wal"), QStringLiteral("-shm"), QStringLiteral("-journal")}) {
            const QString from = file + suffix;
            if (QFileInfo::exists(from)) {
                const QString to = file + QStringLiteral(".unusable") + suffix;
                QFile::remove(to);
                if (!QFile::rename(from, to))
                    QFile::remove(from);
            }
        }
        openFile();
    }

    // Runs one statement; a failure that says the file is damaged starts a
    // new one. Null when the statement failed.
    std::optional<QSqlQuery> exec(const QString& sql, const QVariantList& values = {}) {
        if (!open)
            return std::nullopt;
        QSqlError error;
        {
            QSqlQuery q(db());
            q.setForwardOnly(true);
            if (q.prepare(sql)) {
                for (const QVariant& v : values)
                    q.addBindValue(v);
                if (q.exec())
                    return q;
            }
            error = q.lastError();
        }
        if (damaged(error))
            rebuild();
        return std::nullopt;
    }

    std::optional<QByteArray> find(const FileKey& key, ChannelMix mix) {
        std::optional<QSqlQuery> q =
            exec(QStringLiteral(
                     "SELECT size, modified, inode, measurement, result FROM analyses WHERE path = ? AND mix = ?"),
                 {key.path, static_cast<int>(mix)});
        if (!q || !q->next())
            return std::nullopt;
        const FileKey kept{key.path, q->value(0).toLongLong(), q->value(1).toLongLong(), q->value(2).toLongLong()};
        if (kept != key || q->value(3).toInt() != LoudnessAnalyzer::measurementVersion)
            return std::nullopt;
        return q->value(4).toByteArray();
    }

    // From any thread: the kept measurement of the file as `key` finds it.
    std::optional<AnalysisResult> kept(const FileKey& key, ChannelMix mix) {
        const std::optional<QByteArray> packed = call([&] { return find(key, mix); });
        std::optional<AnalysisResult> result = packed ? AnalysisPacking::unpack(*packed) : std::nullopt;
        return result && result->channelMix == mix ? result : std::nullopt;
    }

    void store(const FileKey& key, ChannelMix mix, const QByteArray& packed) {
        exec(QStringLiteral("INSERT OR REPLACE INTO analyses (path, mix, size, modified, inode, measurement, result) "
                            "VALUES (?, ?, ?, ?, ?, ?, ?)"),
             {key.path, static_cast<int>(mix), key.size, key.modified, key.inode, LoudnessAnalyzer::measurementVersion,
              packed});
    }

    // Gives the space of forgotten files back to the system.
    void shrink() {
        exec(QStringLiteral("PRAGMA incremental_vacuum"));
        exec(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
    }

    // Past the limit, forgets the files that are no longer there.
    void pruneIfLarge() {
        if (sizeOnDisk(file) <= pruneAbove)
            return;
        std::vector<qint64> gone;
        if (std::optional<QSqlQuery> q = exec(QStringLiteral("SELECT rowid, path FROM analyses"))) {
            while (q->next()) {
                struct stat st {};
                if (::stat(q->value(1).toByteArray().constData(), &st) != 0 && (errno == ENOENT || errno == ENOTDIR))
                    gone.push_back(q->value(0).toLongLong());
            }
        }
        if (gone.empty())
            return;
        exec(QStringLiteral("BEGIN"));
        for (const qint64 row : gone)
            exec(QStringLiteral("DELETE FROM analyses WHERE rowid = ?"), {row});
        exec(QStringLiteral("COMMIT"));
        shrink();
    }

    bool clear() {
        if (!exec(QStringLiteral("DELETE FROM analyses")))
            return false;
        shrink();
        return true;
    }
};

std::optional<AnalysisCache::Stamp> AnalysisCache::stampOf(const QString& path) {
    const QByteArray native = NativePath::encode(NativePath::absolute(path));
    struct stat st {};
    if (::stat(native.constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return std::nullopt;
    return Stamp{native, static_cast<qint64>(st.st_size),
                 static_cast<qint64>(st.st_mtim.tv_sec) * 1'000'000'000 + st.st_mtim.tv_nsec,
                 static_cast<qint64>(st.st_ino)};
}

void AnalysisCache::carryOver(const Stamp& was) {
    const std::optional<Stamp> now = stampOf(NativePath::decode(was.path));
    if (!now || *now == was)
        return;
    worker_->post([this, was, now = *now] {
        worker_->exec(QStringLiteral("UPDATE analyses SET size = ?, modified = ?, inode = ? "
                                     "WHERE path = ? AND size = ? AND modified = ? AND inode = ?"),
                      {now.size, now.modified, now.inode, was.path, was.size, was.modified, was.inode});
    });
}

QString AnalysisCache::defaultFile() {
    QString base = qEnvironmentVariable("XDG_CACHE_HOME");
    if (base.isEmpty() || !QDir::isAbsolutePath(base))
        base = QDir::homePath() + QStringLiteral("/.cache");
    return base + QStringLiteral("/sonivel/analysis.sqlite");
}

AnalysisCache::AnalysisCache(QString file, int64_t pruneAboveBytes)
    : worker_(std::make_unique<Worker>(std::move(file), pruneAboveBytes)) {}

AnalysisCache::~AnalysisCache() = default;

std::optional<AnalysisResult> AnalysisCache::find(const QString& path, ChannelMix mix) {
    const std::optional<FileKey> key = stampOf(path);
    return key ? worker_->kept(*key, mix) : std::nullopt;
}

FileAnalysis AnalysisCache::analyze(const QString& path, ChannelMix mix, std::stop_token stop) {
    const std::optional<FileKey> before = stampOf(path);
    if (before)
        if (std::optional<AnalysisResult> kept = worker_->kept(*before, mix))
            return std::move(*kept);
    FileAnalysis outcome = analyzeFile(path, mix, stop);
    if (outcome.ok() && before && stampOf(path) == before)
        worker_->post([this, key = *before, mix, packed = AnalysisPacking::pack(outcome.value())] {
            worker_->store(key, mix, packed);
        });
    return outcome;
}

bool AnalysisCache::clear() {
    return worker_->call([&] { return worker_->clear(); });
}

bool AnalysisCache::usable() {
    return worker_->call([&] { return worker_->open; });
}
