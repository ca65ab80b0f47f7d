#pragma once
#include <string>
#include <vector>

namespace velko {

// Which backend one capability runs on in this session, as the user is shown it.
struct BackendChoice {
    std::string capability;  // "Input", "Typed keys", ...
    std::string backend;     // "X11 (XTEST)", ...; "off" when none works here
    std::string reason;      // why this one: for the log
    // Under the line in the preferences window, one or more lines: what the person can do about an
    // "off", or which keys the desktop gave the hotkeys.
    std::string note = {};

    std::string line() const { return capability + ": " + backend; }
    bool operator==(const BackendChoice&) const = default;
};

using BackendChoices = std::vector<BackendChoice>;

}  // namespace velko
