#pragma once
#include <functional>
#include <memory>

#include "Views/HelperStatusBarController.h"
#include "Views/MenuModel.h"
#include "Views/PreferencesWindowModel.h"
#include "platform/StatusBar.h"
#include "platform/WindowSystem.h"

namespace velko {

class AccessibilityTrust;
class Application;
class AutoPasteRuleEngine;
class HelperIPCManager;
class MainQueue;
class SharedDataReader;
class UserDefaults;
class Workspace;

// Launch order, the five-second heartbeat and the actions of the menu and windows.
class HelperAppDelegate : public MenuTarget, public ButtonTarget {
public:
    struct Services {
        SharedDataReader& reader;
        HelperIPCManager& link;
        AutoPasteRuleEngine& rules;
        // The keyboard services and the screenshot watcher; each is started at its place in the
        // launch sequence. Left empty where a service is not wanted (tests of other steps).
        std::function<void()> startHotkeys = {};
        std::function<void()> startExpansion = {};
        std::function<void()> startScreenshotWatcher = {};
        // Whether each of them is running now, read when the preferences window is built; an
        // empty one reads as not running.
        std::function<bool()> isExpansionActive = {};
        std::function<bool()> isHotkeysActive = {};
        std::function<bool()> isScreenshotWatchActive = {};
        // Why screenshots are not picked up now, for the menu and the window; empty while they are.
        std::function<std::string()> screenshotWatchReason = {};
    };
    struct Environment {
        AccessibilityTrust& trust;
        StatusBar& statusBar;
        UserDefaults& defaults;
        Workspace& workspace;
        Application& application;
        MainQueue& mainQueue;
        WindowSystem* windows = nullptr;           // none: the preferences window is never shown
        const BackendChoices* backends = nullptr;  // none: the window shows no backends
    };

    // Starts the updater first, before launch finishes.
    HelperAppDelegate(Services services, Environment environment);
    // The shared services on the installed platform.
    static std::unique_ptr<HelperAppDelegate> makeShared();

    void applicationDidFinishLaunching();
    void showPreferences();
    void doPreferences();
    void doPermissions();
    void doQuit();
    void perform(MenuAction action) override;
    void perform(ButtonAction action) override;

    HelperStatusBarController* statusBar() { return statusBar_.get(); }
    Window* preferencesWindow() { return preferencesWindow_.get(); }

    static inline const std::string onboardingKey = "onboardingComplete";
    static constexpr double heartbeatInterval = 5.0;
    // How long launch waits for the first answer to a grant asked for at launch.
    static constexpr double launchGrantWait = 30.0;

private:
    // The values the preferences window shows, read now, in the order the window reads them.
    PreferencesWindowModel::Inputs preferencesInputs();
    void heartbeat();
    std::string screenshotWatchReason() const;
    void startKeyboardServices();
    void openWebsite();
    void openAccessibility();
    void open(const std::string& address);

    Services services_;
    Environment env_;
    std::unique_ptr<HelperStatusBarController> statusBar_;
    std::unique_ptr<Window> preferencesWindow_;
    // Lets queued heartbeat blocks find out that the delegate is gone.
    std::shared_ptr<HelperAppDelegate*> self_ = std::make_shared<HelperAppDelegate*>(this);
};

}  // namespace velko
