#include "app/SingleInstance.h"

#include <QDataStream>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QStandardPaths>

namespace SingleInstance {

namespace {

// The reply a window gives once it has the files.
constexpr char received = 'k';

} // namespace

QString socketPath() {
    // Qt makes the runtime folder (XDG_RUNTIME_DIR, else one in /tmp) the
    // user's own, mode 0700.
    return QDir(QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation))
        .filePath(QStringLiteral("sonivel.socket"));
}

bool handOver(const LaunchRequest& request, int timeoutMs) {
    QLocalSocket socket;
    socket.connectToServer(socketPath());
    if (!socket.waitForConnected(timeoutMs))
        return false;
    QStringList absolute;
    for (const QString& file : request.files)
        absolute << QFileInfo(file).absoluteFilePath();
    QByteArray message;
    QDataStream out(&message, QIODevice::WriteOnly);
    out << LaunchRequest::keyword(request.then) << absolute;
    socket.write(message);
    if (!socket.waitForBytesWritten(timeoutMs))
        return false;
    while (socket.bytesAvailable() < 1) {
        if (!socket.waitForReadyRead(timeoutMs))
            return false;
    }
    return socket.read(1) == QByteArray(1, received);
}

} // namespace SingleInstance

InstanceServer::InstanceServer(QObject* parent) : QObject(parent) {
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* socket = server_.nextPendingConnection()) {
            connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
                QDataStream in(socket);
                in.startTransaction();
                QString then;
                LaunchRequest request;
                in >> then >> request.files;
                if (!in.commitTransaction())
                    return; // not all of it yet
                request.then = LaunchRequest::fromKeyword(then);
                socket->write(QByteArray(1, SingleInstance::received));
                socket->flush();
                emit requestArrived(request);
            });
        }
    });
}

bool InstanceServer::listen() {
    const QString path = SingleInstance::socketPath();
    if (server_.listen(path))
        return true;
    // Taken: by a live window, or left behind by one that was killed.
    QLocalSocket probe;
    probe.connectToServer(path);
    if (probe.waitForConnected(500))
        return false;
    QLocalServer::removeServer(path);
    return server_.listen(path);
}
