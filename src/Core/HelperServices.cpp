#include "Core/HelperServices.h"
#include "platform/Log.h"

#include <cstdio>
#include <cstdlib>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/GlobalHotkeyManager.h"
#include "Core/HelperIPCManager.h"
#include "Core/KeystrokeInjector.h"
#include "Core/ScreenshotWatcher.h"
#include "Core/SharedDataReader.h"
#include "Core/TextExpansionEngine.h"

namespace velko {

namespace {
HelperServices* installed = nullptr;
}

HelperServices::HelperServices(const Platform& p)
    : reader(std::make_unique<SharedDataReader>(*p.fileSystem, *p.defaults)),
      injector(std::make_unique<KeystrokeInjector>(*p.clock, *p.keyboard, *p.focus)),
      link(std::make_unique<HelperIPCManager>(*p.notifications, *p.trust, *injector, *p.workspace)),
      hotkeys(std::make_unique<GlobalHotkeyManager>(*p.filteringTap, *p.mainQueue, link->dnc(), *p.focus)),
      expansion(std::make_unique<TextExpansionEngine>(*p.trust, *reader, *p.keyEventTap, *hotkeys, *p.pasteboard,
                                                      *p.userSession, *injector, *p.mainQueue, *p.focus)),
      screenshots(std::make_unique<ScreenshotWatcher>(ScreenshotWatcher::Environment{
          *p.mainQueue, link->dnc(), *p.fileSystem, *p.screenshotLocation, *p.directoryMonitor, *p.captureFiles,
          *p.backgroundQueue, *p.textRecognizer, *p.captureJournal})),
      rules(std::make_unique<AutoPasteRuleEngine>(*p.defaults)) {}

HelperServices::~HelperServices() {
    if (installed == this) installed = nullptr;
}

void HelperServices::install(HelperServices& services) { installed = &services; }

HelperServices& HelperServices::current() {
    if (!installed) {
        log::error("a shared service was used before the services were built");
        std::abort();
    }
    return *installed;
}

}  // namespace velko
