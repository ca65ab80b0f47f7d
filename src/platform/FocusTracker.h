#pragma once
#include <functional>
#include <optional>
#include <string>

namespace velko {

// What has the keyboard focus, as far as the desktop tells.
struct Focus {
    // The application's identity: WM_CLASS's class, a Wayland app_id or the accessibility bus's
    // application name; empty when the window has none.
    std::string application;
    // Its paste key is Ctrl+Shift+V (Ctrl+V inserts the next key literally).
    bool terminal = false;
    // Typed keys must be neither kept nor matched while it has the focus.
    bool passwordField = false;
    bool operator==(const Focus&) const = default;
};

// Follows the keyboard focus from the desktop's own events, so that asking is cheap enough for
// every typed key.
class FocusTracker {
public:
    virtual ~FocusTracker() = default;
    // The focus as last reported; nullopt when this session cannot tell (no source, or it went away).
    virtual std::optional<Focus> focus() const = 0;
    // Calls `changed` on the main thread after each change of focus(), replacing any earlier callback.
    virtual void onChange(std::function<void()> changed) = 0;
};

}  // namespace velko
