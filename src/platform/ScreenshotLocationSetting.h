#pragma once
#include <optional>

#include "platform/Types.h"

namespace velko {

// The desktop's own idea of where screenshots are saved.
class ScreenshotLocationSetting {
public:
    virtual ~ScreenshotLocationSetting() = default;
    // The configured location as the setting spells it (not checked, "~" not expanded);
    // nullopt when nothing is configured or the setting cannot be read.
    virtual std::optional<Bytes> configuredLocation() = 0;
};

}  // namespace velko
