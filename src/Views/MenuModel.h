#pragma once
#include <string>
#include <vector>

namespace velko {

// What a menu item runs; each names an action operation of the application delegate.
enum class MenuAction { none, doPreferences, doPermissions, doQuit };

struct MenuEntry {
    bool separator = false;
    std::string title;
    MenuAction action = MenuAction::none;
    bool targetsDelegate = false;
    std::string keyEquivalent;  // one character with the primary modifier, or empty
    bool enabled = false;

    bool operator==(const MenuEntry&) const = default;
};

using MenuModel = std::vector<MenuEntry>;

class MenuTarget {
public:
    virtual ~MenuTarget() = default;
    virtual void perform(MenuAction action) = 0;
};

}  // namespace velko
