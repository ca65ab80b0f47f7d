#pragma once
#include <chrono>
#include <string>

namespace velko {

// One velkoctl invocation as its command line asked for it; checked before anything is posted
// or written.
struct ControlRequest {
    // As typed: seconds, fractions included.
    using Seconds = std::chrono::duration<double>;
    static constexpr Seconds defaultTimeout{2.0};
    static constexpr Seconds maxTimeout{3600.0};

    enum class Kind { run, help, version };
    Kind kind = Kind::run;
    // The command's word ("paste"); for help the command asked about, empty for the overview.
    std::string command;
    // The subcommand or argument as given: "set", "plain", "open_popover"; empty when there is none.
    std::string action;
    Seconds timeout = defaultTimeout;
    bool json = false;
    // For set: a path, or "-" for standard input.
    std::string input;
    // For paste and hotkey: the notification to post; for paste also the keys the helper presses.
    std::string notification;
    std::string keys;
};

}  // namespace velko
