#pragma once
// The helper's own connection to the X server, for queries and synthetic input. Main thread only.
#include <cstdint>
#include <string>

#include "x11/Xcb.h"

namespace velko {

class X11Connection {
public:
    X11Connection() = default;
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    // The open connection to $DISPLAY, (re)opened when there is none, it broke or $DISPLAY changed;
    // nullptr when no display can be reached. A request whose reply comes back empty may have
    // broken it: callers check xcb_connection_has_error and call get() again to get a fresh one.
    xcb_connection_t* get();
    // Root window of the screen $DISPLAY names; 0 when get() would return nullptr.
    std::uint32_t rootWindow();
    // Changes with every newly opened connection, so cached server state can be dropped.
    std::uint64_t generation() const { return generation_; }

    // Whether the server offers XTEST, RECORD and XKEYBOARD, asked over the wire each time.
    bool hasInputExtensions();

private:
    void close();

    xcb::Connection connection_;
    std::string displayName_;
    std::uint32_t root_ = 0;
    std::uint64_t generation_ = 0;
};

}  // namespace velko
