#pragma once

// One window per user session. A window listens on a local socket of the
// user's own (in the runtime folder); a later `sonivel FILE...` hands its
// request (its files, and what to do with them) to it and exits. A socket left by a run that was killed is noticed
// (nobody answers on it) and replaced.

#include "app/LaunchRequest.h"

#include <QLocalServer>
#include <QObject>
#include <QStringList>

namespace SingleInstance {

// The socket's path, in the user's runtime folder.
QString socketPath();

// Gives the request, with the absolute paths of its files, to a running
// window; true when one took it (it answers at once).
bool handOver(const LaunchRequest& request, int timeoutMs = 1000);

} // namespace SingleInstance

// The running window's side: emits what later starts hand over.
class InstanceServer : public QObject {
    Q_OBJECT

public:
    explicit InstanceServer(QObject* parent = nullptr);
    // Starts listening, replacing a stale socket; false when another live
    // window holds it.
    bool listen();

signals:
    void requestArrived(const LaunchRequest& request);

private:
    QLocalServer server_;
};
