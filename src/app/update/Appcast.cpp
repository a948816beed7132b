#include "app/update/Appcast.h"

#include <QStringList>
#include <QXmlStreamReader>
#include <algorithm>

namespace Appcast {

namespace {

const QString sparkle = QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

int compareDotted(const QString& a, const QString& b) {
    const QStringList x = a.split(QLatin1Char('.')), y = b.split(QLatin1Char('.'));
    for (qsizetype i = 0; i < std::max(x.size(), y.size()); ++i) {
        const QString p = i < x.size() ? x[i].trimmed() : QStringLiteral("0");
        const QString q = i < y.size() ? y[i].trimmed() : QStringLiteral("0");
        bool pNumber = false, qNumber = false;
        const qulonglong m = p.toULongLong(&pNumber), n = q.toULongLong(&qNumber);
        if (pNumber && qNumber) {
            if (m != n)
                return m < n ? -1 : 1;
        } else if (const int c = QString::compare(p, q); c != 0) {
            return c < 0 ? -1 : 1;
        }
    }
    return 0;
}

// Only web addresses are kept: a feed cannot make the program open a file.
QUrl webAddress(const QString& text) {
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    return url.isValid() && (url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http")) ? url
                                                                                                              : QUrl();
}

// One <item>; `channel` is set when it belongs to a channel of its own.
AppcastItem readItem(QXmlStreamReader& xml, bool& channel) {
    AppcastItem item;
    QUrl enclosure;
    while (xml.readNextStartElement()) {
        const QStringView name = xml.name();
        const bool ours = xml.namespaceUri() == sparkle;
        if (name == QLatin1String("enclosure")) {
            const QXmlStreamAttributes a = xml.attributes();
            enclosure = webAddress(a.value(QLatin1String("url")).toString());
            if (item.version.build.isEmpty())
                item.version.build = a.value(sparkle, QLatin1String("version")).toString();
            if (item.version.shortVersion.isEmpty())
                item.version.shortVersion = a.value(sparkle, QLatin1String("shortVersionString")).toString();
            xml.skipCurrentElement();
        } else if (ours && name == QLatin1String("version")) {
            item.version.build = xml.readElementText().trimmed();
        } else if (ours && name == QLatin1String("shortVersionString")) {
            item.version.shortVersion = xml.readElementText().trimmed();
        } else if (ours && name == QLatin1String("releaseNotesLink")) {
            item.releaseNotesLink = webAddress(xml.readElementText());
        } else if (ours && name == QLatin1String("channel")) {
            channel = !xml.readElementText().trimmed().isEmpty();
        } else if (!ours && name == QLatin1String("title")) {
            item.title = xml.readElementText().trimmed();
        } else if (!ours && name == QLatin1String("pubDate")) {
            item.publicationDate = xml.readElementText().trimmed();
        } else if (!ours && name == QLatin1String("description")) {
            item.releaseNotes = xml.readElementText().trimmed();
        } else if (!ours && name == QLatin1String("link")) {
            item.downloadPage = webAddress(xml.readElementText());
        } else {
            xml.skipCurrentElement();
        }
    }
    if (item.downloadPage.isEmpty())
        item.downloadPage = enclosure;
    return item;
}

} // namespace

QString displayVersion(const AppVersion& version) {
    const auto orUnknown = [](const QString& s) { return s.isEmpty() ? QStringLiteral("?") : s; };
    return QStringLiteral("%1 (%2)").arg(orUnknown(version.shortVersion), orUnknown(version.build));
}

int compare(const AppVersion& a, const AppVersion& b) {
    if (const int byBuild = compareDotted(a.build, b.build); byBuild != 0)
        return byBuild;
    return compareDotted(a.shortVersion, b.shortVersion);
}

Result<std::vector<AppcastItem>> parse(const QByteArray& bytes) {
    using Parsed = Result<std::vector<AppcastItem>>;
    QXmlStreamReader xml(bytes);
    const auto invalid = [&xml] {
        return Parsed::failure(Error::Kind::other, QStringLiteral("The update feed is not valid XML: %1 (line %2).")
                                                       .arg(xml.errorString())
                                                       .arg(xml.lineNumber()));
    };
    std::vector<AppcastItem> items;
    if (!xml.readNextStartElement() || xml.name() != QLatin1String("rss"))
        return xml.hasError()
                   ? invalid()
                   : Parsed::failure(Error::Kind::other, QStringLiteral("The update feed is not an RSS feed."));
    while (xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("channel")) {
            xml.skipCurrentElement();
            continue;
        }
        while (xml.readNextStartElement()) {
            if (xml.name() != QLatin1String("item")) {
                xml.skipCurrentElement();
                continue;
            }
            bool otherChannel = false;
            AppcastItem item = readItem(xml, otherChannel);
            if (!otherChannel && !item.version.build.isEmpty())
                items.push_back(std::move(item));
        }
    }
    if (xml.hasError())
        return invalid();
    if (items.empty())
        return Parsed::failure(Error::Kind::other, QStringLiteral("The update feed lists no version of Sonivel."));
    return items;
}

const AppcastItem* newest(const std::vector<AppcastItem>& items) {
    const auto best = std::max_element(items.begin(), items.end(), [](const AppcastItem& a, const AppcastItem& b) {
        return compare(a.version, b.version) < 0;
    });
    return best == items.end() ? nullptr : &*best;
}

} // namespace Appcast
