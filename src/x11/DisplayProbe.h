#pragma once
#include <chrono>
#include <string>

struct xcb_connection_t;

namespace velko {

// xcb_connect waits for the server's answer to the connection setup without end, and a server can
// accept a connection and never answer (the Xwayland of a GNOME session started without systemd).
// The probe connects on a thread of its own and stops waiting at a deadline.
class DisplayProbe {
public:
    enum class Outcome { connected, unreachable, silent };
    struct Answer {
        Outcome outcome = Outcome::unreachable;
        xcb_connection_t* connection = nullptr;  // the caller's to disconnect; only when connected
    };
    // A connection to display made within deadline. On silent the attempt goes on by itself and
    // closes whatever it gets, should the server ever answer.
    static Answer connect(const std::string& display, std::chrono::milliseconds deadline);
};

}  // namespace velko
