#pragma once

// Checks whether a newer Sonivel has been released. The feed's address is
// deployment configuration: the SONIVEL_UPDATE_FEED environment variable,
// else the user's setting "updates/feedURL", else the "updates/feedURL" key
// of the sonivel.conf installed with the program. A check asked for by the
// user always reports back; the automatic one (at most once a day, once the
// user has agreed on the second launch) only reports a newer version.
// Nothing is downloaded or run: an offer opens its page in the browser.
// Lives on the main thread.

#include "app/update/Appcast.h"
#include "app/update/UpdateFeed.h"

#include <QDateTime>
#include <QNetworkAccessManager>
#include <QObject>

// What a check found: the installed version and, when the feed offers a
// newer one, the newest.
struct UpdateFinding {
    AppVersion installed;
    std::optional<AppcastItem> newer;
};
using UpdateCheck = Result<UpdateFinding>;

class UpdaterManager : public QObject {
    Q_OBJECT

public:
    explicit UpdaterManager(AppVersion installed, UpdateFeed::Limits limits = {}, QObject* parent = nullptr);

    // Where the feed is read from; empty when none is configured.
    static QUrl configuredFeedURL();
    // The installed configuration file, beside the program's data.
    static QString installedConfigPath();

    // A feed is configured and no check is running.
    bool canCheckForUpdates() const { return canCheck_; }
    void checkForUpdates();

    // At launch: on the second launch asks (once) whether to check
    // automatically; when agreed, checks if the last check is a day old.
    // `ask` returns the user's answer.
    void startUp(const std::function<bool()>& ask, const QDateTime& now = QDateTime::currentDateTimeUtc());

signals:
    void canCheckForUpdatesChanged(bool canCheck);
    void checkFinished(const UpdateCheck& result, bool userInitiated);

private:
    void check(bool userInitiated);
    void setCanCheck(bool canCheck);
    UpdateCheck evaluate(const UpdateFeed::Fetched& fetched) const;

    AppVersion installed_;
    UpdateFeed::Limits limits_;
    QNetworkAccessManager network_;
    bool running_ = false;
    bool canCheck_ = false;
};
