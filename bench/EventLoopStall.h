#pragma once

// Runs the event loop until `done` and returns the longest gap, in
// milliseconds, between ticks of a 2 ms timer: how long the window could not
// answer the user.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <algorithm>

template <typename Done> double longestStall(Done done, int timeoutMs = 300000) {
    QElapsedTimer clock;
    clock.start();
    qint64 last = clock.nsecsElapsed(), worst = 0;
    QTimer tick;
    tick.setInterval(2);
    QObject::connect(&tick, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        worst = std::max(worst, now - last);
        last = now;
    });
    tick.start();
    while (!done() && clock.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return static_cast<double>(worst) / 1e6;
}
