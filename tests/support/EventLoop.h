#pragma once

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace fixtures {

// Runs the main thread's event loop until `done()` holds or the timeout
// passes; returns `done()`.
template <typename Predicate> bool waitUntil(Predicate done, int timeoutMs = 60000) {
    QDeadlineTimer deadline(timeoutMs);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return done();
}

} // namespace fixtures
