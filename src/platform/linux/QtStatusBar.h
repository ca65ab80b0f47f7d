#pragma once
#include <QIcon>
#include <QPointer>
#include <memory>

#include "platform/StatusBar.h"

class QMenu;
class QSystemTrayIcon;

namespace velko {

// The tray item: StatusNotifierItem where a host is on the bus, XEmbed otherwise.
class QtStatusBar : public StatusBar {
public:
    QtStatusBar();
    ~QtStatusBar() override;

    bool createItem(const std::string& symbolName, const std::string& accessibilityDescription, int iconSize) override;
    void setMenu(const MenuModel& menu, MenuTarget& target) override;

    // The bundled SVG rendered at the usual tray sizes, so every host gets a crisp image.
    static QIcon bundledIcon(const std::string& symbolName);

private:
    std::unique_ptr<QSystemTrayIcon> tray_;
    QPointer<QMenu> menu_;
    MenuModel pending_;
    MenuTarget* pendingTarget_ = nullptr;
};

}  // namespace velko
