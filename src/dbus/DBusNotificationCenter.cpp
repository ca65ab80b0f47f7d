#include "dbus/DBusNotificationCenter.h"

#include <QDBusMessage>
#include <utility>

#include "platform/Log.h"

namespace velko {

DBusNotificationCenter::DBusNotificationCenter(QObject* parent)
    : QObject(parent), bus_(QStringLiteral("notifications")) {
    bus_.whenConnected([this](QDBusConnection&) {
        subscribed_ = false;
        subscribe();
    });
}

DBusNotificationCenter::~DBusNotificationCenter() = default;

bool DBusNotificationCenter::isConnected() const { return bus_.isConnected(); }

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
    if (subscribed_ || !bus_.isConnected() || (handlers_.empty() && monitors_.empty())) return;
    // Taken whatever its arguments: a slot of (QString, QString) would silently miss every
    // signal whose object is absent or of another type.
    subscribed_ = bus_.get().connect(QString(), path, interface, member, this, SLOT(onPosted(QDBusMessage)));
}

bool DBusNotificationCenter::sync() {
    if (!bus_.isConnected()) return false;
    // The bus handles one connection's messages in order, so this reply comes after the match.
    const auto reply = bus_.get().call(
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                                       QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId")));
    return reply.type() == QDBusMessage::ReplyMessage;
}

void DBusNotificationCenter::post(const std::string& name, const std::string& object) {
    if (!bus_.isConnected()) return;
    auto message = QDBusMessage::createSignal(path, interface, member);
    message << QString::fromStdString(name) << QString::fromStdString(object);
    bus_.get().send(message);
}

void DBusNotificationCenter::onPosted(const QDBusMessage& message) {
    // A notification needs a string name; an object that is missing or not a string reads as
    // empty, which no inbound notification minds since none reads its object.
    const QList<QVariant> arguments = message.arguments();
    const auto isString = [&](qsizetype i) {
        return arguments.size() > i && arguments[i].metaType() == QMetaType::fromType<QString>();
    };
    if (!isString(0)) return;
    const auto length = [&](qsizetype i) { return isString(i) ? arguments[i].toString().size() : 0; };
    if (length(0) > maxText || length(1) > maxText) {
        // Said once per sender, so that a flood of them does not flood the log as well.
        if (std::exchange(lastDroppedSender_, message.service()) != message.service())
            log::warning("dropped a notification from %s with %lld characters (at most %lld are taken)",
                         qPrintable(message.service()), static_cast<long long>(length(0) + length(1)),
                         static_cast<long long>(maxText));
        return;
    }
    const std::string nameText = arguments[0].toString().toStdString();
    const std::string objectText = isString(1) ? arguments[1].toString().toStdString() : std::string();
    for (const auto& monitor : monitors_) monitor(nameText, objectText);
    const auto it = handlers_.find(nameText);
    if (it == handlers_.end()) return;
    for (const auto& handler : it->second) handler(objectText);
}

}  // namespace velko
