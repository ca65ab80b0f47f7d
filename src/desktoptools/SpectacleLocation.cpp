#include "desktoptools/SpectacleLocation.h"

#include <utility>

#include "desktoptools/IniValues.h"

namespace velko {

SpectacleLocation::SpectacleLocation(std::string home, std::string configDirectory)
    : home_(std::move(home)), configDirectory_(std::move(configDirectory)) {}

std::optional<std::string> SpectacleLocation::folderIn(const IniValues& ini, const std::string& home,
                                                       const std::string& pictures) {
    for (auto [group, key] : {std::pair{"ImageSave", "imageSaveLocation"}, {"General", "defaultSaveLocation"}}) {
        const auto value = ini.value(group, key);
        if (value && !value->empty()) return IniValues::folderFromValue(*value, home);
    }
    if (ini.hasGroup("General") && !ini.hasGroup("ImageSave")) return pictures;
    return pictures + "/Screenshots";
}

std::optional<Bytes> SpectacleLocation::configuredLocation() {
    // A missing, unreadable or oversized file leaves Spectacle on its defaults.
    const auto folder = folderIn(IniValues::read(configDirectory_ + "/spectaclerc"), home_,
                                 IniValues::picturesDirectory(home_, configDirectory_));
    if (!folder) return std::nullopt;
    return Bytes(folder->begin(), folder->end());
}

}  // namespace velko
