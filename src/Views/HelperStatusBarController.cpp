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
    statusBar_.setMenu(menuFor(velkoConnected, accessibilityOK, screenshotNote), delegate);
}

MenuModel HelperStatusBarController::menuFor(bool velkoConnected, bool accessibilityOK,
                                             const std::string& screenshotNote) {
    const auto item = [](std::string title, MenuAction action, std::string key, bool enabled) {
        return MenuEntry{false, std::move(title), action, action != MenuAction::none, std::move(key), enabled};
    };
    const MenuEntry separator{true, "", MenuAction::none, false, "", false};
    MenuModel menu{
        item(velkoConnected ? "Connected to Velko" : "Velko not detected", MenuAction::none, "", false),
        accessibilityOK ? item("Accessibility granted", MenuAction::none, "", false)
                        : item("Accessibility needed", MenuAction::doPermissions, "", true),
    };
    // Said only while something is wrong: a working watch needs no line.
    if (!screenshotNote.empty()) menu.push_back(item("Screenshots: " + screenshotNote, MenuAction::none, "", false));
    menu.insert(menu.end(), {
                                separator,
                                item("Preferences...", MenuAction::doPreferences, ",", true),
                                item("Permissions...", MenuAction::doPermissions, "", true),
                                separator,
                                item("Quit Velko Helper", MenuAction::doQuit, "q", true),
                            });
    return menu;
}

}  // namespace velko
