#pragma once
#include <string>

#include "velkoctl/ControlCommandLine.h"

namespace velko {

// What velkoctl says: results on standard output, every failure or warning as one line on
// standard error, "velkoctl: " first.
class ControlConsole {
public:
    // Says message (line breaks flattened) and returns code, the exit status to end with.
    static int fail(const std::string& message, int code = ControlCommandLine::failed);
    static void warn(const std::string& message);
    // Writes text to standard output and flushes it; false, after saying why, when it cannot.
    static bool print(const std::string& text);
    // print as an exit status: 0, or 1 when the output could not be written.
    static int printed(const std::string& text);
};

}  // namespace velko
