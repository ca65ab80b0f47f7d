#pragma once
#include <string_view>

namespace velko {

// The terminal emulators whose paste key is Ctrl+Shift+V, by the name their windows give.
class TerminalApplications {
public:
    // Whether an X11 class or instance name, or a Wayland app_id, is one of them; case does not count.
    static bool includes(std::string_view identity);
};

}  // namespace velko
