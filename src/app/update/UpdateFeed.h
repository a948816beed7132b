#pragma once

// Fetching the update feed: over https only (plain http to this machine's
// loopback address, for trying a feed locally), at most 1 MB, a few
// redirects, and an answer within the time limit. Every way it can fail
// has its own message. Runs on the calling thread's event loop.

#include "io/Error.h"
#include <QByteArray>
#include <QString>
#include <QUrl>
#include <functional>

class QNetworkAccessManager;

namespace UpdateFeed {

struct Limits {
    qint64 maxBytes = 1024 * 1024;
    int timeoutMs = 15000;
    int maxRedirects = 5;
};

using Fetched = Result<QByteArray>; // the feed, or why there is none

// True for https, and for http to a loopback address.
bool isAllowed(const QUrl& url);

// Fetches `url` and calls `done` once, later, from the event loop.
void fetch(QNetworkAccessManager& network, const QUrl& url, const Limits& limits, std::function<void(Fetched)> done);

} // namespace UpdateFeed
