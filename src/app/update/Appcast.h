#pragma once

// The update feed: an RSS 2.0 "appcast" whose items are the released
// versions, each with its build number ("version"), the version people see
// ("short version string"), a date, release notes or a link to them, a
// download page and the file to download. Only items of the default channel
// count. Plain values and free functions.

#include "io/Error.h"
#include <QByteArray>
#include <QString>
#include <QUrl>
#include <vector>

struct AppVersion {
    QString shortVersion; // "1.3.0"
    QString build;        // "57"
};

struct AppcastItem {
    QString title;
    AppVersion version;
    QString publicationDate;
    QString releaseNotes; // limited HTML from the item's description
    QUrl releaseNotesLink;
    QUrl downloadPage; // the item's link, else its enclosure
};

namespace Appcast {

// "1.3.0 (57)"; a missing part reads "?".
QString displayVersion(const AppVersion& version);

// Negative, zero or positive as `a` is older than, the same as or newer
// than `b`: build numbers first, then short versions, each compared part by
// dotted part (numbers as numbers, "1.10" after "1.9").
int compare(const AppVersion& a, const AppVersion& b);

// The items of the default channel, or what makes the feed unreadable.
Result<std::vector<AppcastItem>> parse(const QByteArray& xml);

// The newest item, or null when there is none.
const AppcastItem* newest(const std::vector<AppcastItem>& items);

} // namespace Appcast
