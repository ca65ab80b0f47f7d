#pragma once
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Result.h"

namespace velko {

// The helper's three hotkeys as entries of GNOME's custom keyboard shortcuts, where GNOME 43, which
// has no global shortcuts for applications, runs a command for each. Settings lists every path in
// media-keys' custom-keybindings; the helper's own paths tell its entries from the person's.
class GnomeCustomShortcuts {
public:
    static constexpr std::string_view listSchema = "org.gnome.settings-daemon.plugins.media-keys";
    static constexpr std::string_view listKey = "custom-keybindings";
    static constexpr std::string_view entrySchema = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";

    struct Entry {
        std::string_view identifier;
        std::string_view path;
        std::string_view name;
        std::string_view binding;
    };
    static std::span<const Entry> entries();

    // The paths of a GVariant string array as gsettings prints it ("['/a/', '/b/']", "@as []"),
    // or why it is not one.
    static Result<std::vector<std::string>> parseList(std::string_view text);
    static std::string printList(const std::vector<std::string>& paths);
    // A GVariant string literal of text, for gsettings set.
    static std::string quoted(std::string_view text);
    // The command for one identifier, with velkoctl at path quoted as GLib's shell parser reads it.
    static std::string command(std::string_view velkoctl, std::string_view identifier);

    // paths as they are, with those of the helper's three that are missing appended.
    static std::vector<std::string> withEntries(const std::vector<std::string>& paths);
    // paths as they are, less the helper's three.
    static std::vector<std::string> withoutEntries(const std::vector<std::string>& paths);
};

}  // namespace velko
