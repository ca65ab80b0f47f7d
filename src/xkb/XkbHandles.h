#pragma once
#include <xkbcommon/xkbcommon.h>

#include <cstdlib>
#include <memory>
#include <string>

// Owning handles for xkbcommon's reference-counted objects: each drops its one reference.
namespace velko::xkb {

struct Unref {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};

using Context = std::unique_ptr<xkb_context, Unref>;
using Keymap = std::unique_ptr<xkb_keymap, Unref>;
using State = std::unique_ptr<xkb_state, Unref>;

// The keymap in xkbcommon's text format; empty for none or when xkbcommon cannot write it.
inline std::string text(xkb_keymap* keymap) {
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };
    const std::unique_ptr<char, Free> text(keymap ? xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1)
                                                  : nullptr);
    return text ? text.get() : "";
}

}  // namespace velko::xkb
