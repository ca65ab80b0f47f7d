#include "dbus/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

namespace velko {

bool SingleInstance::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()) return true;
    const auto reply =
        bus.interface()->registerService(QString::fromLatin1(busName), QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) return true;  // the bus refused to answer; running twice beats not at all
    return reply.value() == QDBusConnectionInterface::ServiceRegistered;
}

}  // namespace velko
