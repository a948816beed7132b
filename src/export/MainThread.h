#pragma once

#include <QCoreApplication>
#include <QMetaObject>

// Runs `work` on the main thread's event loop, after what is already queued.
// Safe from any thread while the application object exists.
template <typename Work> void postToMainThread(Work&& work) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::forward<Work>(work), Qt::QueuedConnection);
}
