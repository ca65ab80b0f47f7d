#include "x11/DisplayProbe.h"

#include "x11/Xcb.h"

#include "posix/DeadlineThread.h"

namespace velko {

DisplayProbe::Answer DisplayProbe::connect(const std::string& display, std::chrono::milliseconds deadline) {
    const auto connection = DeadlineThread::run<xcb_connection_t*>(
        deadline, [display] { return xcb::connect(display.c_str()); },
        [](xcb_connection_t*& late) {
            if (late) xcb_disconnect(late);
        });
    if (!connection) return {Outcome::silent, nullptr};
    if (!*connection) return {Outcome::unreachable, nullptr};
    return {Outcome::connected, *connection};
}

}  // namespace velko
