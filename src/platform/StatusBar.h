#pragma once
#include <string>
#include <vector>

namespace velko {

// The menu's model belongs to the views; the status bar only draws it.
struct MenuEntry;
class MenuTarget;

class StatusBar {
public:
    virtual ~StatusBar() = default;
    // Shows the item with the named bundled icon; false when no icon could be made.
    virtual bool createItem(const std::string& symbolName, const std::string& accessibilityDescription,
                            int iconSize) = 0;
    // Replaces the item's whole menu; chosen entries are performed on target.
    virtual void setMenu(const std::vector<MenuEntry>& menu, MenuTarget& target) = 0;
};

}  // namespace velko
