#pragma once
#include <xkbcommon/xkbcommon.h>

#include <memory>

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

}  // namespace velko::xkb
