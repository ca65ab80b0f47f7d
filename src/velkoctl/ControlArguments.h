#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "platform/Result.h"
#include "velkoctl/ControlRequest.h"

namespace velko {

// The arguments after a command's word, split once; each command then says what it accepts.
class ControlArguments {
public:
    struct Accepts {
        bool timeout = false;
        bool json = false;
        std::size_t positional = 0;
    };

    // args[from...]; "--" ends the options, and "-" alone is an argument (standard input).
    ControlArguments(const std::vector<std::string>& args, std::size_t from);

    bool help() const { return help_; }
    bool json() const { return json_; }
    std::size_t count() const { return positional_.size(); }
    // The positional argument at index, or empty when there are fewer.
    std::string at(std::size_t index) const;

    // Fails with why when these arguments do not fit what a command accepts.
    Result<void> check(Accepts accepts) const;
    // Stores a given --timeout in request; fails when it is not seconds in (0, 3600].
    Result<void> readTimeout(ControlRequest& request) const;

private:
    std::vector<std::string> positional_;
    std::optional<std::string> timeout_;
    bool json_ = false;
    bool help_ = false;
    std::string unknownOption_;
    std::string missingValue_;
};

}  // namespace velko
