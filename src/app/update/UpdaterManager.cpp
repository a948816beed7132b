#include "app/update/UpdaterManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QSettings>

namespace {

const QString feedKey = QStringLiteral("updates/feedURL");
const QString automaticKey = QStringLiteral("updates/automaticallyCheck");
const QString lastCheckKey = QStringLiteral("updates/lastCheck");
const QString launchesKey = QStringLiteral("updates/launches");

QUrl feedFrom(const QString& text) { return text.trimmed().isEmpty() ? QUrl() : QUrl(text.trimmed()); }

} // namespace

UpdaterManager::UpdaterManager(AppVersion installed, UpdateFeed::Limits limits, QObject* parent)
    : QObject(parent), installed_(std::move(installed)), limits_(limits) {
    canCheck_ = !configuredFeedURL().isEmpty();
}

QString UpdaterManager::installedConfigPath() {
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("../share/sonivel/sonivel.conf"));
}

QUrl UpdaterManager::configuredFeedURL() {
    if (const QUrl fromEnvironment = feedFrom(qEnvironmentVariable("SONIVEL_UPDATE_FEED")); !fromEnvironment.isEmpty())
        return fromEnvironment;
    if (const QUrl fromUser = feedFrom(QSettings().value(feedKey).toString()); !fromUser.isEmpty())
        return fromUser;
    return feedFrom(QSettings(installedConfigPath(), QSettings::IniFormat).value(feedKey).toString());
}

void UpdaterManager::setCanCheck(bool canCheck) {
    if (canCheck_ == canCheck)
        return;
    canCheck_ = canCheck;
    emit canCheckForUpdatesChanged(canCheck);
}

void UpdaterManager::checkForUpdates() { check(true); }

void UpdaterManager::check(bool userInitiated) {
    const QUrl feed = configuredFeedURL();
    if (running_ || feed.isEmpty())
        return;
    running_ = true;
    setCanCheck(false);
    QSettings().setValue(lastCheckKey, QDateTime::currentDateTimeUtc());
    UpdateFeed::fetch(network_, feed, limits_, [this, userInitiated](const UpdateFeed::Fetched& fetched) {
        running_ = false;
        setCanCheck(!configuredFeedURL().isEmpty());
        const UpdateCheck result = evaluate(fetched);
        if (userInitiated || (result.ok() && result.value().newer))
            emit checkFinished(result, userInitiated);
    });
}

UpdateCheck UpdaterManager::evaluate(const UpdateFeed::Fetched& fetched) const {
    if (!fetched.ok())
        return fetched.error();
    const auto parsed = Appcast::parse(fetched.value());
    if (!parsed.ok())
        return parsed.error();
    UpdateFinding found{installed_, std::nullopt};
    const AppcastItem* newest = Appcast::newest(parsed.value());
    if (Appcast::compare(newest->version, installed_) > 0)
        found.newer = *newest;
    return found;
}

void UpdaterManager::startUp(const std::function<bool()>& ask, const QDateTime& now) {
    QSettings settings;
    const int launches = settings.value(launchesKey, 0).toInt() + 1;
    settings.setValue(launchesKey, std::min(launches, 2));
    if (launches >= 2 && !settings.contains(automaticKey) && !configuredFeedURL().isEmpty())
        settings.setValue(automaticKey, ask());
    if (!settings.value(automaticKey, false).toBool())
        return;
    const QDateTime last = settings.value(lastCheckKey).toDateTime();
    if (!last.isValid() || last.secsTo(now) >= 24 * 60 * 60 || last > now)
        check(false);
}
