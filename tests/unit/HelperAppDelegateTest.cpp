#include <gtest/gtest.h>

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
    KeystrokeInjector injector{clock, keyboard};
    std::unique_ptr<SharedDataReader> reader;
    std::unique_ptr<HelperIPCManager> link;
    std::unique_ptr<AutoPasteRuleEngine> rules;
    std::unique_ptr<HelperAppDelegate> delegate;

    bool withLaterServices = false;

    void launch() {
        reader = std::make_unique<SharedDataReader>(fs, defaults);
        link = std::make_unique<HelperIPCManager>(center, trust, injector, workspace);
        rules = std::make_unique<AutoPasteRuleEngine>(defaults);
        HelperAppDelegate::Services services{*reader, *link, *rules};
        if (withLaterServices) {
            services.startHotkeys = [this] { log.push_back("start hotkeys"); };
            services.startExpansion = [this] { log.push_back("start expansion"); };
            services.startScreenshotWatcher = [this] { log.push_back("start screenshot watcher"); };
        }
        delegate = std::make_unique<HelperAppDelegate>(
            services, HelperAppDelegate::Environment{trust, statusBar, defaults, workspace, application, clock});
        delegate->applicationDidFinishLaunching();
    }
    std::string firstTwoTitles() const {
        const auto& menu = statusBar.menus.back();
        return menu[0].title + " / " + menu[1].title;
    }
};

TEST_F(HelperAppDelegateTest, LaunchRunsItsStepsInOrder) {
    launch();
    EXPECT_EQ(log, (Log{
                       "open suite group.app.velko",  // the reader opens the suite when first made
                       "updater",
                       "exists Velko.store",
                       "observe velko.helper.ping",
                       "observe velko.paste.now",
                       "observe velko.paste.plain",
                       "observe velko.paste.match",
                       "observe velko.expansion.trigger",
                       "post velko.helper.pong",
                       "status item paperclip.circle",
                       "menu",
                       "trust?",
                       "menu",
                       "trust?",
                       "open suite group.app.velko",
                       "set onboardingComplete",
                   }));
    EXPECT_TRUE(defaults.own.at("onboardingComplete"));
}

TEST_F(HelperAppDelegateTest, KeyboardServicesStartOnlyWhenTrustedAtLaunchAndBeforeTheWatcher) {
    auto startsIn = [](const Log& log) {
        Log starts;
        for (const auto& line : log)
            if (line.rfind("start ", 0) == 0 || line == "set onboardingComplete") starts.push_back(line);
        return starts;
    };
    withLaterServices = true;
    trust.trusted = true;
    launch();
    EXPECT_EQ(startsIn(log),
              (Log{"start hotkeys", "start expansion", "start screenshot watcher", "set onboardingComplete"}));

    log.clear();
    trust.trusted = false;
    launch();
    EXPECT_EQ(startsIn(log), (Log{"start screenshot watcher", "set onboardingComplete"}));
    // Trust granted later does not start them in this process.
    trust.trusted = true;
    clock.advance(30.0);
    EXPECT_EQ(startsIn(log), (Log{"start screenshot watcher", "set onboardingComplete"}));
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

}  // namespace
}  // namespace velko::test
