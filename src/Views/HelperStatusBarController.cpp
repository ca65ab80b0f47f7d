#include "Views/HelperStatusBarController.h"

namespace velko {

HelperStatusBarController::HelperStatusBarController(StatusBar& statusBar) : statusBar_(statusBar) {}

void HelperStatusBarController::setup(MenuTarget& delegate) {
    // The icon may be missing; the menu is installed all the same.
    statusBar_.createItem(iconName, "Velko Helper", iconSize);
    hasItem_ = true;
    buildMenu(delegate);
}

void HelperStatusBarController::buildMenu(MenuTarget& delegate) {
    if (!hasItem_) return;
    statusBar_.setMenu(menuFor(velkoConnected, accessibilityOK), delegate);
}

MenuModel HelperStatusBarController::menuFor(bool velkoConnected, bool accessibilityOK) {
    const auto item = [](std::string title, MenuAction action, std::string key, bool enabled) {
        return MenuEntry{false, std::move(title), action, action != MenuAction::none, std::move(key), enabled};
    };
    const MenuEntry separator{true, "", MenuAction::none, false, "", false};
    return {
        item(velkoConnected ? "Connected to Velko" : "Velko not detected", MenuAction::none, "", false),
        accessibilityOK ? item("Accessibility granted", MenuAction::none, "", false)
                        : item("Accessibility needed", MenuAction::doPermissions, "", true),
        separator,
        item("Preferences...", MenuAction::doPreferences, ",", true),
        item("Permissions...", MenuAction::doPermissions, "", true),
        separator,
        item("Quit Velko Helper", MenuAction::doQuit, "q", true),
    };
}

}  // namespace velko
