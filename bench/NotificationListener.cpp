#include "NotificationListener.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

namespace velko::bench {

bool NotificationListener::listen(QDBusConnection bus) {
    return bus.connect(QString(), QStringLiteral("/app/velko/Notifications"), QStringLiteral("app.velko.Notifications"),
                       QStringLiteral("Posted"), this, SLOT(posted(QString, QString)));
}

void NotificationListener::posted(const QString& name, const QString& object) {
    const auto now = Clock::now();
    ++counts_[name];
    last_.insert(name, now);
    objects_.insert(name + '\n' + object, now);
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs) {
    QTimer tick;
    tick.start(20);
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

}  // namespace velko::bench
