#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"
#include "velkoctl/ControlRequest.h"

namespace velko {

// velkoctl's arguments, help texts and exit codes, all driven by the command table. Parsing never
// touches the system, so every mistake a user can type is answered before anything is posted or
// written.
class ControlCommandLine {
public:
    enum ExitCode : int {
        done = 0,
        failed = 1,
        usage = 2,
        // Nobody at the other end: no session bus, or no helper answered in time.
        noHelper = 3,
    };

    // args without the program name. A failure is one line that names the command and where to
    // find help.
    static Result<ControlRequest> parse(const std::vector<std::string>& args);
    // The help of the command named word, or the overview of all of them for an empty word.
    static std::string help(std::string_view word);
    // Parts of the overview that the manual page repeats.
    static std::string_view description();
    static std::string_view exitStatus();
};

}  // namespace velko
