#pragma once
#include "Views/PreferencesWindowModel.h"
#include "platform/WindowSystem.h"

namespace velko {

class QtWindowSystem : public WindowSystem {
public:
    std::unique_ptr<Window> makePreferencesWindow(const PreferencesWindowModel& model, ButtonTarget& target) override;
};

}  // namespace velko
