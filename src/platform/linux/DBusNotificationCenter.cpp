#include "platform/linux/DBusNotificationCenter.h"

#include <QDBusMessage>
#include <QTimer>
#include <cstdio>

namespace velko {

DBusNotificationCenter::DBusNotificationCenter(QObject* parent)
    : QObject(parent), connection_(QStringLiteral("velko-unconnected")) {
    connectToBus();
    auto* watchdog = new QTimer(this);
    watchdog->setInterval(2000);
    connect(watchdog, &QTimer::timeout, this, &DBusNotificationCenter::checkConnection);
    watchdog->start();
}

DBusNotificationCenter::~DBusNotificationCenter() {
    if (!connectionName_.isEmpty()) QDBusConnection::disconnectFromBus(connectionName_);
}

bool DBusNotificationCenter::isConnected() const { return connection_.isConnected(); }

bool DBusNotificationCenter::connectToBus() {
    if (!connectionName_.isEmpty()) QDBusConnection::disconnectFromBus(connectionName_);
    // A private connection of our own, so that a lost bus can be replaced by a fresh one.
    connectionName_ = QStringLiteral("velko-notifications-%1").arg(++generation_);
    connection_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName_);
    if (!connection_.isConnected()) {
        if (!reportedLoss_) {
            std::fprintf(stderr, "velko-helper: no session bus (%s); the link with Velko is down, retrying\n",
                         qPrintable(connection_.lastError().message()));
            reportedLoss_ = true;
        }
        subscribed_ = false;
        return false;
    }
    if (reportedLoss_) std::fputs("velko-helper: session bus reached; the link with Velko is up\n", stderr);
    reportedLoss_ = false;
    subscribed_ = false;
    if (!handlers_.empty()) {
        subscribed_ = connection_.connect(QString(), path, interface, member, this, SLOT(onPosted(QString, QString)));
    }
    return true;
}

void DBusNotificationCenter::checkConnection() {
    if (connection_.isConnected()) return;
    if (!reportedLoss_) {
        std::fputs("velko-helper: lost the session bus; the link with Velko is down, retrying\n", stderr);
        reportedLoss_ = true;
    }
    connectToBus();
}

void DBusNotificationCenter::observe(const std::string& name, Handler handler) {
    handlers_[name].push_back(std::move(handler));
    // One match for every name; dispatch happens here, by name.
    if (!subscribed_ && connection_.isConnected())
        subscribed_ = connection_.connect(QString(), path, interface, member, this, SLOT(onPosted(QString, QString)));
}

void DBusNotificationCenter::post(const std::string& name, const std::string& object) {
    if (!connection_.isConnected()) return;
    auto message = QDBusMessage::createSignal(path, interface, member);
    message << QString::fromStdString(name) << QString::fromStdString(object);
    connection_.send(message);
}

void DBusNotificationCenter::onPosted(const QString& name, const QString& object) {
    const auto it = handlers_.find(name.toStdString());
    if (it == handlers_.end()) return;
    const std::string objectText = object.toStdString();
    for (const auto& handler : it->second) handler(objectText);
}

}  // namespace velko
