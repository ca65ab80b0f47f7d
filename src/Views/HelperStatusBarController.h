#pragma once
#include <cstdint>
#include <string>

#include "Views/MenuModel.h"
#include "platform/StatusBar.h"

namespace velko {

// The tray item and its menu. The menu is rebuilt whole from the fields each time.
class HelperStatusBarController {
public:
    explicit HelperStatusBarController(StatusBar& statusBar);

    void setup(MenuTarget& delegate);
    void buildMenu(MenuTarget& delegate);

    // screenshotNote: why screenshots are not picked up, as a line of its own; none when empty.
    static MenuModel menuFor(bool velkoConnected, bool accessibilityOK, const std::string& screenshotNote = {});

    bool accessibilityOK = false;
    bool velkoConnected = false;
    bool expansionEnabled = true;
    bool hotkeysEnabled = true;
    bool screenshotWatchEnabled = true;
    std::string screenshotNote;
    std::int64_t ruleCount = 0;

    static inline const char* const iconName = "paperclip.circle";
    static constexpr int iconSize = 18;

private:
    StatusBar& statusBar_;
    bool hasItem_ = false;
};

}  // namespace velko
