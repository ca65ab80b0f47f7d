#pragma once
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <map>
#include <vector>

#include "dbus/SessionBusConnection.h"
#include "platform/NotificationCenter.h"
#include "platform/NotificationMonitor.h"

namespace velko {

// Notifications as the signal Posted(s name, s object) on one path and interface of the
// session bus. Survives a missing or vanished bus: says so once, retries, carries on. A signal
// with more text than any notification carries is dropped, and the connection kept.
class DBusNotificationCenter : public QObject, public NotificationCenter, public NotificationMonitor {
    Q_OBJECT
public:
    static inline const char* const path = "/app/velko/Notifications";
    static inline const char* const interface = "app.velko.Notifications";
    static inline const char* const member = "Posted";
    // Characters of a name or object: a pong is a few hundred, a file name at most 4096.
    static constexpr qsizetype maxText = 32 * 1024;

    explicit DBusNotificationCenter(QObject* parent = nullptr);
    ~DBusNotificationCenter() override;

    void observe(const std::string& name, NotificationCenter::Handler handler) override;
    void post(const std::string& name, const std::string& object) override;
    void observeAll(NotificationMonitor::Handler handler) override;
    bool isConnected() const;
    // Waits until the bus has handled everything sent before (observers included): after
    // true, a notification posted by anyone reaches every observer. False without a bus.
    bool sync();
    // The connection the link lives on, for others that want to be on the bus and back on a new one.
    SessionBusConnection& bus() { return bus_; }

private slots:
    void onPosted(const QDBusMessage& message);

private:
    void subscribe();

    SessionBusConnection bus_;
    bool subscribed_ = false;
    QString lastDroppedSender_;
    std::map<std::string, std::vector<NotificationCenter::Handler>> handlers_;
    std::vector<NotificationMonitor::Handler> monitors_;
};

}  // namespace velko
