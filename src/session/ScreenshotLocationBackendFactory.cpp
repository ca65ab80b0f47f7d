#include "session/ScreenshotLocationBackendFactory.h"

#include "gnome/GnomeScreenshotLocation.h"

namespace velko {

ScreenshotLocationBackendFactory::Choice ScreenshotLocationBackendFactory::choose() {
    // GNOME's setting when gsettings has it, else the XDG pictures folder: both are asked at start.
    return {std::make_unique<GnomeScreenshotLocation>(),
            {"Screenshot folder", "GNOME setting or XDG pictures folder", "read once at start"}};
}

}  // namespace velko
