#include "plasma/PlasmaKeyboardLayouts.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <chrono>
#include <utility>

namespace velko {
namespace {

const QString service = QStringLiteral("org.kde.keyboard");
const QString path = QStringLiteral("/Layouts");
const QString interface = QStringLiteral("org.kde.KeyboardLayouts");
constexpr std::chrono::milliseconds askTimeout{5000};

}  // namespace

PlasmaKeyboardLayouts::PlasmaKeyboardLayouts(QDBusConnection bus, Changed changed, std::function<void()> listChanged,
                                             QObject* parent)
    : QObject(parent), bus_(std::move(bus)), changed_(std::move(changed)), listChanged_(std::move(listChanged)) {}

void PlasmaKeyboardLayouts::start() {
    bus_.connect(service, path, interface, QStringLiteral("layoutChanged"), this, SLOT(onLayoutChanged(uint)));
    bus_.connect(service, path, interface, QStringLiteral("layoutListChanged"), this, SLOT(onLayoutListChanged()));
    const auto ask = QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("getLayout"));
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(ask, static_cast<int>(askTimeout.count())), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, announced = announced_] {
        watcher->deleteLater();
        // A switch announced meanwhile is newer than this answer.
        const QDBusPendingReply<uint> reply = *watcher;
        if (announced == announced_ && reply.isValid()) take(reply.value());
    });
}

void PlasmaKeyboardLayouts::moveTo(QDBusConnection bus) {
    bus_.disconnect(service, path, interface, QStringLiteral("layoutChanged"), this, SLOT(onLayoutChanged(uint)));
    bus_.disconnect(service, path, interface, QStringLiteral("layoutListChanged"), this, SLOT(onLayoutListChanged()));
    bus_ = std::move(bus);
    start();
}

void PlasmaKeyboardLayouts::onLayoutChanged(uint layout) {
    ++announced_;
    take(layout);
}

void PlasmaKeyboardLayouts::onLayoutListChanged() {
    if (listChanged_) listChanged_();
}

void PlasmaKeyboardLayouts::take(std::uint32_t layout) {
    if (layout_ == layout) return;
    layout_ = layout;
    changed_(layout);
}

}  // namespace velko
