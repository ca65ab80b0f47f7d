#include "dbus/SingleInstance.h"
#include "platform/Log.h"

#include <QDBusConnectionInterface>
#include <cerrno>
#include <cstdio>

namespace velko {

bool SingleInstance::lock(std::optional<InstanceLock>& held) {
    const std::string path = InstanceLock::defaultPath();
    auto taken = InstanceLock::acquire(path);
    if (taken) {
        held.emplace(std::move(*taken));
        return true;
    }
    if (taken.cause() != EWOULDBLOCK) {
        log::warning("cannot lock %s (%s); only the bus name keeps a second helper out", path.c_str(),
                     taken.error().c_str());
        return true;
    }
    const pid_t holder = InstanceLock::holder(path);
    log::info("already running in this session (%s%s holds %s); this one leaves",
              holder > 0 ? "process " : "another helper", holder > 0 ? std::to_string(holder).c_str() : "",
              path.c_str());
    return false;
}

bool SingleInstance::claimName(QDBusConnection& connection) {
    if (!connection.interface()) return true;
    const auto reply = connection.interface()->registerService(QString::fromLatin1(busName),
                                                               QDBusConnectionInterface::DontQueueService,
                                                               QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) return true;  // the bus refused to answer; running twice beats not at all
    return reply.value() == QDBusConnectionInterface::ServiceRegistered;
}

}  // namespace velko
