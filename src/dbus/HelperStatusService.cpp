#include "dbus/HelperStatusService.h"

#include <QDBusConnection>

namespace velko {

HelperStatusService::HelperStatusService(const BackendChoices& backends, QObject* parent)
    : QObject(parent), backends_(backends) {
    QDBusConnection::sessionBus().registerObject(QString::fromLatin1(path), this, QDBusConnection::ExportAllSlots);
}

QStringList HelperStatusService::Backends() const {
    QStringList lines;
    for (const auto& choice : backends_) lines << QString::fromStdString(choice.line());
    return lines;
}

}  // namespace velko
