#pragma once
#include <optional>
#include <string>
#include <vector>

namespace velko {

// velkoctl's arguments, help texts and exit codes. Parsing never touches the system, so every
// mistake a user can type is answered before anything is posted or written.
class ControlCommandLine {
public:
    enum ExitCode : int {
        done = 0,
        failed = 1,
        usage = 2,
        // Nobody at the other end: no session bus, or no helper answered in time.
        noHelper = 3,
    };

    enum class Command {
        help,
        version,
        ping,
        paste,
        watch,
        snippetsSet,
        snippetsList,
        rulesSet,
        rulesList,
        storeConnect,
        storeDisconnect,
        storeStatus,
        screenshots,
    };

    // What --help explains: the overview or one command with its subcommands.
    enum class Topic { overview, ping, paste, watch, snippets, rules, store, screenshots };

    static constexpr double defaultTimeout = 2.0;
    static constexpr double maxTimeout = 3600.0;

    struct Request {
        Command command = Command::help;
        Topic topic = Topic::overview;
        double timeout = defaultTimeout;
        // For paste: the notification to post and the keys the helper will press.
        std::string pasteNotification;
        std::string pasteKeys;
        bool json = false;
        // For set: a path, or "-" for standard input.
        std::string input;
    };

    // A request, or a one-line reason (already naming the command and where to find help).
    struct Parsed {
        std::optional<Request> request;
        std::string error;
    };

    // args without the program name.
    static Parsed parse(const std::vector<std::string>& args);
    static std::string help(Topic topic);
};

}  // namespace velko
