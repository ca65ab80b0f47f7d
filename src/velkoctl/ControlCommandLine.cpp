#include "velkoctl/ControlCommandLine.h"

#include <algorithm>

#include "velkoctl/ControlArguments.h"
#include "velkoctl/ControlCommandTable.h"

namespace velko {

namespace {

Failure usageError(std::string_view word, const std::string& why) {
    const std::string name(word);
    const std::string where = name.empty() ? "velkoctl --help" : "velkoctl " + name + " --help";
    return Failure{(name.empty() ? "" : name + ": ") + why + " (see '" + where + "')"};
}

constexpr std::string_view descriptionText =
    R"(Drives the Velko helper from the command line, as the Velko application does: over the
session bus and through the shared folder ~/Library/Group Containers/group.app.velko.
)";

constexpr std::string_view exitCodes = R"(  0  done
  1  failed (a bad file, a refused write, a helper without input access, ...)
  2  wrong usage
  3  no helper answered: no session bus, or no answer within the timeout
)";

}  // namespace

Result<ControlRequest> ControlCommandLine::parse(const std::vector<std::string>& args) {
    if (args.empty()) return usageError("", "no command given");
    const std::string& first = args[0];
    ControlRequest request;
    if (first == "-h" || first == "--help" || first == "help") {
        request.kind = ControlRequest::Kind::help;
        if (first == "help" && args.size() > 1) {
            if (!ControlCommandTable::find(args[1])) return usageError("", "no help on '" + args[1] + "'");
            request.command = args[1];
        }
        return request;
    }
    if (first == "-V" || first == "--version") {
        request.kind = ControlRequest::Kind::version;
        return request;
    }
    const ControlCommand* command = ControlCommandTable::find(first);
    if (!command) {
        if (first.starts_with("-")) return usageError("", "unknown option '" + first + "'");
        return usageError("", "unknown command '" + first + "'");
    }
    const ControlArguments arguments(args, 1);
    if (arguments.help()) {
        request.kind = ControlRequest::Kind::help;
        request.command = first;
        return request;
    }
    auto parsed = command->parse(arguments);
    if (!parsed) return usageError(command->word, parsed.error());
    parsed->command = first;
    return parsed;
}

std::string ControlCommandLine::help(std::string_view word) {
    if (const ControlCommand* command = ControlCommandTable::find(word)) return std::string(command->help);
    // Usages padded to one column, as wide as the longest.
    std::size_t width = 0;
    for (const auto& command : ControlCommandTable::commands()) width = std::max(width, command.usage.size());
    std::string text = "Usage: velkoctl COMMAND [OPTIONS]\n\n" + std::string(descriptionText) + "\nCommands:\n";
    for (const auto& command : ControlCommandTable::commands()) {
        std::string usage(command.usage);
        usage.resize(width + 1, ' ');
        text += "  " + usage + std::string(command.summary) + "\n";
    }
    return text + "\nEvery command takes --help. velkoctl --version prints the version.\n\nExit status:\n" +
           std::string(exitCodes);
}

std::string_view ControlCommandLine::description() { return descriptionText; }

std::string_view ControlCommandLine::exitStatus() { return exitCodes; }

}  // namespace velko
