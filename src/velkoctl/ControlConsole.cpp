#include "velkoctl/ControlConsole.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/Log.h"

namespace velko {

int ControlConsole::fail(const std::string& message, int code) {
    warn(message);
    return code;
}

void ControlConsole::warn(const std::string& message) {
    std::string line = message;
    std::replace(line.begin(), line.end(), '\n', ' ');
    log::warning("%s", line.c_str());
}

bool ControlConsole::print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        warn(std::string("cannot write the output: ") + std::strerror(errno));
        return false;
    }
    return true;
}

int ControlConsole::printed(const std::string& text) {
    return print(text) ? ControlCommandLine::done : ControlCommandLine::failed;
}

}  // namespace velko
