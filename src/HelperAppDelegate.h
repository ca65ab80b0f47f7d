#pragma once
#include <functional>
#include <memory>

#include "Views/HelperStatusBarController.h"
#include "platform/StatusBar.h"

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
class HelperAppDelegate : public MenuTarget {
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
    };
    struct Environment {
        AccessibilityTrust& trust;
        StatusBar& statusBar;
        UserDefaults& defaults;
        Workspace& workspace;
        Application& application;
        MainQueue& mainQueue;
    };

    // Starts the updater, as the original did before launch finished.
    HelperAppDelegate(Services services, Environment environment);
    // The shared services on the installed platform.
    static std::unique_ptr<HelperAppDelegate> makeShared();

    void applicationDidFinishLaunching();
    void showPreferences();
    void doPreferences();
    void doPermissions();
    void doQuit();
    void perform(MenuAction action) override;

    HelperStatusBarController* statusBar() { return statusBar_.get(); }

    static inline const std::string onboardingKey = "onboardingComplete";
    static constexpr double heartbeatInterval = 5.0;

private:
    void heartbeat();
    void openWebsite();
    void openAccessibility();
    void open(const std::string& address);

    Services services_;
    Environment env_;
    std::unique_ptr<HelperStatusBarController> statusBar_;
    // Lets queued heartbeat blocks find out that the delegate is gone.
    std::shared_ptr<HelperAppDelegate*> self_ = std::make_shared<HelperAppDelegate*>(this);
};

}  // namespace velko
