#include "dbus/DBusNotificationCenter.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QTimer>
#include <cstdio>

namespace velko {

namespace {
// Messages carry the name of the program that reports them: the helper or a client tool.
QByteArray programName() {
    const QString name = QCoreApplication::applicationName();
    return name.isEmpty() ? QByteArrayLiteral("velko-helper") : name.toLocal8Bit();
}
}  // namespace

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
            std::fprintf(stderr, "%s: no session bus (%s); the link with Velko is down, retrying\n",
                         programName().constData(), qPrintable(connection_.lastError().message()));
            reportedLoss_ = true;
        }
        subscribed_ = false;
        return false;
    }
    if (reportedLoss_)
        std::fprintf(stderr, "%s: session bus reached; the link with Velko is up\n", programName().constData());
    reportedLoss_ = false;
    subscribed_ = false;
    subscribe();
    return true;
}

void DBusNotificationCenter::checkConnection() {
    if (connection_.isConnected()) return;
    if (!reportedLoss_) {
        std::fprintf(stderr, "%s: lost the session bus; the link with Velko is down, retrying\n",
                     programName().constData());
        reportedLoss_ = true;
    }
    connectToBus();
}

void DBusNotificationCenter::observe(const std::string& name, NotificationCenter::Handler handler) {
    handlers_[name].push_back(std::move(handler));
    subscribe();
}

void DBusNotificationCenter::observeAll(NotificationMonitor::Handler handler) {
    monitors_.push_back(std::move(handler));
    subscribe();
}

void DBusNotificationCenter::subscribe() {
    // One match for every name; dispatch happens here, by name.
    if (subscribed_ || !connection_.isConnected() || (handlers_.empty() && monitors_.empty())) return;
    // Taken whatever its arguments: a slot of (QString, QString) would silently miss every
    // signal whose object is absent or of another type.
    subscribed_ = connection_.connect(QString(), path, interface, member, this, SLOT(onPosted(QDBusMessage)));
}

bool DBusNotificationCenter::sync() {
    if (!connection_.isConnected()) return false;
    // The bus handles one connection's messages in order, so this reply comes after the match.
    const auto reply = connection_.call(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
    return reply.type() == QDBusMessage::ReplyMessage;
}

void DBusNotificationCenter::post(const std::string& name, const std::string& object) {
    if (!connection_.isConnected()) return;
    auto message = QDBusMessage::createSignal(path, interface, member);
    message << QString::fromStdString(name) << QString::fromStdString(object);
    connection_.send(message);
}

void DBusNotificationCenter::onPosted(const QDBusMessage& message) {
    // A notification needs a string name; an object that is missing or not a string reads as
    // empty, which no inbound notification minds since none reads its object.
    const QList<QVariant> arguments = message.arguments();
    const auto isString = [&](qsizetype i) {
        return arguments.size() > i && arguments[i].metaType() == QMetaType::fromType<QString>();
    };
    if (!isString(0)) return;
    const std::string nameText = arguments[0].toString().toStdString();
    const std::string objectText = isString(1) ? arguments[1].toString().toStdString() : std::string();
    for (const auto& monitor : monitors_) monitor(nameText, objectText);
    const auto it = handlers_.find(nameText);
    if (it == handlers_.end()) return;
    for (const auto& handler : it->second) handler(objectText);
}

}  // namespace velko
