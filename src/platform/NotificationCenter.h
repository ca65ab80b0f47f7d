#pragma once
#include <functional>
#include <string>

namespace velko {

// The system-wide named notifications shared with the main application.
class NotificationCenter {
public:
    using Handler = std::function<void(const std::string& object)>;
    virtual ~NotificationCenter() = default;
    // Delivers every notification of that name, from any sender, to handler on the main thread; an
    // object that is absent or not a string arrives empty. Registers nothing (and says so on
    // stderr) when no bus can be reached.
    virtual void observe(const std::string& name, Handler handler) = 0;
    // Posts at once with a string object and no user info; dropped when no bus can be reached.
    virtual void post(const std::string& name, const std::string& object) = 0;
};

}  // namespace velko
