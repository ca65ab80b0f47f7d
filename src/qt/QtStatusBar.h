#pragma once
#include <QIcon>
#include <QPointer>
#include <QTimer>
#include <memory>

#include "Views/MenuModel.h"
#include "platform/StatusBar.h"

class QMenu;
class QSystemTrayIcon;

namespace velko {

class SessionBusConnection;

// The tray item: StatusNotifierItem where a host is on the bus, XEmbed otherwise. Qt settles on
// one of the two when the first tray icon is made, so the item is made only once a host of
// either kind is there; until then (a panel that starts after the helper) it is looked for again
// every two seconds, never waiting on the bus for an answer. A StatusNotifierItem is made again
// on every new session bus.
class QtStatusBar : public StatusBar {
public:
    explicit QtStatusBar(SessionBusConnection& bus);
    ~QtStatusBar() override;

    bool createItem(const std::string& symbolName, const std::string& accessibilityDescription, int iconSize) override;
    void setMenu(const MenuModel& menu, MenuTarget& target) override;

private:
    void lookForATray();
    void showIfATrayIsThere(bool statusNotifierHost);

    SessionBusConnection& bus_;
    std::string symbolName_;
    QTimer retry_;
    bool reportedWaiting_ = false;
    bool asking_ = false;
    std::unique_ptr<QSystemTrayIcon> tray_;
    bool statusNotifierItem_ = false;
    QPointer<QMenu> menu_;
    MenuModel installed_;
    MenuTarget* installedTarget_ = nullptr;
    MenuModel pending_;
    MenuTarget* pendingTarget_ = nullptr;
};

}  // namespace velko
