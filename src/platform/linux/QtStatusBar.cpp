#include "platform/linux/QtStatusBar.h"

#include <QAction>
#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QPainter>
#include <QSvgRenderer>
#include <QSystemTrayIcon>

// The icons are compiled into a static library; nothing references them, so the linker
// would drop them unless they are registered explicitly.
static void registerBundledResources() { Q_INIT_RESOURCE(resources); }

namespace velko {

QtStatusBar::QtStatusBar() { registerBundledResources(); }

QtStatusBar::~QtStatusBar() {
    if (menu_) delete menu_.data();
}

QIcon QtStatusBar::bundledIcon(const std::string& symbolName) {
    QSvgRenderer renderer(QStringLiteral(":/velko/icons/%1.svg").arg(QString::fromStdString(symbolName)));
    if (!renderer.isValid()) return {};
    QIcon icon;
    for (int size : {16, 18, 22, 24, 32, 36, 48, 64, 96, 128}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

bool QtStatusBar::createItem(const std::string& symbolName, const std::string& accessibilityDescription, int) {
    // Without a display there is nowhere to show it; the menu model is still kept.
    if (QGuiApplication::platformName() == QLatin1String("offscreen")) return false;
    tray_ = std::make_unique<QSystemTrayIcon>();
    const QIcon icon = bundledIcon(symbolName);
    if (!icon.isNull()) tray_->setIcon(icon);
    // No tooltip, as on the original; hosts read the accessible name from the application.
    QGuiApplication::setApplicationDisplayName(QString::fromStdString(accessibilityDescription));
    // A left click opens the menu too, as on the original status bar.
    QObject::connect(tray_.get(), &QSystemTrayIcon::activated, tray_.get(), [this](auto reason) {
        if (reason == QSystemTrayIcon::Trigger && menu_) menu_->popup(QCursor::pos());
    });
    tray_->show();
    return !icon.isNull();
}

void QtStatusBar::setMenu(const MenuModel& model, MenuTarget& target) {
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
}

}  // namespace velko
