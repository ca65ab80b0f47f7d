#include "Core/GlobalHotkeyManager.h"

#include "Core/HelperServices.h"

#include <cstdio>

#include "Core/HelperConstants.h"
#include "Core/HelperIPCManager.h"
#include "platform/FocusTracker.h"

namespace velko {

GlobalHotkeyManager::GlobalHotkeyManager(FilteringKeyTap& tap, MainQueue& mainQueue, NotificationCenter& center,
                                         FocusTracker& focus)
    : tap_(tap), mainQueue_(mainQueue), center_(center), focus_(focus) {}

GlobalHotkeyManager& GlobalHotkeyManager::shared() { return *HelperServices::current().hotkeys; }

void GlobalHotkeyManager::start() {
    registerDefaultBindings();

    std::vector<FilteringKeyTap::Combination> combinations;
    // Ctrl+Shift+V stays a terminal's paste key.
    for (const auto& binding : bindings) combinations.push_back({binding.keyCode, binding.modifiers});
    const bool created =
        tap_.create(combinations, [this](KeyCode keyCode, EventFlags flags) { return handleKeyDown(keyCode, flags); });
    if (!created) {
        std::printf("%s\n", tapFailureMessage.c_str());
        std::fflush(stdout);  // a log file would otherwise see it only at exit
        return;
    }
    isActive = true;
}

void GlobalHotkeyManager::registerDefaultBindings() {
    constexpr EventFlags commandShift = Flags::command | Flags::shift;
    const auto add = [this](std::string id, KeyCode key) {
        bindings.push_back(
            {id, key, commandShift, [this, id] { center_.post(HelperConstants::Notification::hotkeyActivated, id); }});
    };
    add("open_popover", KeyCodes::v);
    add("spotlight_launcher", KeyCodes::space);
    add("save_snippet", KeyCodes::s);
}

const GlobalHotkeyManager::HotkeyBinding* GlobalHotkeyManager::match(KeyCode keyCode, EventFlags flags) const {
    for (const auto& binding : bindings)
        if (binding.keyCode == keyCode && (binding.modifiers & ~flags) == 0) return &binding;
    return nullptr;
}

bool GlobalHotkeyManager::takes(KeyCode keyCode, EventFlags flags) const {
    return isActive.get() && match(keyCode, flags) != nullptr;
}

FilteringKeyTap::Verdict GlobalHotkeyManager::handleKeyDown(KeyCode keyCode, EventFlags flags) {
    const HotkeyBinding* binding = match(keyCode, flags);
    if (!binding) return FilteringKeyTap::Verdict::pass;
    if (binding->keyCode == KeyCodes::v) {
        const auto focus = focus_.focus();
        if (focus && focus->terminal) return FilteringKeyTap::Verdict::pass;
    }
    // The tap holds the keyboard until it returns: the action runs after, on its own turn.
    mainQueue_.async(binding->action);
    return FilteringKeyTap::Verdict::drop;
}

}  // namespace velko
