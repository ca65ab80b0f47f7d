#pragma once
#include <string>
#include <vector>

#include "velkoctl/ControlRequest.h"

namespace velko {

// Carries out one velkoctl request on the real system, handing each command of the table to the
// group that runs it. Every failure is one line on stderr and an exit code.
class ControlRunner {
public:
    // Needs a QCoreApplication for the commands that use the link.
    explicit ControlRunner(std::string homeDirectory);

    // The words of the command table that nothing here runs; empty unless a command was added to
    // the table and forgotten here.
    static std::vector<std::string> commandsWithoutRunner();

    int run(const ControlRequest& request);

private:
    std::string home_;
};

}  // namespace velko
