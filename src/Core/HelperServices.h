#pragma once
#include <memory>

#include "platform/Platform.h"

namespace velko {

class AutoPasteRuleEngine;
class GlobalHotkeyManager;
class HelperIPCManager;
class KeystrokeInjector;
class ScreenshotWatcher;
class SharedDataReader;
class TextExpansionEngine;

// Every service of the helper, built together on one platform in the order launch starts them.
// Building does nothing but wire: no file is read and nothing is posted until launch calls in.
// Each service's shared() reaches its instance here.
class HelperServices {
public:
    explicit HelperServices(const Platform& platform);
    ~HelperServices();

    // Makes these the instances shared() returns; the entry point does this once.
    static void install(HelperServices& services);
    // Aborts with a message when nothing was installed: a programming error, not a runtime state.
    static HelperServices& current();

    std::unique_ptr<SharedDataReader> reader;
    std::unique_ptr<KeystrokeInjector> injector;
    std::unique_ptr<HelperIPCManager> link;
    std::unique_ptr<GlobalHotkeyManager> hotkeys;
    std::unique_ptr<TextExpansionEngine> expansion;
    std::unique_ptr<ScreenshotWatcher> screenshots;
    std::unique_ptr<AutoPasteRuleEngine> rules;
};

}  // namespace velko
