#pragma once
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <map>
#include <vector>

#include "platform/NotificationCenter.h"
#include "platform/NotificationMonitor.h"

namespace velko {

// Notifications as the signal Posted(s name, s object) on one path and interface of the
// session bus. Survives a missing or vanished bus: says so once, retries, carries on.
class DBusNotificationCenter : public QObject, public NotificationCenter, public NotificationMonitor {
    Q_OBJECT
public:
    static inline const char* const path = "/app/velko/Notifications";
    static inline const char* const interface = "app.velko.Notifications";
    static inline const char* const member = "Posted";

    explicit DBusNotificationCenter(QObject* parent = nullptr);
    ~DBusNotificationCenter() override;

    void observe(const std::string& name, NotificationCenter::Handler handler) override;
    void post(const std::string& name, const std::string& object) override;
    void observeAll(NotificationMonitor::Handler handler) override;
    bool isConnected() const;
    // Waits until the bus has handled everything sent before (observers included): after
    // true, a notification posted by anyone reaches every observer. False without a bus.
    bool sync();

private slots:
    void onPosted(const QDBusMessage& message);

private:
    bool connectToBus();
    void checkConnection();
    void subscribe();

    QDBusConnection connection_;
    QString connectionName_;
    int generation_ = 0;
    bool subscribed_ = false;
    bool reportedLoss_ = false;
    std::map<std::string, std::vector<NotificationCenter::Handler>> handlers_;
    std::vector<NotificationMonitor::Handler> monitors_;
};

}  // namespace velko
