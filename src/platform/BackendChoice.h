#pragma once
#include <string>
#include <vector>

namespace velko {

// Which backend one capability runs on in this session, as the user is shown it.
struct BackendChoice {
    std::string capability;   // "Input", "Typed keys", ...
    std::string backend;      // "X11 (XTEST)", ...; "off" when none works here
    std::string reason;       // why this one: for the log
    std::string advice = {};  // what the person can do about an "off", for the preferences window

    std::string line() const { return capability + ": " + backend; }
    bool operator==(const BackendChoice&) const = default;
};

using BackendChoices = std::vector<BackendChoice>;

}  // namespace velko
