#pragma once
#include <optional>
#include <string>

#include "platform/ScreenshotLocationSetting.h"

namespace velko {

class IniValues;

// Where Flameshot saves screenshots, from its flameshot.ini.
class FlameshotLocation : public ScreenshotLocationSetting {
public:
    // Reads <configDirectory>/flameshot/flameshot.ini.
    FlameshotLocation(std::string home, std::string configDirectory);
    std::optional<Bytes> configuredLocation() override;

    // [General] savePath as a folder (see IniValues::folderFromValue); nullopt when unset or unusable.
    static std::optional<std::string> folderIn(const IniValues& ini, const std::string& home);

private:
    std::string home_;
    std::string configDirectory_;
};

}  // namespace velko
