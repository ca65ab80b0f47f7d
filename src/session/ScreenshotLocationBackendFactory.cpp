#include "session/ScreenshotLocationBackendFactory.h"

#include <cstdlib>

#include "Core/ScreenshotDirectory.h"
#include "desktoptools/FlameshotLocation.h"
#include "desktoptools/IniValues.h"
#include "desktoptools/SpectacleLocation.h"
#include "desktoptools/XfceScreenshooterLocation.h"
#include "gnome/GnomeScreenshotLocation.h"
#include "plist/PlistUserDefaults.h"
#include "posix/PosixFileSystem.h"
#include "session/DesktopSession.h"

namespace velko {

ScreenshotLocationBackendFactory::Choice ScreenshotLocationBackendFactory::choose() {
    // The desktop's own screenshot tool decides the folder, else Flameshot when the user gave it
    // one; every setting is read once at start.
    const std::string home = PosixFileSystem::currentHomeDirectory();
    const std::string config = PlistUserDefaults::configDirectoryFromEnvironment(home);
    const auto environment = [](const char* name) { return std::getenv(name); };
    const auto backend = [&](const char* tool, const std::string& file) {
        return std::string(tool) + "'s setting (" + ScreenshotDirectory::shown(config + "/" + file, home) + ")";
    };
    if (DesktopSession::runs("KDE", environment))
        return {std::make_unique<SpectacleLocation>(home, config),
                {"Screenshot folder", backend("Spectacle", "spectaclerc"), "XDG_CURRENT_DESKTOP names KDE"}};
    if (DesktopSession::runs("XFCE", environment))
        return {std::make_unique<XfceScreenshooterLocation>(home, config),
                {"Screenshot folder", backend("Xfce Screenshooter", "xfce4/xfce4-screenshooter"),
                 "XDG_CURRENT_DESKTOP names XFCE"}};
    if (FlameshotLocation::folderIn(IniValues::read(config + "/flameshot/flameshot.ini"), home))
        return {std::make_unique<FlameshotLocation>(home, config),
                {"Screenshot folder", backend("Flameshot", "flameshot/flameshot.ini"), "its savePath is set"}};
    return {std::make_unique<GnomeScreenshotLocation>(),
            {"Screenshot folder", "GNOME setting or XDG pictures folder", "read once at start"}};
}

}  // namespace velko
