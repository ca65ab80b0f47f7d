#pragma once
#include <QDBusConnection>
#include <QObject>
#include <QTimer>
#include <functional>
#include <vector>

namespace velko {

// A private connection to the session bus that is made anew whenever it is lost (the bus
// restarted, or it closed this connection). Whatever lives on it (a match, a name, an object, a
// registration) is set up again by the callbacks given to whenConnected. Says once that the bus
// is gone and once that it is back.
class SessionBusConnection : public QObject {
    Q_OBJECT
public:
    // purpose names the connection, so that each user of the bus gets one of its own. Only the
    // connection that carries the link with Velko says when the bus goes and comes back.
    explicit SessionBusConnection(const QString& purpose, QObject* parent = nullptr, bool carriesLink = true);
    ~SessionBusConnection() override;

    QDBusConnection& get() { return connection_; }
    bool isConnected() const { return connection_.isConnected(); }
    // Runs setUp on the connection now if there is one, then on every new one.
    void whenConnected(std::function<void(QDBusConnection&)> setUp);

private slots:
    void checkConnection();

private:
    bool connectToBus();
    void keepReading();
    void disconnectFromBus();

    QString purpose_;
    QDBusConnection connection_;
    QString connectionName_;
    int generation_ = 0;
    bool reportedLoss_ = false;
    bool carriesLink_ = true;
    QTimer watchdog_;
    std::vector<std::function<void(QDBusConnection&)>> setUps_;
};

}  // namespace velko
