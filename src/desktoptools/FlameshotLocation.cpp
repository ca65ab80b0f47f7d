#include "desktoptools/FlameshotLocation.h"

#include <utility>

#include "desktoptools/IniValues.h"

namespace velko {

FlameshotLocation::FlameshotLocation(std::string home, std::string configDirectory)
    : home_(std::move(home)), configDirectory_(std::move(configDirectory)) {}

std::optional<std::string> FlameshotLocation::folderIn(const IniValues& ini, const std::string& home) {
    const auto value = ini.value("General", "savePath");
    if (!value || value->empty()) return std::nullopt;
    return IniValues::folderFromValue(*value, home);
}

std::optional<Bytes> FlameshotLocation::configuredLocation() {
    const auto folder = folderIn(IniValues::read(configDirectory_ + "/flameshot/flameshot.ini"), home_);
    if (!folder) return std::nullopt;
    return Bytes(folder->begin(), folder->end());
}

}  // namespace velko
