#pragma once
#include <functional>
#include <string>
#include <vector>

#include "Core/Published.h"
#include "platform/FilteringKeyTap.h"
#include "platform/Types.h"

namespace velko {

class FocusTracker;
class MainQueue;
class NotificationCenter;

// Answers three fixed key combinations: the key-down never reaches the focused window, and the
// main application is told which one was pressed. A terminal keeps Ctrl+Shift+V, its paste key.
class GlobalHotkeyManager {
public:
    struct HotkeyBinding {
        std::string id;  // also the object of the notification the action posts
        KeyCode keyCode;
        EventFlags modifiers;  // every one of these must be held
        std::function<void()> action;
    };

    GlobalHotkeyManager(FilteringKeyTap& tap, MainQueue& mainQueue, NotificationCenter& center, FocusTracker& focus);
    static GlobalHotkeyManager& shared();

    // Once per process. Registers the defaults whatever happens; when the tap cannot be made it
    // prints tapFailureMessage on standard output and the manager stays inactive.
    void start();

    // Tried in this order; the first match wins. Written only by start() in the helper.
    std::vector<HotkeyBinding> bindings;

    // Whether a key-down with these flags fires a binding and so never reaches the focused
    // window; false while the manager is inactive (no tap, or not started).
    bool takes(KeyCode keyCode, EventFlags flags) const;

    Published<bool> isActive{false};

    static inline const std::string tapFailureMessage =
        "Failed to create event tap \u2014 Accessibility permission may be missing";

private:
    void registerDefaultBindings();
    const HotkeyBinding* match(KeyCode keyCode, EventFlags flags) const;
    FilteringKeyTap::Verdict handleKeyDown(KeyCode keyCode, EventFlags flags);

    FilteringKeyTap& tap_;
    MainQueue& mainQueue_;
    NotificationCenter& center_;
    FocusTracker& focus_;
};

}  // namespace velko
