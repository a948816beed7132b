#include "ui/ListRecovery.h"

#include "io/Error.h"
#include "io/TemporaryFile.h"
#include "session/SettingsFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

constexpr int intervalMs = 3000;

} // namespace

ListRecovery::ListRecovery(BatchSession& state, QString path, QObject* parent)
    : QObject(parent), state_(state), path_(std::move(path)) {
    timer_.setInterval(intervalMs);
    connect(&timer_, &QTimer::timeout, this, &ListRecovery::keep);
    timer_.start();
    writer_ = std::jthread([this](std::stop_token stop) { write(stop); });
}

ListRecovery::~ListRecovery() {
    writer_.request_stop();
    wake_.notify_all();
}

QString ListRecovery::defaultPath() {
    QString folder = qEnvironmentVariable("XDG_STATE_HOME");
    if (!QDir::isAbsolutePath(folder)) // unset, empty or relative: the default
        folder = QDir::homePath() + QStringLiteral("/.local/state");
    return folder + QStringLiteral("/sonivel/working-list.json");
}

std::optional<size_t> ListRecovery::leftAt(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > SettingsFile::maximumFileBytes)
        return std::nullopt;
    const Result<SettingsData> data = SettingsFile::decode(file.readAll());
    if (!data.ok() || data.value().files.empty())
        return std::nullopt;
    return data.value().files.size();
}

void ListRecovery::keep() {
    SettingsData copy = SettingsFile::settingsFrom(state_);
    {
        const std::lock_guard lock(mutex_);
        if (discarded_)
            return;
        next_ = std::move(copy);
    }
    wake_.notify_all();
}

void ListRecovery::write(std::stop_token stop) {
    for (;;) {
        SettingsData data;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [&] { return next_ || stop.stop_requested(); });
            if (stop.stop_requested())
                return;
            data = std::move(*std::exchange(next_, std::nullopt));
        }
        const QByteArray bytes = SettingsFile::encode(data);
        const std::lock_guard writing(writing_);
        if (bytes == written_ || [&] {
                const std::lock_guard lock(mutex_);
                return discarded_;
            }())
            continue;
        try {
            if (data.files.empty()) {
                QFile::remove(path_);
            } else {
                QDir().mkpath(QFileInfo(path_).absolutePath());
                TemporaryFiles::replaceWith(path_, bytes);
            }
            written_ = bytes;
        } catch (const Failure&) {
            // A full or read-only disk: tried again at the next tick.
        }
    }
}

void ListRecovery::discard() {
    timer_.stop();
    {
        const std::lock_guard lock(mutex_);
        discarded_ = true;
        next_.reset();
    }
    const std::lock_guard writing(writing_); // a write under way ends first
    QFile::remove(path_);
}
