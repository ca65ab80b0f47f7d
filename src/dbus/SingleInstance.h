#pragma once
#include <QDBusConnection>
#include <optional>

#include "posix/InstanceLock.h"

namespace velko {

// One helper per desktop session: the autostart entry, the systemd user unit and the menu
// launcher may all start it, and two helpers would paste twice. The lock decides, since it
// outlives any bus; the bus name tells clients (velkoctl) where the helper is.
class SingleInstance {
public:
    static inline const char* const busName = "app.velko.HelperInstance";
    // Takes the lock into held, to keep for the life of the process; false, after saying in the
    // log which helper holds it, when another one does. True with held empty, after saying why,
    // where no lock file can be made: the bus name is then the only guard.
    static bool lock(std::optional<InstanceLock>& held);
    // Claims the name on connection; false when another process holds it there.
    static bool claimName(QDBusConnection& connection);
};

}  // namespace velko
