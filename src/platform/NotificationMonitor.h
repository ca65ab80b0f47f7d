#pragma once
#include <functional>
#include <string>

namespace velko {

// Every notification on the link, whatever its name: for tools that watch the link as a whole.
class NotificationMonitor {
public:
    using Handler = std::function<void(const std::string& name, const std::string& object)>;
    virtual ~NotificationMonitor() = default;
    // Delivers every notification, from any sender, to handler on the main thread.
    // Registers nothing (and says so on stderr) when no bus can be reached.
    virtual void observeAll(Handler handler) = 0;
};

}  // namespace velko
