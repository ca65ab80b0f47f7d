#include "HelperAppDelegate.h"
#include "platform/Log.h"

#include <cstdio>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/GlobalHotkeyManager.h"
#include "Core/HelperConstants.h"
#include "Core/HelperIPCManager.h"
#include "Core/ScreenshotWatcher.h"
#include "Core/SharedDataReader.h"
#include "Core/TextExpansionEngine.h"
#include "platform/Platform.h"

namespace velko {

HelperAppDelegate::HelperAppDelegate(Services services, Environment environment)
    : services_(services), env_(environment) {
    env_.application.startUpdater();
}

std::unique_ptr<HelperAppDelegate> HelperAppDelegate::makeShared() {
    const auto& p = Platform::current();
    Services services{SharedDataReader::shared(), HelperIPCManager::shared(), AutoPasteRuleEngine::shared()};
    services.startHotkeys = [] { GlobalHotkeyManager::shared().start(); };
    services.startExpansion = [] { TextExpansionEngine::shared().start(); };
    services.startScreenshotWatcher = [] { ScreenshotWatcher::shared().start(); };
    services.isExpansionActive = [] { return TextExpansionEngine::shared().isActive.get(); };
    services.isHotkeysActive = [] { return GlobalHotkeyManager::shared().isActive.get(); };
    services.isScreenshotWatchActive = [] { return ScreenshotWatcher::shared().isActive.get(); };
    services.screenshotWatchReason = [] { return ScreenshotWatcher::shared().inactiveReason.get(); };
    return std::make_unique<HelperAppDelegate>(
        services, Environment{*p.trust, *p.statusBar, *p.defaults, *p.workspace, *p.application, *p.mainQueue,
                              p.windows, p.backends});
}

void HelperAppDelegate::applicationDidFinishLaunching() {
    services_.reader.initialize();
    services_.link.start();

    auto controller = std::make_unique<HelperStatusBarController>(env_.statusBar);
    controller->setup(*this);
    controller->accessibilityOK = env_.trust.isProcessTrusted();
    controller->velkoConnected = services_.reader.isConnected;
    controller->screenshotNote = screenshotWatchReason();
    controller->buildMenu(*this);
    statusBar_ = std::move(controller);

    // Keyboard services only when trusted at launch, where a grant asked for at launch counts once it
    // answers (bounded, while everything else goes on); never started later in this process.
    std::weak_ptr<HelperAppDelegate*> weakSelf = self_;
    auto decided = std::make_shared<bool>(false);
    auto decide = [weakSelf, decided] {
        if (*decided) return;
        *decided = true;
        if (const auto self = weakSelf.lock()) (*self)->startKeyboardServices();
    };
    env_.trust.whenSettled(decide);
    if (!*decided) env_.mainQueue.asyncAfter(launchGrantWait, decide);
    if (services_.startScreenshotWatcher) services_.startScreenshotWatcher();

    services_.rules.loadRules();
    statusBar_->ruleCount = static_cast<std::int64_t>(services_.rules.rules.get().size());
    log::info("Velko %s; %zu snippet triggers; %zu auto-paste rules",
              services_.reader.isConnected ? "connected" : "not detected",
              services_.reader.snippetTriggers.get().size(), services_.rules.rules.get().size());

    if (!env_.defaults.setBool(onboardingKey, true))
        log::warning("could not write onboardingComplete to the helper's defaults");

    env_.mainQueue.scheduleRepeating(heartbeatInterval, [weakSelf, queue = &env_.mainQueue] {
        // Deferred so that a refresh never runs inside whatever the timer interrupted.
        queue->async([weakSelf] {
            if (const auto self = weakSelf.lock()) (*self)->heartbeat();
        });
    });
}

void HelperAppDelegate::startKeyboardServices() {
    if (!env_.trust.isProcessTrusted()) {
        log::warning(
            "hotkeys and text expansion stay off: no input access at launch; "
            "they start at the next launch once access is granted");
        return;
    }
    // Each says for itself when it cannot start.
    log::info("input access at launch: starting hotkeys and text expansion");
    if (services_.startHotkeys) services_.startHotkeys();
    if (services_.startExpansion) services_.startExpansion();
}

void HelperAppDelegate::heartbeat() {
    if (!statusBar_) return;
    statusBar_->accessibilityOK = env_.trust.isProcessTrusted();
    statusBar_->velkoConnected = services_.reader.verifyConnection();
    statusBar_->screenshotNote = screenshotWatchReason();
    statusBar_->buildMenu(*this);
}

std::string HelperAppDelegate::screenshotWatchReason() const {
    return services_.screenshotWatchReason ? services_.screenshotWatchReason() : std::string();
}

void HelperAppDelegate::showPreferences() {
    // An open window keeps the snapshot it was built with.
    if (preferencesWindow_ && preferencesWindow_->isVisible()) {
        preferencesWindow_->orderFrontRegardless();
        return;
    }
    if (!env_.windows) return;
    auto window = env_.windows->makePreferencesWindow(PreferencesWindowModel::build(preferencesInputs()), *this);
    if (!window) return;
    window->center();
    preferencesWindow_ = std::move(window);  // a closed one is discarded here
    preferencesWindow_->orderFrontRegardless();
}

PreferencesWindowModel::Inputs HelperAppDelegate::preferencesInputs() {
    const auto read = [](const std::function<bool()>& isActive) { return isActive && isActive(); };
    PreferencesWindowModel::Inputs inputs;
    inputs.bundleVersion = env_.workspace.bundleInfoString(HelperConstants::bundleVersionKey);
    inputs.accessibilityGranted = env_.trust.isProcessTrusted();
    inputs.mainApplicationPresent = services_.reader.isConnected;
    inputs.features =
        PreferencesWindowModel::features(read(services_.isExpansionActive), read(services_.isHotkeysActive),
                                         read(services_.isScreenshotWatchActive), screenshotWatchReason());
    inputs.ruleCount = static_cast<std::int64_t>(services_.rules.rules.get().size());
    if (env_.backends) inputs.backends = *env_.backends;
    return inputs;
}

void HelperAppDelegate::doPreferences() { showPreferences(); }
void HelperAppDelegate::doPermissions() { openAccessibility(); }
void HelperAppDelegate::doQuit() { env_.application.terminate(); }
void HelperAppDelegate::openAccessibility() { open(env_.workspace.accessibilitySettingsAddress()); }
void HelperAppDelegate::openWebsite() { open(env_.workspace.websiteAddress()); }

void HelperAppDelegate::open(const std::string& address) {
    if (address.empty()) return;
    env_.workspace.openURL(address);
}

void HelperAppDelegate::perform(MenuAction action) {
    switch (action) {
        case MenuAction::doPreferences:
            doPreferences();
            break;
        case MenuAction::doPermissions:
            doPermissions();
            break;
        case MenuAction::doQuit:
            doQuit();
            break;
        case MenuAction::none:
            break;
    }
}

void HelperAppDelegate::perform(ButtonAction action) {
    switch (action) {
        case ButtonAction::openAccessibility:
            openAccessibility();
            break;
        case ButtonAction::openWebsite:
            openWebsite();
            break;
    }
}

}  // namespace velko
