#pragma once

// One window per user session. A window listens on a local socket of the
// user's own (in the runtime folder); a later `sonivel FILE...` hands its
// files to it and exits. A socket left by a run that was killed is noticed
// (nobody answers on it) and replaced.

#include <QLocalServer>
#include <QObject>
#include <QStringList>

namespace SingleInstance {

// The socket's path, in the user's runtime folder.
QString socketPath();

// Gives the absolute paths of `files` to a running window; true when one
// took them (it answers at once).
bool handOver(const QStringList& files, int timeoutMs = 1000);

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
    void filesArrived(const QStringList& files);

private:
    QLocalServer server_;
};
