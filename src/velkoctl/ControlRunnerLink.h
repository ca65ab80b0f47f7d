#pragma once
#include <functional>
#include <memory>

#include "velkoctl/ControlRequest.h"

namespace velko {

class DBusNotificationCenter;
class LinkClient;

// The commands that talk to the helper over the session bus: ping, paste, watch, status, hotkey.
// Each returns the exit status; no bus, or no helper where one must answer, is noHelper.
class ControlRunnerLink {
public:
    int ping(const ControlRequest& request);
    int paste(const ControlRequest& request);
    int watch(const ControlRequest& request);
    int status(const ControlRequest& request);
    int hotkey(const ControlRequest& request);

private:
    // nullptr, after saying why, when the session bus cannot be reached.
    std::unique_ptr<DBusNotificationCenter> openLink();
    // send with a client of the link, then the Qt loop until an answer exits it.
    int ask(const std::function<void(LinkClient&)>& send);
};

}  // namespace velko
