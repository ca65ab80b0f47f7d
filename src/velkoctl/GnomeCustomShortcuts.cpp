#include "velkoctl/GnomeCustomShortcuts.h"

#include <algorithm>
#include <array>

namespace velko {

namespace {

const std::array<GnomeCustomShortcuts::Entry, 3> table{{
    {"open_popover", "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/velko-open-popover/",
     "Velko: clipboard history", "<Control><Shift>v"},
    {"spotlight_launcher", "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/velko-spotlight-launcher/",
     "Velko: search", "<Control><Shift>space"},
    {"save_snippet", "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/velko-save-snippet/",
     "Velko: save snippet", "<Control><Shift>s"},
}};

bool ours(std::string_view path) {
    return std::ranges::any_of(table, [&](const auto& entry) { return entry.path == path; });
}

}  // namespace

std::span<const GnomeCustomShortcuts::Entry> GnomeCustomShortcuts::entries() { return table; }

Result<std::vector<std::string>> GnomeCustomShortcuts::parseList(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.remove_suffix(1);
    if (text.starts_with("@as ")) text.remove_prefix(4);
    if (text.size() < 2 || text.front() != '[' || text.back() != ']')
        return Failure{"custom-keybindings is not a list of paths: " + std::string(text)};
    text = text.substr(1, text.size() - 2);
    std::vector<std::string> paths;
    while (!text.empty()) {
        const char quote = text.front();
        const auto end = text.find(quote, 1);
        // dconf paths hold neither quotes nor backslashes, so no escapes to undo.
        if ((quote != '\'' && quote != '"') || end == std::string_view::npos ||
            text.substr(1, end - 1).find('\\') != std::string_view::npos)
            return Failure{"custom-keybindings holds something other than plain paths"};
        paths.emplace_back(text.substr(1, end - 1));
        text.remove_prefix(end + 1);
        if (text.starts_with(", "))
            text.remove_prefix(2);
        else if (!text.empty())
            return Failure{"custom-keybindings holds something other than plain paths"};
    }
    return paths;
}

std::string GnomeCustomShortcuts::printList(const std::vector<std::string>& paths) {
    if (paths.empty()) return "@as []";
    std::string text = "[";
    for (const auto& path : paths) text += (text.size() > 1 ? ", " : "") + quoted(path);
    return text + "]";
}

std::string GnomeCustomShortcuts::quoted(std::string_view text) {
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') out += '\\';
        out += c;
    }
    return out + "'";
}

std::string GnomeCustomShortcuts::command(std::string_view velkoctl, std::string_view identifier) {
    std::string path(velkoctl);
    if (path.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/._+-") !=
        std::string::npos) {
        std::string quotedPath = "'";
        for (const char c : path) quotedPath += c == '\'' ? std::string("'\\''") : std::string(1, c);
        path = quotedPath + "'";
    }
    return path + " hotkey " + std::string(identifier);
}

std::vector<std::string> GnomeCustomShortcuts::withEntries(const std::vector<std::string>& paths) {
    std::vector<std::string> result = paths;
    for (const auto& entry : table)
        if (std::ranges::find(result, entry.path) == result.end()) result.emplace_back(entry.path);
    return result;
}

std::vector<std::string> GnomeCustomShortcuts::withoutEntries(const std::vector<std::string>& paths) {
    std::vector<std::string> result;
    for (const auto& path : paths)
        if (!ours(path)) result.push_back(path);
    return result;
}

}  // namespace velko
