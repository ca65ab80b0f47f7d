#include "qt/QtStatusBar.h"
#include "platform/Log.h"

#include "x11/Xcb.h"

#include <xcb/xcb.h>

#include <QAction>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QMenu>
#include <QPalette>
#include <QSystemTrayIcon>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "dbus/SessionBusConnection.h"
#include "qt/BundledImages.h"
#include "qt/TrayIconEngine.h"

namespace velko {
namespace {

constexpr const char* themeIconName = "velko-helper-symbolic";

// The bundled symbol, drawn sharp at whatever size a tray asks for.
QIcon bundledIcon(const std::string& symbolName) {
    if (!BundledImages::has(symbolName)) return {};
    // Drawn in the text colour of the desktop's palette, so it reads on light and dark panels.
    const QColor ink = QGuiApplication::palette().color(QPalette::Active, QPalette::WindowText);
    return QIcon(new TrayIconEngine(symbolName, QString::fromLatin1(themeIconName), ink));
}

// Asks whether a StatusNotifierItem host is registered on the session bus; the answer comes later.
std::optional<QDBusPendingCall> askForAStatusNotifierHost(QDBusConnection& bus) {
    if (!bus.isConnected()) return std::nullopt;
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.kde.StatusNotifierWatcher"), QStringLiteral("/StatusNotifierWatcher"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << QStringLiteral("org.kde.StatusNotifierWatcher") << QStringLiteral("IsStatusNotifierHostRegistered");
    return bus.asyncCall(message, 1000);
}

bool isHostRegistered(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) return false;
    return reply.arguments().first().value<QDBusVariant>().variant().toBool();
}

// An XEmbed tray owns its selection on the display.
bool xembedTrayPresent() {
    xcb_connection_t* c = xcb::qtConnection();
    if (!c) return false;
    int screen = 0;
    char* host = nullptr;
    int display = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen) == 0) screen = 0;
    const xcb::Reply<char> hostName{host};  // malloc'ed like a reply, and not needed
    const std::string selection = "_NET_SYSTEM_TRAY_S" + std::to_string(screen);
    const xcb_atom_t name = xcb::internAtom(c, selection, true);
    if (name == XCB_ATOM_NONE) return false;  // nobody ever made a tray on this display
    xcb::Reply<xcb_get_selection_owner_reply_t> owner{
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, name), nullptr)};
    return owner && owner->owner != XCB_WINDOW_NONE;
}

}  // namespace

QtStatusBar::QtStatusBar(SessionBusConnection& bus) : bus_(bus) {
    retry_.setInterval(std::chrono::seconds(2));
    QObject::connect(&retry_, &QTimer::timeout, [this] { lookForATray(); });
    // Qt's item lives on a connection of its own that died with the old bus and is never made
    // again; a new item makes a new one and registers with the new bus's host, once there is one.
    bus_.whenConnected([this](QDBusConnection&) {
        if (!tray_ || !statusNotifierItem_) return;
        tray_.reset();
        retry_.start();
        lookForATray();
    });
}

QtStatusBar::~QtStatusBar() {
    if (menu_) delete menu_.data();
}

bool QtStatusBar::createItem(const std::string& symbolName, const std::string& accessibilityDescription, int) {
    // Without a display there is nowhere to show it; the menu model is still kept.
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) return false;
    symbolName_ = symbolName;
    // No tooltip: hosts read the item's title from the application.
    QGuiApplication::setApplicationDisplayName(QString::fromStdString(accessibilityDescription));
    retry_.start();
    lookForATray();
    return BundledImages::has(symbolName);
}

void QtStatusBar::lookForATray() {
    if (tray_ || asking_) return;
    // Asked without waiting: a watcher that is slow to answer must not hold up the main loop,
    // which answers the link.
    const auto call = askForAStatusNotifierHost(bus_.get());
    if (!call) {
        showIfATrayIsThere(false);
        return;
    }
    asking_ = true;
    auto* watcher = new QDBusPendingCallWatcher(*call, &retry_);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, &retry_, [this, watcher] {
        watcher->deleteLater();
        asking_ = false;
        showIfATrayIsThere(isHostRegistered(watcher->reply()));
    });
}

void QtStatusBar::showIfATrayIsThere(bool statusNotifierHost) {
    if (tray_) return;
    if (!statusNotifierHost && !xembedTrayPresent()) {
        if (!std::exchange(reportedWaiting_, true))
            log::info("no system tray yet; the tray item appears when one starts");
        return;
    }
    retry_.stop();
    tray_ = std::make_unique<QSystemTrayIcon>();
    const QIcon icon = bundledIcon(symbolName_);
    if (!icon.isNull()) tray_->setIcon(icon);
    // A left click opens the menu too, as a status menu does.
    QObject::connect(tray_.get(), &QSystemTrayIcon::activated, tray_.get(), [this](auto reason) {
        if (reason == QSystemTrayIcon::Trigger && menu_) menu_->popup(QCursor::pos());
    });
    if (menu_) tray_->setContextMenu(menu_);
    tray_->show();
    statusNotifierItem_ = statusNotifierHost;
    log::info("tray item shown through %s", statusNotifierHost ? "StatusNotifierItem" : "XEmbed");
}

void QtStatusBar::setMenu(const MenuModel& model, MenuTarget& target) {
    // An equal menu stays: a StatusNotifierItem host re-reads a replaced menu and may close it
    // while the user has it open, which no local check can see.
    if (menu_ && installedTarget_ == &target && installed_ == model) {
        pendingTarget_ = nullptr;
        return;
    }
    // Never pull a menu from under the user's pointer: replace it once it closes.
    if (menu_ && menu_->isVisible()) {
        pending_ = model;
        pendingTarget_ = &target;
        return;
    }
    auto* menu = new QMenu();
    for (const auto& entry : model) {
        if (entry.separator) {
            menu->addSeparator();
            continue;
        }
        auto* action = menu->addAction(QString::fromStdString(entry.title));
        action->setEnabled(entry.enabled);
        if (!entry.keyEquivalent.empty())
            action->setShortcut(QKeySequence(QStringLiteral("Ctrl+") + QString::fromStdString(entry.keyEquivalent)));
        if (entry.action != MenuAction::none && entry.targetsDelegate) {
            const MenuAction chosen = entry.action;
            QObject::connect(action, &QAction::triggered, action, [&target, chosen] { target.perform(chosen); });
        }
    }
    QObject::connect(menu, &QMenu::aboutToHide, menu, [this] {
        if (!pendingTarget_) return;
        QMetaObject::invokeMethod(
            menu_,
            [this] {
                if (!pendingTarget_) return;
                auto* target = std::exchange(pendingTarget_, nullptr);
                setMenu(pending_, *target);
            },
            Qt::QueuedConnection);
    });
    if (tray_) tray_->setContextMenu(menu);
    if (menu_) menu_->deleteLater();  // it may be on screen right now
    menu_ = menu;
    installed_ = model;
    installedTarget_ = &target;
}

}  // namespace velko
