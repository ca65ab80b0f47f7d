#include "qt/QtMainQueue.h"

#include <QCoreApplication>
#include <QTimer>
#include <cmath>

namespace velko {

namespace {
int milliseconds(double seconds) { return static_cast<int>(std::lround(std::max(0.0, seconds) * 1000.0)); }
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
