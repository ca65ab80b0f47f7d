#pragma once
#include <functional>
#include <optional>
#include <string>

namespace velko {

// The keymap the person types with in this session, for turning raw key codes into text: the
// compositor does not hand its keymap to clients that are not focused.
class SessionKeymap {
public:
    struct Names {
        std::string rules, model, layout, variant, options;
        bool operator==(const Names&) const = default;
    };
    struct Found {
        std::string text;    // XKB keymap text; empty when none could be made
        std::string source;  // where it came from, for the log
    };
    using Environment = std::function<const char*(const char*)>;
    // Reads a desktop setting; nullopt when the desktop does not have it.
    using SettingReader = std::function<std::optional<std::string>()>;

    // Xwayland's keymap when it answers on DISPLAY (it follows the desktop's layout), else the
    // XKB_DEFAULT_* variables, else GNOME's input sources, else Plasma's keyboard settings, else
    // xkbcommon's default (us). Blocks for at most a few seconds on gsettings.
    static Found find(const Environment& environment, const SettingReader& gnomeSources,
                      const SettingReader& plasmaLayouts);

    // The core keyboard's keymap of the X server at display; empty text without one.
    static Found fromXServer(const std::string& display);
    static Found fromNames(const Names& names);

    // What `gsettings get org.gnome.desktop.input-sources sources` prints; nullopt without GNOME's settings.
    static std::optional<std::string> gnomeSources();
    // Plasma's kxkbrc; nullopt without one.
    static std::optional<std::string> plasmaSettings();
    // `gsettings get org.gnome.desktop.input-sources sources`, e.g. "[('xkb', 'de'), ('xkb', 'us+dvorak')]":
    // the xkb sources in order; nullopt when there is none.
    static std::optional<Names> fromGnomeSources(const std::string& gsettingsOutput);
    // Plasma's kxkbrc: its [Layout] LayoutList, VariantList and Options; nullopt without a layout.
    static std::optional<Names> fromPlasmaSettings(const std::string& kxkbrc);
};

}  // namespace velko
