#pragma once
#include <cstdint>
#include <optional>

#include "platform/Types.h"
#include "x11/X11Connection.h"
#include "xkb/XkbHandles.h"

namespace velko {

// The server's keymap and active layout group, followed through XKB notifications on the
// helper's connection, to send each key where the layout in use types its character.
class X11ActiveKeymap {
public:
    explicit X11ActiveKeymap(X11Connection& connection) : connection_(connection) {}
    X11ActiveKeymap(const X11ActiveKeymap&) = delete;
    X11ActiveKeymap& operator=(const X11ActiveKeymap&) = delete;

    // The X keycode that types keyCode's character in the active group now (one round trip); the
    // US position when the server has no XKB; nullopt for an unknown key.
    std::optional<std::uint8_t> keycode(xcb_connection_t* c, KeyCode keyCode);

private:
    bool setUp(xcb_connection_t* c);
    void load(xcb_connection_t* c);

    X11Connection& connection_;
    std::uint64_t generation_ = 0;
    xkb::Context context_;
    xkb::Keymap keymap_;
    std::int32_t device_ = -1;
    std::uint8_t firstEvent_ = 0;
};

}  // namespace velko
