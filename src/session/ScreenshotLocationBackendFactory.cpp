#include "session/ScreenshotLocationBackendFactory.h"

#include <cstdlib>

#include "Core/ScreenshotDirectory.h"
#include "gnome/GnomeScreenshotLocation.h"
#include "plasma/SpectacleLocation.h"
#include "plist/PlistUserDefaults.h"
#include "posix/PosixFileSystem.h"
#include "session/DesktopSession.h"

namespace velko {

ScreenshotLocationBackendFactory::Choice ScreenshotLocationBackendFactory::choose() {
    // Each desktop's own screenshot tool decides the folder; all are read once at start.
    if (DesktopSession::runs("KDE", [](const char* name) { return std::getenv(name); })) {
        const std::string home = PosixFileSystem::currentHomeDirectory();
        const std::string config = PlistUserDefaults::configDirectoryFromEnvironment(home);
        return {std::make_unique<SpectacleLocation>(home, config),
                {"Screenshot folder",
                 "Spectacle's setting (" + ScreenshotDirectory::shown(config + "/spectaclerc", home) + ")",
                 "XDG_CURRENT_DESKTOP names KDE"}};
    }
    return {std::make_unique<GnomeScreenshotLocation>(),
            {"Screenshot folder", "GNOME setting or XDG pictures folder", "read once at start"}};
}

}  // namespace velko
