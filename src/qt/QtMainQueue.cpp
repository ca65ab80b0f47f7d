#include "qt/QtMainQueue.h"

#include <QCoreApplication>
#include <QTimer>
#include <algorithm>
#include <chrono>

namespace velko {

namespace {
// The core counts in seconds; Qt's timers in whole milliseconds.
std::chrono::milliseconds milliseconds(double seconds) {
    return std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(std::max(0.0, seconds)));
}
}  // namespace

void QtMainQueue::async(std::function<void()> fn) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(fn), Qt::QueuedConnection);
}

void QtMainQueue::asyncAfter(double seconds, std::function<void()> fn) {
    // Hop to the main thread first: a timer must be started by the thread that owns it.
    async([ms = milliseconds(seconds), fn = std::move(fn)]() mutable {
        QTimer::singleShot(ms, Qt::PreciseTimer, QCoreApplication::instance(), std::move(fn));
    });
}

void QtMainQueue::scheduleRepeating(double seconds, std::function<void()> fn) {
    async([ms = milliseconds(seconds), fn = std::move(fn)]() mutable {
        auto* timer = new QTimer(QCoreApplication::instance());
        timer->setInterval(ms);
        QObject::connect(timer, &QTimer::timeout, timer, std::move(fn));
        timer->start();
    });
}

}  // namespace velko
