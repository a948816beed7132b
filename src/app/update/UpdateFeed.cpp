#include "app/update/UpdateFeed.h"

#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <memory>

namespace UpdateFeed {

namespace {

void fail(const std::function<void(Fetched)>& done, const QString& why) {
    done(Fetched::failure(Error::Kind::other, why));
}

} // namespace

bool isAllowed(const QUrl& url) {
    if (!url.isValid() || url.host().isEmpty())
        return false;
    if (url.scheme() == QLatin1String("https"))
        return true;
    const QHostAddress host(url.host());
    return url.scheme() == QLatin1String("http") &&
           (host.isLoopback() || url.host().compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0);
}

void fetch(QNetworkAccessManager& network, const QUrl& url, const Limits& limits, std::function<void(Fetched)> done) {
    auto finish = std::make_shared<std::function<void(Fetched)>>(std::move(done));
    if (!isAllowed(url)) {
        QMetaObject::invokeMethod(
            &network,
            [finish, url] {
                fail(*finish, QStringLiteral("The update feed's address is not a secure (https) address: %1")
                                  .arg(url.toDisplayString()));
            },
            Qt::QueuedConnection);
        return;
    }
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    request.setMaximumRedirectsAllowed(limits.maxRedirects);
    request.setTransferTimeout(limits.timeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Sonivel update check"));
    QNetworkReply* reply = network.get(request);
    auto body = std::make_shared<QByteArray>();
    auto tooLarge = std::make_shared<bool>(false);
    const auto overLimit = [reply, limits, tooLarge] {
        *tooLarge = true;
        reply->abort();
    };
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [reply, limits, overLimit] {
        if (reply->header(QNetworkRequest::ContentLengthHeader).toLongLong() > limits.maxBytes)
            overLimit();
    });
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [reply, body, limits, overLimit] {
        body->append(reply->readAll());
        if (body->size() > limits.maxBytes)
            overLimit();
    });
    QObject::connect(reply, &QNetworkReply::finished, reply, [reply, body, limits, tooLarge, finish] {
        reply->deleteLater();
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (*tooLarge)
            return fail(*finish,
                        QStringLiteral("The update feed is larger than %1 MB.").arg(limits.maxBytes / (1024 * 1024)));
        switch (reply->error()) {
        case QNetworkReply::NoError: body->append(reply->readAll()); return (*finish)(*body);
        case QNetworkReply::OperationCanceledError:
        case QNetworkReply::TimeoutError:
            return fail(
                *finish,
                QStringLiteral("The update server did not answer within %1 seconds.").arg(limits.timeoutMs / 1000.0));
        case QNetworkReply::TooManyRedirectsError:
            return fail(*finish, QStringLiteral("The update server redirects in a loop."));
        case QNetworkReply::InsecureRedirectError:
            return fail(*finish, QStringLiteral("The update server redirects to an address that is not secure."));
        default:
            if (status >= 400)
                return fail(*finish, QStringLiteral("The update server answered %1 %2.")
                                         .arg(status)
                                         .arg(reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString()));
            return fail(*finish, QStringLiteral("Could not reach the update server: %1").arg(reply->errorString()));
        }
    });
}

} // namespace UpdateFeed
