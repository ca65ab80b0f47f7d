#pragma once
#include <cstdint>
#include <memory>
#include <optional>

struct xkb_keymap;

namespace velko {

// A kernel key code that types nothing under keymap (no symbol at any level of any layout), to
// press where nothing may be typed; none without a keymap or when every key types something.
std::optional<std::uint16_t> silentKey(const std::shared_ptr<xkb_keymap>& keymap);

}  // namespace velko
