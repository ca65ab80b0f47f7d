#include "dbus/HelperStatusService.h"

#include <QDBusConnection>

namespace velko {

HelperStatusService::HelperStatusService(const BackendChoices& backends, std::function<std::string()> screenshots,
                                         QObject* parent)
    : QObject(parent), backends_(backends), screenshots_(std::move(screenshots)) {
    QDBusConnection::sessionBus().registerObject(QString::fromLatin1(path), this, QDBusConnection::ExportAllSlots);
}

QStringList HelperStatusService::Backends() const {
    QStringList lines;
    for (const auto& choice : backends_) lines << QString::fromStdString(choice.line());
    if (screenshots_) lines << QString::fromStdString("Screenshots: " + screenshots_());
    return lines;
}

}  // namespace velko
