#pragma once

namespace velko {

// One helper per desktop session: the autostart entry, the systemd user unit and the menu
// launcher may all start it, and two helpers would paste twice.
class SingleInstance {
public:
    static inline const char* const busName = "app.velko.HelperInstance";
    // Claims the session-wide name for the life of the process; false when another helper holds
    // it. True without a session bus, where no other helper can be told apart.
    static bool claim();
};

}  // namespace velko
