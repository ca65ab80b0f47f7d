#pragma once
#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QString>

#include "BenchFigures.h"

namespace velko::bench {

// Every named notification posted on a bus, counted and timed in the slot that receives it, so
// the figures do not depend on how soon the waiting loop looks.
class NotificationListener : public QObject {
    Q_OBJECT
public:
    // False when the bus refuses the subscription.
    bool listen(QDBusConnection bus = QDBusConnection::sessionBus());

    int count(const QString& name) const { return counts_.value(name); }
    // When the last one of name arrived; the epoch before any did.
    Clock::time_point last(const QString& name) const { return last_.value(name); }
    bool seen(const QString& name, const QString& object) const { return objects_.contains(name + '\n' + object); }
    Clock::time_point when(const QString& name, const QString& object) const {
        return objects_.value(name + '\n' + object);
    }

private slots:
    void posted(const QString& name, const QString& object);

private:
    QHash<QString, int> counts_;
    QHash<QString, Clock::time_point> last_;
    QHash<QString, Clock::time_point> objects_;  // by name and object
};

// Runs the Qt loop until condition holds, false after timeoutMs. It sleeps until an event or a
// 20 ms tick wakes it: a busy loop would take a core from the helper being measured.
bool waitFor(const std::function<bool()>& condition, int timeoutMs);

}  // namespace velko::bench
