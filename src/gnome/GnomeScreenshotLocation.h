#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "platform/ScreenshotLocationSetting.h"

namespace velko {

// Where GNOME saves screenshots: gnome-screenshot's auto-save-directory when the user set one,
// else the Screenshots folder (under its translated name) in the XDG pictures directory, where
// GNOME Shell's screenshot tool saves.
class GnomeScreenshotLocation : public ScreenshotLocationSetting {
public:
    std::optional<Bytes> configuredLocation() override;

    // The path in what `gsettings get` printed for a string key ('file:///a%20b' gives /a b; a
    // value that is not a file URI is returned as written); nullopt for '' or unreadable output.
    static std::optional<std::string> pathFromGSettingsOutput(std::string_view output);
    // XDG_PICTURES_DIR from the text of user-dirs.dirs, "$HOME" replaced; nullopt when unset,
    // relative, or the home directory itself (which is how a folder is switched off there).
    static std::optional<std::string> picturesDirectoryFrom(std::string_view userDirs, const std::string& home);
    // A URI's %XX escapes undone; nullopt for a stray or malformed escape.
    static std::optional<std::string> percentDecoded(std::string_view text);

private:
    static std::optional<std::string> gsettingsValue();
    static std::optional<std::string> xdgScreenshotsFolder();
};

}  // namespace velko
