#include "velkoctl/ControlCommandTable.h"

#include <array>
#include <utility>

#include "Core/HelperConstants.h"

namespace velko {

namespace {

using Request = ControlRequest;
using Accepts = ControlArguments::Accepts;
using Names = HelperConstants::Notification;

// A command with options only: --timeout and --json as it takes them, no arguments.
template <bool timeout, bool json>
Result<Request> parseOptions(const ControlArguments& a) {
    Request request;
    if (const auto fits = a.check({.timeout = timeout, .json = json}); !fits) return fits.failure();
    if (const auto read = a.readTimeout(request); !read) return read.failure();
    request.json = a.json();
    return request;
}

Result<Request> parsePaste(const ControlArguments& a) {
    struct Kind {
        const char* word;
        const std::string& notification;
        const char* keys;
    };
    static const std::array<Kind, 3> kinds{{
        {"now", Names::pasteNow, "Ctrl+V"},
        {"plain", Names::pastePlain, "Ctrl+Alt+Shift+V"},
        {"match", Names::pasteMatch, "Ctrl+Shift+V"},
    }};
    Request request;
    if (const auto fits = a.check({.timeout = true, .positional = 1}); !fits) return fits.failure();
    if (const auto read = a.readTimeout(request); !read) return read.failure();
    request.action = a.count() == 0 ? "now" : a.at(0);
    for (const auto& kind : kinds) {
        if (request.action != kind.word) continue;
        request.notification = kind.notification;
        request.keys = kind.keys;
        return request;
    }
    return Failure{"'" + request.action + "' is not now, plain or match"};
}

Result<Request> parseHotkey(const ControlArguments& a) {
    const auto& ids = HelperConstants::hotkeyIdentifiers;
    const std::string known = ids[0] + ", " + ids[1] + " or " + ids[2];
    Request request;
    if (const auto fits = a.check({.positional = 1}); !fits) return fits.failure();
    if (a.count() == 0) return Failure{"needs an identifier: " + known};
    request.action = a.at(0);
    request.notification = Names::hotkeyActivated;
    for (const auto& id : ids)
        if (request.action == id) return request;
    return Failure{"'" + request.action + "' is not " + known};
}

Result<Request> parseList(const ControlArguments& a) {
    Request request;
    request.action = a.at(0);
    if (request.action == "set") {
        if (const auto fits = a.check({.positional = 2}); !fits) return fits.failure();
        if (a.count() < 2) return Failure{"set needs a FILE, or - for standard input"};
        request.input = a.at(1);
        return request;
    }
    if (request.action == "list") {
        if (const auto fits = a.check({.json = true, .positional = 1}); !fits) return fits.failure();
        request.json = a.json();
        return request;
    }
    if (request.action.empty()) return Failure{"needs 'set FILE' or 'list'"};
    return Failure{"unknown subcommand '" + request.action + "'"};
}

Result<Request> parseStore(const ControlArguments& a) {
    Request request;
    if (const auto fits = a.check({.positional = 1}); !fits) return fits.failure();
    request.action = a.at(0);
    if (request.action == "connect" || request.action == "disconnect" || request.action == "status") return request;
    if (request.action.empty()) return Failure{"needs connect, disconnect or status"};
    return Failure{"unknown subcommand '" + request.action + "'"};
}

Result<Request> parseGnomeShortcuts(const ControlArguments& a) {
    Request request;
    if (const auto fits = a.check({.positional = 1}); !fits) return fits.failure();
    request.action = a.at(0);
    if (request.action == "add" || request.action == "remove" || request.action == "list") return request;
    if (request.action.empty()) return Failure{"needs add, remove or list"};
    return Failure{"unknown subcommand '" + request.action + "'"};
}

constexpr std::string_view pingHelp = R"text(Usage: velkoctl ping [--timeout S]

Posts a ping on the link and waits for the helper's pong. Prints the pong's JSON on the
first line and the round-trip time on the second.

  -t, --timeout S   how long to wait for the pong, in seconds (default 2)

Exit status: 0 answered, 1 the answer was malformed, 3 no session bus or no answer in time.
)text";

constexpr std::string_view pasteHelp = R"text(Usage: velkoctl paste [now|plain|match] [--timeout S]

Asks the helper to paste into the focused window, as Velko does:
  now     Ctrl+V (the default)
  plain   Ctrl+Alt+Shift+V, paste as plain text
  match   Ctrl+Shift+V, paste matching the style

A ping follows the request, so the helper's answer is known: a degraded notice before the
pong means it has no input access (no X display) and pasted nothing.

  -t, --timeout S   how long to wait for the answer, in seconds (default 2)

Exit status: 0 the request reached a helper with input access, 1 the helper has no input
access, 3 no session bus or no answer in time.
)text";

constexpr std::string_view watchHelp = R"text(Usage: velkoctl watch [--json]

Prints every notification on the link as it arrives, one per line, until interrupted
(Ctrl+C, SIGTERM): the name, the object and the time it arrived (UTC), separated by tabs.
Tabs, line breaks and other control characters in the object are written as \t, \n, \xHH.

  --json   one JSON object per line: {"name":...,"object":...,"time":...}

A line on standard error says when the watch is in place. When the session bus goes away
the watch says so and carries on once it is back.

Exit status: 0 when interrupted, 3 when there is no session bus.
)text";

constexpr std::string_view statusHelp = R"text(Usage: velkoctl status [--json] [--timeout S]

Asks the running helper which backend each capability uses in this session, as its
preferences window shows them, and prints one line per capability, e.g. "Input: X11 (XTEST)",
then whether screenshots are picked up: "Screenshots: on, watching ~/Pictures/Screenshots", or
off and why, e.g. "Screenshots: off, waiting for ~/Pictures/Screenshots to exist again".

  --json            a JSON array of {"capability", "backend"}
  -t, --timeout S   how long to wait for the answer, in seconds (default 2)

Exit status: 0 answered, 1 the answer was not a list of lines, 3 no session bus, no helper
on it or no answer in time.
)text";

constexpr std::string_view hotkeyHelp = R"text(Usage: velkoctl hotkey open_popover|spotlight_launcher|save_snippet

Posts helper.hotkey.activated with the identifier, exactly as the helper does when one of
its hotkeys is pressed; Velko answers it whoever posts it. For Wayland compositors without a
global-shortcuts portal (sway, river): bind a key in the compositor to run it, e.g. in sway
  bindsym Ctrl+Shift+v exec velkoctl hotkey open_popover

  open_popover         Velko's popover (Ctrl+Shift+V)
  spotlight_launcher   Velko's launcher (Ctrl+Shift+Space)
  save_snippet         save the selection as a snippet (Ctrl+Shift+S)

Exit status: 0 posted, 3 no session bus.
)text";

constexpr std::string_view snippetsHelp = R"text(Usage: velkoctl snippets set FILE|-
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
)text";

constexpr std::string_view rulesHelp = R"text(Usage: velkoctl rules set FILE|-
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
)text";

constexpr std::string_view storeHelp = R"text(Usage: velkoctl store connect|disconnect|status

The helper shows Velko as connected while Velko's store exists in the group container.
connect     creates an empty marker file there
disconnect  removes it again; a store that is not an empty file is left alone
status      says whether the store is there

Exit status: 0 done, 1 the store could not be created or removed.
)text";

constexpr std::string_view screenshotsHelp = R"text(Usage: velkoctl screenshots [--json]

Lists the screenshots the helper has staged for Velko, oldest first, one per line:
identifier, time staged, size in bytes, file name and the first line of the recognised
text, separated by tabs. A metadata file that cannot be read is skipped with a warning.

  --json   a JSON array of {"identifier", "filename", "timestamp", "fileSize" (a number),
           "isVideo" (a Boolean), "ocrText", "firstLine"}

Exit status: 0 done, 1 the staging folder cannot be read.
)text";

constexpr std::string_view gnomeShortcutsHelp = R"text(Usage: velkoctl gnome-shortcuts add|remove|list

GNOME 43 gives applications no global shortcuts. This binds the helper's three hotkeys as
GNOME custom keyboard shortcuts instead, each running velkoctl hotkey IDENTIFIER; they show in
Settings → Keyboard → View and Customize Shortcuts → Custom Shortcuts, where you can change
their keys or remove them.
add      adds (or puts back) the three: "Velko: clipboard history" on Ctrl+Shift+V, "Velko:
         search" on Ctrl+Shift+Space and "Velko: save snippet" on Ctrl+Shift+S
remove   removes these three and nothing else
list     prints each of the three: identifier, keys and command, or "not added"
Your own custom shortcuts are kept as they are. Runs gsettings.
GNOME then takes Ctrl+Shift+V also when the helper presses it for paste match, which opens
the history instead; give that shortcut other keys in Settings if you paste that way.

Exit status: 0 done, 1 gsettings or GNOME's keyboard settings are missing or refused.
)text";

const std::array<ControlCommand, 10> table{{
    {"ping", "ping [--timeout S]", "ask the helper for its pong and time the answer", pingHelp,
     parseOptions<true, false>, "", "--timeout", ""},
    {"paste", "paste [now|plain|match]", "ask the helper to paste into the focused window", pasteHelp, parsePaste,
     "now plain match", "--timeout", ""},
    {"watch", "watch [--json]", "print every notification on the link as it arrives", watchHelp,
     parseOptions<false, true>, "", "--json", ""},
    {"status", "status [--json]", "show which backend each capability uses", statusHelp, parseOptions<true, true>, "",
     "--json --timeout", ""},
    {"hotkey", "hotkey IDENTIFIER", "press one of the helper's hotkeys for Velko", hotkeyHelp, parseHotkey,
     "open_popover spotlight_launcher save_snippet", "", ""},
    {"snippets", "snippets set FILE|- | list", "store or show the snippet triggers", snippetsHelp, parseList,
     "set list", "--json", "set"},
    {"rules", "rules set FILE|- | list", "store or show the auto-paste rules", rulesHelp, parseList, "set list",
     "--json", "set"},
    {"store", "store connect|disconnect|status", "create, remove or test Velko's store marker", storeHelp, parseStore,
     "connect disconnect status", "", ""},
    {"screenshots", "screenshots [--json]", "list the screenshots staged for Velko", screenshotsHelp,
     parseOptions<false, true>, "", "--json", ""},
    {"gnome-shortcuts", "gnome-shortcuts add|remove|list", "bind the hotkeys in GNOME's custom shortcuts",
     gnomeShortcutsHelp, parseGnomeShortcuts, "add remove list", "", ""},
}};

}  // namespace

std::span<const ControlCommand> ControlCommandTable::commands() { return table; }

const ControlCommand* ControlCommandTable::find(std::string_view word) {
    for (const auto& command : table)
        if (command.word == word) return &command;
    return nullptr;
}

}  // namespace velko
