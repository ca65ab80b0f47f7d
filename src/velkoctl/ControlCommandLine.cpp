#include "velkoctl/ControlCommandLine.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "Core/HelperConstants.h"

namespace velko {

namespace {

using Command = ControlCommandLine::Command;
using Topic = ControlCommandLine::Topic;
using Parsed = ControlCommandLine::Parsed;
using Request = ControlCommandLine::Request;

struct CommandWord {
    const char* word;
    Topic topic;
};
constexpr std::array<CommandWord, 7> commandWords{{
    {"ping", Topic::ping},
    {"paste", Topic::paste},
    {"watch", Topic::watch},
    {"snippets", Topic::snippets},
    {"rules", Topic::rules},
    {"store", Topic::store},
    {"screenshots", Topic::screenshots},
}};

std::optional<Topic> topicOf(const std::string& word) {
    for (const auto& c : commandWords)
        if (word == c.word) return c.topic;
    return std::nullopt;
}

const char* wordOf(Topic topic) {
    for (const auto& c : commandWords)
        if (c.topic == topic) return c.word;
    return "";
}

// The arguments after the command word, split once; each command then says what it accepts.
struct Arguments {
    std::vector<std::string> positional;
    std::optional<std::string> timeout;
    bool json = false;
    bool help = false;
    std::string unknownOption;
    std::string missingValue;
};

Arguments split(const std::vector<std::string>& args, std::size_t from) {
    Arguments a;
    bool optionsEnded = false;
    for (std::size_t i = from; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (optionsEnded || arg == "-" || arg.empty() || arg[0] != '-') {
            a.positional.push_back(arg);
        } else if (arg == "--") {
            optionsEnded = true;
        } else if (arg == "-h" || arg == "--help") {
            a.help = true;
        } else if (arg == "--json") {
            a.json = true;
        } else if (arg == "--timeout" || arg == "-t") {
            if (i + 1 < args.size())
                a.timeout = args[++i];
            else
                a.missingValue = arg;
        } else if (arg.starts_with("--timeout=")) {
            a.timeout = arg.substr(10);
        } else if (a.unknownOption.empty()) {
            a.unknownOption = arg;
        }
    }
    return a;
}

Parsed error(Topic topic, const std::string& why) {
    const std::string word = wordOf(topic);
    const std::string where = word.empty() ? "velkoctl --help" : "velkoctl " + word + " --help";
    return Parsed{std::nullopt, (word.empty() ? "" : word + ": ") + why + " (see '" + where + "')"};
}

Parsed ok(Request request) { return Parsed{std::move(request), {}}; }

// Checks the options a command does not take, then the number of positional arguments.
std::optional<Parsed> refuseExtras(Topic topic, const Arguments& a, bool takesTimeout, bool takesJson,
                                   std::size_t maxPositional) {
    if (!a.unknownOption.empty()) return error(topic, "unknown option '" + a.unknownOption + "'");
    if (!a.missingValue.empty()) return error(topic, a.missingValue + " needs a number of seconds");
    if (a.timeout && !takesTimeout) return error(topic, "takes no --timeout");
    if (a.json && !takesJson) return error(topic, "takes no --json");
    if (a.positional.size() > maxPositional) return error(topic, "unexpected argument '" + a.positional.back() + "'");
    return std::nullopt;
}

std::optional<double> seconds(const std::string& text) {
    double value = 0;
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (ec != std::errc() || ptr != end || !std::isfinite(value) || value <= 0 ||
        value > ControlCommandLine::maxTimeout)
        return std::nullopt;
    return value;
}

std::optional<Parsed> readTimeout(Topic topic, const Arguments& a, Request& request) {
    if (!a.timeout) return std::nullopt;
    const auto value = seconds(*a.timeout);
    if (!value) return error(topic, "--timeout wants seconds between 0 and 3600, not '" + *a.timeout + "'");
    request.timeout = *value;
    return std::nullopt;
}

Parsed parseList(Topic topic, const Arguments& a, Command set, Command list) {
    const std::string sub = a.positional.empty() ? "" : a.positional[0];
    Request request;
    request.topic = topic;
    if (sub == "set") {
        if (auto refused = refuseExtras(topic, a, false, false, 2)) return *refused;
        if (a.positional.size() < 2) return error(topic, "set needs a FILE, or - for standard input");
        request.command = set;
        request.input = a.positional[1];
        return ok(request);
    }
    if (sub == "list") {
        if (auto refused = refuseExtras(topic, a, false, true, 1)) return *refused;
        request.command = list;
        request.json = a.json;
        return ok(request);
    }
    if (sub.empty()) return error(topic, "needs 'set FILE' or 'list'");
    return error(topic, "unknown subcommand '" + sub + "'");
}

Parsed parseCommand(Topic topic, const Arguments& a) {
    Request request;
    request.topic = topic;
    using Names = HelperConstants::Notification;
    switch (topic) {
        case Topic::ping:
            if (auto refused = refuseExtras(topic, a, true, false, 0)) return *refused;
            if (auto bad = readTimeout(topic, a, request)) return *bad;
            request.command = Command::ping;
            return ok(request);
        case Topic::paste: {
            if (auto refused = refuseExtras(topic, a, true, false, 1)) return *refused;
            if (auto bad = readTimeout(topic, a, request)) return *bad;
            const std::string kind = a.positional.empty() ? "now" : a.positional[0];
            if (kind == "now") {
                request.pasteNotification = Names::pasteNow;
                request.pasteKeys = "Ctrl+V";
            } else if (kind == "plain") {
                request.pasteNotification = Names::pastePlain;
                request.pasteKeys = "Ctrl+Alt+Shift+V";
            } else if (kind == "match") {
                request.pasteNotification = Names::pasteMatch;
                request.pasteKeys = "Ctrl+Shift+V";
            } else {
                return error(topic, "'" + kind + "' is not now, plain or match");
            }
            request.command = Command::paste;
            return ok(request);
        }
        case Topic::watch:
            if (auto refused = refuseExtras(topic, a, false, true, 0)) return *refused;
            request.command = Command::watch;
            request.json = a.json;
            return ok(request);
        case Topic::snippets:
            return parseList(topic, a, Command::snippetsSet, Command::snippetsList);
        case Topic::rules:
            return parseList(topic, a, Command::rulesSet, Command::rulesList);
        case Topic::store: {
            if (auto refused = refuseExtras(topic, a, false, false, 1)) return *refused;
            const std::string sub = a.positional.empty() ? "" : a.positional[0];
            if (sub == "connect")
                request.command = Command::storeConnect;
            else if (sub == "disconnect")
                request.command = Command::storeDisconnect;
            else if (sub == "status")
                request.command = Command::storeStatus;
            else if (sub.empty())
                return error(topic, "needs connect, disconnect or status");
            else
                return error(topic, "unknown subcommand '" + sub + "'");
            return ok(request);
        }
        case Topic::screenshots:
            if (auto refused = refuseExtras(topic, a, false, true, 0)) return *refused;
            request.command = Command::screenshots;
            request.json = a.json;
            return ok(request);
        case Topic::overview:
            break;
    }
    return error(Topic::overview, "no command given");
}

}  // namespace

ControlCommandLine::Parsed ControlCommandLine::parse(const std::vector<std::string>& args) {
    if (args.empty()) return error(Topic::overview, "no command given");
    const std::string& first = args[0];
    Request request;
    if (first == "-h" || first == "--help" || first == "help") {
        request.command = Command::help;
        if (first == "help" && args.size() > 1) {
            const auto topic = topicOf(args[1]);
            if (!topic) return error(Topic::overview, "no help on '" + args[1] + "'");
            request.topic = *topic;
        }
        return ok(request);
    }
    if (first == "-V" || first == "--version") {
        request.command = Command::version;
        return ok(request);
    }
    const auto topic = topicOf(first);
    if (!topic) {
        if (first.starts_with("-")) return error(Topic::overview, "unknown option '" + first + "'");
        return error(Topic::overview, "unknown command '" + first + "'");
    }
    const Arguments a = split(args, 1);
    if (a.help) {
        request.command = Command::help;
        request.topic = *topic;
        return ok(request);
    }
    return parseCommand(*topic, a);
}

std::string ControlCommandLine::help(Topic topic) {
    switch (topic) {
        case Topic::ping:
            return R"(Usage: velkoctl ping [--timeout S]

Posts a ping on the link and waits for the helper's pong. Prints the pong's JSON on the
first line and the round-trip time on the second.

  -t, --timeout S   how long to wait for the pong, in seconds (default 2)

Exit status: 0 answered, 1 the answer was malformed, 3 no session bus or no answer in time.
)";
        case Topic::paste:
            return R"(Usage: velkoctl paste [now|plain|match] [--timeout S]

Asks the helper to paste into the focused window, as Velko does:
  now     Ctrl+V (the default)
  plain   Ctrl+Alt+Shift+V, paste as plain text
  match   Ctrl+Shift+V, paste matching the style

A ping follows the request, so the helper's answer is known: a degraded notice before the
pong means it has no input access (no X display) and pasted nothing.

  -t, --timeout S   how long to wait for the answer, in seconds (default 2)

Exit status: 0 the request reached a helper with input access, 1 the helper has no input
access, 3 no session bus or no answer in time.
)";
        case Topic::watch:
            return R"(Usage: velkoctl watch [--json]

Prints every notification on the link as it arrives, one per line, until interrupted
(Ctrl+C, SIGTERM): the name, the object and the time it arrived (UTC), separated by tabs.
Tabs, line breaks and other control characters in the object are written as \t, \n, \xHH.

  --json   one JSON object per line: {"name":...,"object":...,"time":...}

A line on standard error says when the watch is in place. When the session bus goes away
the watch says so and carries on once it is back.

Exit status: 0 when interrupted, 3 when there is no session bus.
)";
        case Topic::snippets:
            return R"(Usage: velkoctl snippets set FILE|-
       velkoctl snippets list [--json]

set   reads a JSON array of snippet triggers from FILE (or standard input for -), each
      {"abbreviation": "...", "expansion": "...", "format": "...", "appScope": ["..."]},
      checks it exactly as the helper will read it, and stores it as helperSnippetTriggers
      in the shared settings, keeping every other key. One bad element is reported as
      "element N: reason" (counted from 0) and nothing is written.
list  prints the stored triggers, one per line: abbreviation, expansion, format and the
      comma-separated appScope, separated by tabs; --json prints them as a JSON array.

The helper reads the triggers when it starts, and only while Velko's store is present
(see velkoctl store).

Exit status: 0 done, 1 unreadable file, bad list or shared settings that cannot be used.
)";
        case Topic::rules:
            return R"(Usage: velkoctl rules set FILE|-
       velkoctl rules list [--json]

set   reads a JSON array of auto-paste rules from FILE (or standard input for -), each
      {"bundleId": "...", "action": "..."} with one of the actions alwaysPlainText,
      stripTrackingParams, trimWhitespace, blockPaste, prettyPrintJSON, lowercase
      (spelled exactly so), checks it exactly as the helper will read it, and stores it as
      helperAutoRules in the shared settings, keeping every other key. One bad element is
      reported as "element N: reason" (counted from 0) and nothing is written.
list  prints the stored rules, one per line: bundle identifier and action, separated by a
      tab; --json prints them as a JSON array.

The helper reads the rules when it starts.

Exit status: 0 done, 1 unreadable file, bad list or shared settings that cannot be used.
)";
        case Topic::store:
            return R"(Usage: velkoctl store connect|disconnect|status

The helper shows Velko as connected while Velko's store exists in the group container.
connect     creates an empty marker file there
disconnect  removes it again; a store that is not an empty file is left alone
status      says whether the store is there

Exit status: 0 done, 1 the store could not be created or removed.
)";
        case Topic::screenshots:
            return R"(Usage: velkoctl screenshots [--json]

Lists the screenshots the helper has staged for Velko, oldest first, one per line:
identifier, time staged, size in bytes, file name and the first line of the recognised
text, separated by tabs. A metadata file that cannot be read is skipped with a warning.

  --json   a JSON array of {"identifier", "filename", "timestamp", "fileSize" (a number),
           "isVideo" (a Boolean), "ocrText", "firstLine"}

Exit status: 0 done, 1 the staging folder cannot be read.
)";
        case Topic::overview:
            break;
    }
    return R"(Usage: velkoctl COMMAND [OPTIONS]

Drives the Velko helper from the command line, as the Velko application does: over the
session bus and through the shared folder ~/Library/Group Containers/group.app.velko.

Commands:
  ping [--timeout S]              ask the helper for its pong and time the answer
  paste [now|plain|match]         ask the helper to paste into the focused window
  watch [--json]                  print every notification on the link as it arrives
  snippets set FILE|- | list      store or show the snippet triggers
  rules set FILE|- | list         store or show the auto-paste rules
  store connect|disconnect|status create, remove or test Velko's store marker
  screenshots [--json]            list the screenshots staged for Velko

Every command takes --help. velkoctl --version prints the version.

Exit status:
  0  done
  1  failed (a bad file, a refused write, a helper without input access, ...)
  2  wrong usage
  3  no helper answered: no session bus, or no answer within the timeout
)";
}

}  // namespace velko
