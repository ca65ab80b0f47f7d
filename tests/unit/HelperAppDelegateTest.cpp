#include <gtest/gtest.h>

#include <algorithm>

#include "Core/AutoPasteRuleEngine.h"
#include "Core/HelperIPCManager.h"
#include "Core/KeystrokeInjector.h"
#include "Core/SharedDataReader.h"
#include "HelperAppDelegate.h"
#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

const std::string storePath = "/home/ada/Library/Group Containers/group.app.velko/Velko.store";

// One launched delegate on fakes; the keyboard services and the watcher report their state through
// the flags, and windows are shown on the fake window system unless a test takes it away.
struct HelperAppDelegateTest : ::testing::Test {
    Log log;
    VirtualClock clock;
    FakeNotificationCenter center{&log};
    FakeTrust trust{false, &log};
    FakeKeyboard keyboard;
    FakeWorkspace workspace;
    FakeFileSystem fs{&log};
    FakeDefaults defaults{&log};
    FakeApplication application{&log};
    FakeStatusBar statusBar{&log};
    FakeWindowSystem windows;
    KeystrokeInjector injector{clock, keyboard};
    std::unique_ptr<SharedDataReader> reader;
    std::unique_ptr<HelperIPCManager> link;
    std::unique_ptr<AutoPasteRuleEngine> rules;
    std::unique_ptr<HelperAppDelegate> delegate;
    bool hotkeysActive = false, expansionActive = false, watcherActive = false;
    bool reportsState = true;
    BackendChoices backends;

    void launch(WindowSystem* windowSystem = nullptr) {
        reader = std::make_unique<SharedDataReader>(fs, defaults);
        link = std::make_unique<HelperIPCManager>(center, trust, injector, workspace);
        rules = std::make_unique<AutoPasteRuleEngine>(defaults);
        HelperAppDelegate::Services services{*reader, *link, *rules};
        services.startHotkeys = [this] { log.push_back("start hotkeys"); };
        services.startExpansion = [this] { log.push_back("start expansion"); };
        services.startScreenshotWatcher = [this] { log.push_back("start screenshot watcher"); };
        if (reportsState) {
            services.isExpansionActive = [this] { return expansionActive; };
            services.isHotkeysActive = [this] { return hotkeysActive; };
            services.isScreenshotWatchActive = [this] { return watcherActive; };
        }
        delegate = std::make_unique<HelperAppDelegate>(
            services, HelperAppDelegate::Environment{trust, statusBar, defaults, workspace, application, clock,
                                                     windowSystem, &backends});
        delegate->applicationDidFinishLaunching();
    }
    // Trusted, with Velko's store and one rule: what the preferences window tests start from.
    void launchWithWindows() {
        trust.trusted = true;
        fs.paths.insert(storePath);
        defaults.setJson("helperAutoRules", R"([{"bundleId":"a","action":"lowercase"}])");
        launch(&windows);
    }
    std::string firstTwoTitles() const {
        const auto& menu = statusBar.menus.back();
        return menu[0].title + " / " + menu[1].title;
    }
    Log only(std::initializer_list<std::string> wanted) const {
        Log kept;
        for (const auto& line : log)
            if (std::any_of(wanted.begin(), wanted.end(), [&](const auto& w) { return line.rfind(w, 0) == 0; }))
                kept.push_back(line);
        return kept;
    }
    FakeWindowSystem::State& window(std::size_t i) { return *windows.windows.at(i); }
    std::string status(std::size_t i, std::size_t row) { return window(i).model.statusCard.rows.at(row).status.text; }
    std::string featureStatus(std::size_t i, std::size_t row) {
        return window(i).model.featuresCard.rows.at(row).status.text;
    }
};

// What launch visibly does, in order: Velko learns of the helper before any file is read or the
// tray item shows the state, the keyboard services start only when trusted, before the watcher,
// and the key is written last.
TEST_F(HelperAppDelegateTest, LaunchOrderAsTheDesktopSeesIt) {
    trust.trusted = true;
    launch();
    EXPECT_EQ(only({"post", "exists", "status item", "start", "set"}),
              (Log{"post velko.helper.pong", "exists Velko.store", "status item paperclip.circle", "start hotkeys",
                   "start expansion", "start screenshot watcher", "set onboardingComplete"}));
    EXPECT_TRUE(defaults.own.at("onboardingComplete"));

    log.clear();
    trust.trusted = false;
    launch();
    EXPECT_EQ(only({"start", "set"}), (Log{"start screenshot watcher", "set onboardingComplete"}));
    // Trust granted later does not start them in this process.
    trust.trusted = true;
    clock.advance(30.0);
    EXPECT_EQ(only({"start", "set"}), (Log{"start screenshot watcher", "set onboardingComplete"}));
}

TEST_F(HelperAppDelegateTest, FirstMenuAfterLaunchShowsTheStateFoundAtLaunch) {
    fs.paths.insert(storePath);
    trust.trusted = true;
    launch();
    ASSERT_EQ(statusBar.menus.size(), 2u);
    EXPECT_EQ(firstTwoTitles(), "Connected to Velko / Accessibility granted");
    EXPECT_EQ(statusBar.lastTarget, delegate.get());
}

TEST_F(HelperAppDelegateTest, RuleCountIsTakenOnceAtLaunch) {
    defaults.setJson("helperAutoRules",
                     R"([{"bundleId":"a","action":"lowercase"},{"bundleId":"b","action":"blockPaste"}])");
    launch();
    EXPECT_EQ(delegate->statusBar()->ruleCount, 2);
}

TEST_F(HelperAppDelegateTest, HeartbeatRefreshesBothStatesEveryFiveSeconds) {
    launch();
    EXPECT_EQ(firstTwoTitles(), "Velko not detected / Accessibility needed");
    const auto menusAtLaunch = statusBar.menus.size();

    fs.paths.insert(storePath);
    trust.trusted = true;
    clock.advance(4.9);
    EXPECT_EQ(statusBar.menus.size(), menusAtLaunch);
    clock.advance(0.1);
    EXPECT_EQ(statusBar.menus.size(), menusAtLaunch + 1);
    EXPECT_EQ(firstTwoTitles(), "Connected to Velko / Accessibility granted");
    EXPECT_TRUE(reader->isConnected);

    fs.paths.clear();
    clock.advance(5.0);
    EXPECT_EQ(firstTwoTitles(), "Velko not detected / Accessibility granted");
    clock.advance(50.0);
    EXPECT_EQ(statusBar.menus.size(), menusAtLaunch + 12);  // rebuilt whether or not anything changed
}

TEST_F(HelperAppDelegateTest, HeartbeatAfterTheDelegateIsGoneDoesNothing) {
    launch();
    const auto menus = statusBar.menus.size();
    delegate.reset();
    clock.advance(20.0);
    EXPECT_EQ(statusBar.menus.size(), menus);
}

TEST_F(HelperAppDelegateTest, MenuActionsReachTheDesktop) {
    launch();
    delegate->perform(MenuAction::doPermissions);
    EXPECT_EQ(workspace.opened, (std::vector<std::string>{workspace.accessibilitySettingsAddress()}));
    delegate->perform(MenuAction::doQuit);
    EXPECT_EQ(application.terminated, 1);
}

TEST(HelperStatusBarMenu, TheFourMenus) {
    for (bool connected : {false, true}) {
        for (bool trusted : {false, true}) {
            const auto menu = HelperStatusBarController::menuFor(connected, trusted);
            ASSERT_EQ(menu.size(), 7u);
            EXPECT_EQ(menu[0].title, connected ? "Connected to Velko" : "Velko not detected");
            EXPECT_FALSE(menu[0].enabled);
            EXPECT_EQ(menu[0].action, MenuAction::none);
            EXPECT_EQ(menu[1].title, trusted ? "Accessibility granted" : "Accessibility needed");
            EXPECT_EQ(menu[1].enabled, !trusted);
            EXPECT_EQ(menu[1].action, trusted ? MenuAction::none : MenuAction::doPermissions);
            EXPECT_TRUE(menu[2].separator);
            EXPECT_TRUE(menu[5].separator);
            EXPECT_EQ(menu[3], (MenuEntry{false, "Preferences...", MenuAction::doPreferences, true, ",", true}));
            EXPECT_EQ(menu[4], (MenuEntry{false, "Permissions...", MenuAction::doPermissions, true, "", true}));
            EXPECT_EQ(menu[6], (MenuEntry{false, "Quit Velko Helper", MenuAction::doQuit, true, "q", true}));
            EXPECT_EQ(menu, HelperStatusBarController::menuFor(connected, trusted));
        }
    }
}

TEST(HelperStatusBarMenu, NoMenuIsInstalledBeforeSetup) {
    FakeStatusBar statusBar;
    FakeApplication application;
    HelperStatusBarController controller(statusBar);
    struct : MenuTarget {
        void perform(MenuAction) override {}
    } target;
    controller.buildMenu(target);
    EXPECT_TRUE(statusBar.menus.empty());
    controller.setup(target);
    EXPECT_EQ(statusBar.items, 1);
    EXPECT_EQ(statusBar.menus.size(), 1u);
}

TEST_F(HelperAppDelegateTest, AVisibleWindowIsBroughtForwardUnchanged) {
    launchWithWindows();
    delegate->perform(MenuAction::doPreferences);
    ASSERT_EQ(windows.windows.size(), 1u);
    EXPECT_EQ(window(0).centred, 1);
    EXPECT_EQ(window(0).broughtForward, 1);
    EXPECT_TRUE(window(0).visible);
    EXPECT_EQ(window(0).target, delegate.get());
    EXPECT_EQ(delegate->preferencesWindow() != nullptr, true);

    // The state changes while it is open; the open window is a snapshot and stays as it is.
    trust.trusted = false;
    fs.paths.clear();
    clock.advance(10.0);
    delegate->showPreferences();
    EXPECT_EQ(windows.windows.size(), 1u);
    EXPECT_EQ(window(0).broughtForward, 2);
    EXPECT_EQ(window(0).centred, 1);  // not moved either
    EXPECT_EQ(status(0, 0), "Granted");
    EXPECT_FALSE(window(0).destroyed);
}

TEST_F(HelperAppDelegateTest, AClosedWindowIsReplacedByOneWithCurrentValues) {
    launchWithWindows();
    delegate->showPreferences();
    EXPECT_EQ(status(0, 0), "Granted");
    EXPECT_EQ(status(0, 1), "Connected");

    window(0).visible = false;  // the user closes it
    trust.trusted = false;
    fs.paths.clear();
    reader->verifyConnection();
    hotkeysActive = true;
    delegate->showPreferences();
    ASSERT_EQ(windows.windows.size(), 2u);
    EXPECT_TRUE(window(0).destroyed);
    EXPECT_TRUE(window(1).visible);
    EXPECT_EQ(window(1).centred, 1);
    EXPECT_EQ(status(1, 0), "Not granted");
    EXPECT_EQ(status(1, 1), "Not detected");
    EXPECT_EQ(featureStatus(1, 1), "Active");
    EXPECT_TRUE(window(1).model.statusCard.rows[0].button.has_value());
}

TEST_F(HelperAppDelegateTest, InputsAreReadWhenTheWindowIsBuilt) {
    launchWithWindows();
    expansionActive = true;
    watcherActive = true;
    // The window shows the last published connection state; building it checks nothing anew.
    fs.paths.clear();
    const auto checks = [this] { return std::count(log.begin(), log.end(), "exists Velko.store"); };
    const auto checksBefore = checks();
    delegate->showPreferences();
    EXPECT_EQ(checks(), checksBefore);
    EXPECT_EQ(status(0, 1), "Connected");

    const auto& m = window(0).model;
    EXPECT_EQ(m.version.text, "Version 2.4.1");
    EXPECT_EQ(featureStatus(0, 0), "Active");
    EXPECT_EQ(featureStatus(0, 1), "Off");
    EXPECT_EQ(featureStatus(0, 2), "Active");
    EXPECT_EQ(featureStatus(0, 3), "1 configured");

    window(0).visible = false;
    workspace.version = std::nullopt;
    delegate->showPreferences();
    EXPECT_EQ(window(1).model.version.text, "Version 1.0.0");
}

TEST_F(HelperAppDelegateTest, ServicesWithoutAStateReadAsOff) {
    reportsState = false;
    launchWithWindows();
    delegate->showPreferences();
    for (std::size_t row = 0; row < 3; ++row) EXPECT_EQ(featureStatus(0, row), "Off");
}

TEST_F(HelperAppDelegateTest, TheWindowListsTheBackendsBelowEverythingElse) {
    backends = {{"Input", "X11 (XTEST)", ""}, {"Hotkeys", "off", ""}};
    launchWithWindows();
    delegate->showPreferences();
    const auto& m = window(0).model;
    ASSERT_EQ(m.backendsCard.rows.size(), 2u);
    EXPECT_EQ(m.backendsCard.rows[1].title.text + ": " + m.backendsCard.rows[1].status.text, "Hotkeys: off");
    EXPECT_GT(m.backendsCard.frame.y, m.buttonRow.frame.y + m.buttonRow.frame.height);
    EXPECT_GE(m.window.documentHeight, m.backendsCard.frame.y + m.backendsCard.frame.height);
}

TEST_F(HelperAppDelegateTest, ButtonsOpenTheSamePagesAsTheMenu) {
    launchWithWindows();
    delegate->showPreferences();
    ButtonTarget& target = *window(0).target;
    target.perform(ButtonAction::openAccessibility);
    delegate->perform(MenuAction::doPermissions);
    target.perform(ButtonAction::openWebsite);
    EXPECT_EQ(workspace.opened,
              (std::vector<std::string>{workspace.accessibilitySettingsAddress(),
                                        workspace.accessibilitySettingsAddress(), workspace.websiteAddress()}));
}

TEST_F(HelperAppDelegateTest, NowhereToShowAWindowIsNotAnError) {
    launch();
    delegate->showPreferences();
    EXPECT_EQ(delegate->preferencesWindow(), nullptr);

    windows.noScreen = true;
    launch(&windows);
    delegate->showPreferences();
    delegate->showPreferences();
    EXPECT_EQ(delegate->preferencesWindow(), nullptr);
    windows.noScreen = false;
    delegate->showPreferences();
    EXPECT_EQ(windows.windows.size(), 1u);
}

}  // namespace
}  // namespace velko::test
