#include "dbus/HelperStatusService.h"
#include "platform/Log.h"

#include <cstdio>

#include "dbus/SessionBusConnection.h"
#include "dbus/SingleInstance.h"

namespace velko {

HelperStatusService::HelperStatusService(const BackendChoices& backends, SessionBusConnection& bus,
                                         std::function<std::string()> screenshots, QObject* parent)
    : QObject(parent), backends_(backends), screenshots_(std::move(screenshots)) {
    // Object first, then the name: whoever finds the name finds the object behind it.
    bus.whenConnected([this, again = false](QDBusConnection& connection) mutable {
        connection.registerObject(QString::fromLatin1(path), this, QDBusConnection::ExportAllSlots);
        ownsName_ = SingleInstance::claimName(connection);
        // At start the caller decides what a taken name means; later the helper carries on.
        if (!ownsName_ && again)
            log::warning("another program owns %s on the new session bus", SingleInstance::busName);
        again = true;
    });
}

QStringList HelperStatusService::Backends() const {
    QStringList lines;
    for (const auto& choice : backends_) lines << QString::fromStdString(choice.line());
    if (screenshots_) lines << QString::fromStdString("Screenshots: " + screenshots_());
    return lines;
}

}  // namespace velko
