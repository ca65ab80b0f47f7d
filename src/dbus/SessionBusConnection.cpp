#include "dbus/SessionBusConnection.h"

#include <dbus/dbus.h>

#include <QDBusError>
#include <chrono>

#include "platform/Log.h"

namespace velko {

namespace {
// A bus that restarts is usually back within a second: look for it often while it is gone.
constexpr std::chrono::milliseconds retryInterval{500};
constexpr std::chrono::milliseconds checkInterval{2000};

// Runs on Qt's bus thread after Qt has seen the message; only hands the news to the main loop, so
// that a lost bus is replaced at once instead of at the next watchdog tick.
DBusHandlerResult onLocalMessage(DBusConnection*, DBusMessage* message, void* owner) {
    if (dbus_message_is_signal(message, DBUS_INTERFACE_LOCAL, "Disconnected"))
        QMetaObject::invokeMethod(static_cast<QObject*>(owner), "checkConnection", Qt::QueuedConnection);
    return DBUS_HANDLER_RESULT_NOT_YET_HANDLED;
}
}  // namespace

SessionBusConnection::SessionBusConnection(const QString& purpose, QObject* parent, bool carriesLink)
    : QObject(parent), purpose_(purpose), connection_(QStringLiteral("velko-unconnected")), carriesLink_(carriesLink) {
    if (!connectToBus()) {
        if (carriesLink_)
            log::warning("no session bus (%s); the link with Velko is down, retrying",
                         qPrintable(connection_.lastError().message()));
        reportedLoss_ = true;
    }
    // For a loss that sends no Disconnected (a connection that never came up), and the retries.
    watchdog_.setInterval(reportedLoss_ ? retryInterval : checkInterval);
    connect(&watchdog_, &QTimer::timeout, this, &SessionBusConnection::checkConnection);
    watchdog_.start();
}

SessionBusConnection::~SessionBusConnection() { disconnectFromBus(); }

void SessionBusConnection::disconnectFromBus() {
    if (connectionName_.isEmpty()) return;
    if (auto* raw = static_cast<DBusConnection*>(connection_.internalPointer()))
        dbus_connection_remove_filter(raw, onLocalMessage, this);
    QDBusConnection::disconnectFromBus(connectionName_);
}

void SessionBusConnection::whenConnected(std::function<void(QDBusConnection&)> setUp) {
    setUps_.push_back(std::move(setUp));
    if (connection_.isConnected()) setUps_.back()(connection_);
}

bool SessionBusConnection::connectToBus() {
    disconnectFromBus();
    connectionName_ = QStringLiteral("velko-%1-%2").arg(purpose_).arg(++generation_);
    connection_ = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName_);
    if (!connection_.isConnected()) return false;
    keepReading();
    for (auto& setUp : setUps_) setUp(connection_);
    return true;
}

void SessionBusConnection::keepReading() {
    auto* raw = static_cast<DBusConnection*>(connection_.internalPointer());
    if (!raw) return;
    // libdbus stops reading once 63 MiB of received messages wait to be handled (one large
    // signal is enough) and resumes from the thread that frees them, the main thread, where Qt
    // cannot re-enable its socket notifier: the connection would never read again.
    dbus_connection_set_max_received_size(raw, 0x7fffffffL);
    dbus_connection_add_filter(raw, onLocalMessage, this, nullptr);
}

void SessionBusConnection::checkConnection() {
    if (connection_.isConnected()) return;
    const bool wasUp = !reportedLoss_;
    if (connectToBus()) {
        // A bus that is still there dropped only us (it does so to a client that reads too slowly).
        if (carriesLink_ && wasUp)
            log::warning("the session bus closed our connection; connected again");
        else if (carriesLink_)
            log::info("session bus reached; the link with Velko is up");
        reportedLoss_ = false;
        watchdog_.setInterval(checkInterval);
        return;
    }
    if (wasUp && carriesLink_) log::warning("lost the session bus; the link with Velko is down, retrying");
    reportedLoss_ = true;
    watchdog_.setInterval(retryInterval);
}

}  // namespace velko
