#include "desktoptools/XfceScreenshooterLocation.h"

#include <utility>

#include "desktoptools/IniValues.h"

namespace velko {

XfceScreenshooterLocation::XfceScreenshooterLocation(std::string home, std::string configDirectory)
    : home_(std::move(home)), configDirectory_(std::move(configDirectory)) {}

std::optional<std::string> XfceScreenshooterLocation::folderIn(const IniValues& ini, const std::string& home,
                                                               const std::string& pictures) {
    const auto value = ini.value("", "screenshot_dir");
    if (!value || value->empty()) return pictures;
    return IniValues::folderFromValue(*value, home);
}

std::optional<Bytes> XfceScreenshooterLocation::configuredLocation() {
    const auto folder = folderIn(IniValues::read(configDirectory_ + "/xfce4/xfce4-screenshooter"), home_,
                                 IniValues::picturesDirectory(home_, configDirectory_));
    if (!folder) return std::nullopt;
    return Bytes(folder->begin(), folder->end());
}

}  // namespace velko
