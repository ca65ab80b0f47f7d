#pragma once
#include <QObject>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "evdev/SessionKeymap.h"

struct xkb_keymap;

namespace velko {

// The keymap of a Wayland session and which of its layouts is in use, for everything that reads
// or posts kernel key codes (the typed-keys tap, the portal, mutter, uinput): the compositor
// applies its own layout to those codes, so they all have to agree with it. One watch on the
// desktop's switches feeds them all.
class SessionLayout {
public:
    // The keymap (null when it does not compile) and the index of its layout in use.
    using Listener = std::function<void(const std::shared_ptr<xkb_keymap>& keymap, std::uint32_t layout)>;

    // Reads the session's keymap (gsettings at most once) and, on GNOME and Plasma, starts following
    // their switches and a new list of layouts on a bus connection of its own.
    static std::unique_ptr<SessionLayout> find();
    // A keymap whose switches only switched() reports.
    explicit SessionLayout(SessionKeymap::Found keymap);

    // The keymap as read at start, for the typed-keys tap, which keeps it.
    const SessionKeymap::Found& keymap() const { return keymap_; }
    // The keymap compiled; null when its text does not compile.
    const std::shared_ptr<xkb_keymap>& compiled() const { return compiled_; }
    std::uint32_t layout() const { return layout_; }
    // Whether the desktop's switches are followed.
    bool followed() const { return watch_ != nullptr; }
    // listener hears the keymap and layout in use now, then every change, on the Qt loop, until
    // this goes away.
    void listen(Listener listener);
    // The desktop switched to `layout`: every listener hears of it.
    void switched(std::uint32_t layout);
    // The desktop's keymap is now `keymap`'s; its layout in use stays until switched() says otherwise.
    // Every listener hears of it.
    void replaced(const SessionKeymap::Found& keymap);

private:
    SessionKeymap::Found keymap_;
    std::shared_ptr<xkb_keymap> compiled_;
    std::uint32_t layout_ = 0;
    std::vector<Listener> listeners_;
    std::unique_ptr<QObject> watch_;  // last, so that it stops before the listeners go
};

}  // namespace velko
