#pragma once
#include <optional>
#include <string>

#include "platform/ScreenshotLocationSetting.h"

namespace velko {

class IniValues;

// Where KDE Plasma's Spectacle saves screenshots, from its spectaclerc.
class SpectacleLocation : public ScreenshotLocationSetting {
public:
    // Reads <configDirectory>/spectaclerc and <configDirectory>/user-dirs.dirs.
    SpectacleLocation(std::string home, std::string configDirectory);
    std::optional<Bytes> configuredLocation() override;

    // The folder that spectaclerc names: [ImageSave] imageSaveLocation (Spectacle 6), else
    // [General] defaultSaveLocation (5.x), as a file URI, an absolute path or one under "~"/$HOME;
    // nullopt for any other value (relative, another host's). Without either key, Spectacle's own
    // default: `pictures` on 5.x (a file with [General] but no [ImageSave]), else pictures/Screenshots.
    static std::optional<std::string> folderIn(const IniValues& spectaclerc, const std::string& home,
                                               const std::string& pictures);

private:
    std::string home_;
    std::string configDirectory_;
};

}  // namespace velko
