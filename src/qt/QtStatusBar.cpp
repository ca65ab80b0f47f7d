#include "qt/QtStatusBar.h"

#include "x11/Xcb.h"

#include <xcb/xcb.h>

#include <QAction>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QMenu>
#include <QPalette>
#include <QSystemTrayIcon>
#include <cstdio>
#include <cstdlib>
#include <string>

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

// A StatusNotifierItem host is registered on the session bus.
bool statusNotifierHostPresent() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return false;
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.kde.StatusNotifierWatcher"), QStringLiteral("/StatusNotifierWatcher"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << QStringLiteral("org.kde.StatusNotifierWatcher") << QStringLiteral("IsStatusNotifierHostRegistered");
    // Short: a hung watcher must not freeze the helper's main loop.
    const QDBusMessage reply = bus.call(message, QDBus::Block, 1000);
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
    std::free(host);
    const std::string selection = "_NET_SYSTEM_TRAY_S" + std::to_string(screen);
    const xcb_atom_t name = xcb::internAtom(c, selection, true);
    if (name == XCB_ATOM_NONE) return false;  // nobody ever made a tray on this display
    xcb::Reply<xcb_get_selection_owner_reply_t> owner{
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, name), nullptr)};
    return owner && owner->owner != XCB_WINDOW_NONE;
}

}  // namespace

QtStatusBar::QtStatusBar() {
    retry_.setInterval(2000);
    QObject::connect(&retry_, &QTimer::timeout, [this] {
        if (showWhenATrayIsThere()) retry_.stop();
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
    if (!showWhenATrayIsThere()) retry_.start();
    return BundledImages::has(symbolName);
}

bool QtStatusBar::showWhenATrayIsThere() {
    if (tray_) return true;
    const bool sni = statusNotifierHostPresent();
    if (!sni && !xembedTrayPresent()) {
        if (!std::exchange(reportedWaiting_, true))
            std::fputs("velko-helper: no system tray yet; the tray item appears when one starts\n", stderr);
        return false;
    }
    tray_ = std::make_unique<QSystemTrayIcon>();
    const QIcon icon = bundledIcon(symbolName_);
    if (!icon.isNull()) tray_->setIcon(icon);
    // A left click opens the menu too, as a status menu does.
    QObject::connect(tray_.get(), &QSystemTrayIcon::activated, tray_.get(), [this](auto reason) {
        if (reason == QSystemTrayIcon::Trigger && menu_) menu_->popup(QCursor::pos());
    });
    if (menu_) tray_->setContextMenu(menu_);
    tray_->show();
    std::fprintf(stderr, "velko-helper: tray item shown through %s\n", sni ? "StatusNotifierItem" : "XEmbed");
    return true;
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
