#pragma once
#include <span>
#include <string_view>

#include "platform/Result.h"
#include "velkoctl/ControlArguments.h"
#include "velkoctl/ControlRequest.h"

namespace velko {

// One velkoctl command: everything the parser and the help know about it. The executable pairs
// each word with what runs it.
struct ControlCommand {
    std::string_view word;
    // Its line in the overview: what to type, and what it does.
    std::string_view usage;
    std::string_view summary;
    // What `velkoctl WORD --help` prints.
    std::string_view help;
    // The request for the arguments after the word (without command, which the caller fills in),
    // or why they make none.
    Result<ControlRequest> (*parse)(const ControlArguments& arguments);
    // What shell completion offers after the word: the words that may come first, the long
    // options, and the first word a file name follows ("set FILE"), if any.
    std::string_view arguments;
    std::string_view options;
    std::string_view fileAfter;
};

class ControlCommandTable {
public:
    // Every command, in the overview's order.
    static std::span<const ControlCommand> commands();
    // nullptr for a word that names no command.
    static const ControlCommand* find(std::string_view word);
};

}  // namespace velko
