#pragma once
#include <optional>
#include <string>

#include "platform/ScreenshotLocationSetting.h"

namespace velko {

class IniValues;

// Where Xfce's screenshooter saves screenshots, from its rc file.
class XfceScreenshooterLocation : public ScreenshotLocationSetting {
public:
    // Reads <configDirectory>/xfce4/xfce4-screenshooter.
    XfceScreenshooterLocation(std::string home, std::string configDirectory);
    std::optional<Bytes> configuredLocation() override;

    // screenshot_dir as a folder (see IniValues::folderFromValue); `pictures`, the tool's default, when unset.
    static std::optional<std::string> folderIn(const IniValues& ini, const std::string& home,
                                               const std::string& pictures);

private:
    std::string home_;
    std::string configDirectory_;
};

}  // namespace velko
