#include "app/update/UpdaterManager.h"
#include "support/EventLoop.h"

#include <QSettings>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// An HTTP server on 127.0.0.1 that answers each request with what
// `respond(path)` gives, or not at all when it gives nothing.
class FeedServer {
public:
    std::function<QByteArray(const QByteArray& path)> respond;
    int requests = 0;

    FeedServer() {
        server_.listen(QHostAddress::LocalHost);
        QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] {
            QTcpSocket* socket = server_.nextPendingConnection();
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] {
                request_[socket] += socket->readAll();
                if (!request_[socket].contains("\r\n\r\n"))
                    return;
                ++requests;
                const QByteArray answer = respond(request_[socket].split(' ').value(1));
                if (!answer.isEmpty()) {
                    socket->write(answer);
                    socket->disconnectFromHost();
                }
            });
        });
    }
    QString url(const QString& path = "/appcast.xml") const {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(server_.serverPort()).arg(path);
    }

private:
    QTcpServer server_;
    std::map<QTcpSocket*, QByteArray> request_;
};

QByteArray http(const QByteArray& status, const QByteArray& body, const QByteArray& headers = {}) {
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: application/rss+xml\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\nConnection: close\r\n" + headers + "\r\n" + body;
}

QByteArray item(const char* build, const char* shortVersion, const char* extra = "") {
    return QByteArray("<item><title>Sonivel ") + shortVersion +
           "</title><pubDate>Mon, 23 Nov 2026 10:00:00 +0000</pubDate>"
           "<sparkle:version>" +
           build + "</sparkle:version><sparkle:shortVersionString>" + shortVersion +
           "</sparkle:shortVersionString><description><![CDATA[<b>Faster</b> analysis<img src=\"https://x/i.png\">]]>"
           "</description><link>https://sonivel.example/download/" +
           shortVersion + "</link>" + extra + "</item>";
}

QByteArray feed(const QByteArray& items) {
    return "<?xml version=\"1.0\"?><rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/"
           "xml-namespaces/sparkle\"><channel><title>Sonivel</title>" +
           items + "</channel></rss>";
}

struct Checker {
    QTemporaryDir config;
    FeedServer server;
    UpdaterManager updater{AppVersion{"0.1.0", "5"}, UpdateFeed::Limits{1024 * 1024, 300, 5}};
    std::vector<std::pair<UpdateCheck, bool>> reports;

    Checker() {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, config.path());
        QCoreApplication::setOrganizationName("SonivelUpdaterTest");
        qputenv("SONIVEL_UPDATE_FEED", server.url().toUtf8());
        QObject::connect(&updater, &UpdaterManager::checkFinished, &updater,
                         [this](const UpdateCheck& r, bool user) { reports.emplace_back(r, user); });
    }
    ~Checker() { qunsetenv("SONIVEL_UPDATE_FEED"); }

    // One user-initiated check against a server that answers `answer`.
    UpdateCheck check(const QByteArray& answer) {
        server.respond = [answer](const QByteArray&) { return answer; };
        reports.clear();
        EXPECT_TRUE(updater.canCheckForUpdates());
        updater.checkForUpdates();
        EXPECT_FALSE(updater.canCheckForUpdates()) << "disabled while a check runs";
        EXPECT_TRUE(fixtures::waitUntil([this] { return !reports.empty(); }, 10000));
        EXPECT_TRUE(updater.canCheckForUpdates());
        return reports.empty() ? UpdateCheck::failure(Error::Kind::other, "no report") : reports.front().first;
    }
};

// The newer version a successful check offers; none when up to date.
std::optional<AppcastItem> offered(const UpdateCheck& r) {
    EXPECT_TRUE(r.ok()) << r.error().message.toStdString();
    return r.ok() ? r.value().newer : std::nullopt;
}

} // namespace

TEST(UpdaterTest, VersionsAndTheirDisplay) {
    EXPECT_EQ(Appcast::displayVersion({"1.4", ""}), "1.4 (?)");
    EXPECT_GT(Appcast::compare({"1.0", "10"}, {"2.0", "9"}), 0) << "the build decides, as a number";
    EXPECT_GT(Appcast::compare({"1.10", "9"}, {"1.9", "9"}), 0) << "then the short version, part by part";
    EXPECT_EQ(Appcast::compare({"1.2", "9"}, {"1.2.0", "9"}), 0);
    EXPECT_LT(Appcast::compare({"1.2", "9.1"}, {"1.2", "9.2"}), 0);
}

TEST(UpdaterTest, WhatAUserCheckReports) {
    Checker c;
    UpdateCheck r = c.check(http("200 OK", feed(item("5", "0.1.0"))));
    EXPECT_FALSE(offered(r));
    EXPECT_EQ(Appcast::displayVersion(r.value().installed), "0.1.0 (5)");
    EXPECT_TRUE(c.reports.front().second) << "user-initiated";

    auto offer = offered(c.check(http("200 OK", feed(item("6", "0.2.0") + item("7", "0.3.0") +
                                                     item("9", "0.9.0", "<sparkle:channel>beta</sparkle:channel>")))));
    ASSERT_TRUE(offer);
    EXPECT_EQ(Appcast::displayVersion(offer->version), "0.3.0 (7)") << "the newest of the default channel";
    EXPECT_EQ(offer->downloadPage, QUrl("https://sonivel.example/download/0.3.0"));
    EXPECT_TRUE(offer->releaseNotes.startsWith("<b>Faster</b>"));

    EXPECT_FALSE(offered(c.check(http("200 OK", feed(item("3", "0.0.9")))))) << "an older version";
    EXPECT_TRUE(offered(c.check(http("200 OK", feed(item("6", "0.1.0")))))) << "same version, later build";
    // The version and its build may also sit on the enclosure.
    offer = offered(c.check(http("200 OK", feed("<item><enclosure url=\"https://sonivel.example/s.deb\" "
                                                "sparkle:version=\"8\" sparkle:shortVersionString=\"0.4\"/></item>"))));
    ASSERT_TRUE(offer);
    EXPECT_EQ(Appcast::displayVersion(offer->version), "0.4 (8)");
    EXPECT_EQ(offer->downloadPage, QUrl("https://sonivel.example/s.deb"));
}

TEST(UpdaterTest, EveryFailureHasItsOwnMessage) {
    Checker c;
    const auto error = [&c](const QByteArray& answer) {
        const UpdateCheck r = c.check(answer);
        EXPECT_FALSE(r.ok());
        return r.error().message;
    };
    EXPECT_TRUE(error(http("200 OK", "<rss><channel><item>")).startsWith("The update feed is not valid XML"));
    EXPECT_EQ(error(http("200 OK", "<html></html>")), "The update feed is not an RSS feed.");
    EXPECT_EQ(error(http("200 OK", feed(""))), "The update feed lists no version of Sonivel.");
    EXPECT_EQ(error(http("200 OK", feed(QByteArray(1100 * 1024, ' ')))), "The update feed is larger than 1 MB.");
    EXPECT_EQ(error(http("404 Not Found", "gone")), "The update server answered 404 Not Found.");
    EXPECT_EQ(error(http("302 Found", "", "Location: " + c.server.url().toUtf8() + "\r\n")),
              "The update server redirects in a loop.");
    EXPECT_EQ(error(QByteArray()), "The update server did not answer within 0.3 seconds.");
    // A feed too large to say so up front is cut off as it arrives.
    EXPECT_EQ(error("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + QByteArray(1100 * 1024, ' ')),
              "The update feed is larger than 1 MB.");

    const int requests = c.server.requests;
    qputenv("SONIVEL_UPDATE_FEED", "http://example.com/appcast.xml");
    EXPECT_TRUE(error({}).startsWith("The update feed's address is not a secure (https) address"));
    EXPECT_EQ(c.server.requests, requests) << "nothing was fetched over plain http";
}

TEST(UpdaterTest, AutomaticChecksAskedOnceOnTheSecondLaunchAndDaily) {
    Checker c;
    int asked = 0;
    const auto agree = [&asked] { return ++asked, true; };
    const QDateTime now = QDateTime::currentDateTimeUtc();
    c.server.respond = [](const QByteArray&) { return http("200 OK", feed(item("5", "0.1.0"))); };
    c.updater.startUp(agree, now);
    EXPECT_EQ(asked, 0) << "not on the first launch";
    c.updater.startUp(agree, now);
    EXPECT_EQ(asked, 1);
    ASSERT_TRUE(fixtures::waitUntil([&c] { return c.server.requests == 1 && c.updater.canCheckForUpdates(); }, 10000));
    EXPECT_TRUE(c.reports.empty()) << "an automatic check tells only of a newer version";
    c.updater.startUp(agree, now.addSecs(3600));
    EXPECT_EQ(asked, 1) << "asked once";
    EXPECT_TRUE(c.updater.canCheckForUpdates()) << "checked less than a day ago";
    c.server.respond = [](const QByteArray&) { return http("200 OK", feed(item("6", "0.2.0"))); };
    c.updater.startUp(agree, now.addSecs(25 * 3600));
    ASSERT_TRUE(fixtures::waitUntil([&c] { return !c.reports.empty(); }, 10000));
    EXPECT_FALSE(c.reports.front().second);
    EXPECT_TRUE(offered(c.reports.front().first));
}
