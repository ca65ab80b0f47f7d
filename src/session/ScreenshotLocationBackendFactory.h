#pragma once
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/ScreenshotLocationSetting.h"

namespace velko {

// Picks where the desktop's screenshot folder setting is read from.
class ScreenshotLocationBackendFactory {
public:
    struct Choice {
        std::unique_ptr<ScreenshotLocationSetting> setting;
        BackendChoice choice;
    };
    static Choice choose();
};

}  // namespace velko
