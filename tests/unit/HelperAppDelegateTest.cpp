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

// One launched delegate on fakes; the keyboard services and the watcher report their state through
// the flags, and windows are shown on the fake window system unless a test takes it away.
struct HelperAppDelegateTest : ::testing::Test {
    VirtualClock clock;
    FakeNotificationCenter center;
    FakeTrust trust{false};
    FakeKeyboard keyboard;
    FakeWorkspace workspace;
    FakeFileSystem fs;
    FakeDefaults defaults;
    FakeApplication application;
    FakeStatusBar statusBar;
    FakeWindowSystem windows;
    FakeFocusTracker focus;
    KeystrokeInjector injector{clock, keyboard, focus};
    std::unique_ptr<SharedDataReader> reader;
    std::unique_ptr<HelperIPCManager> link;
    std::unique_ptr<AutoPasteRuleEngine> rules;
    std::unique_ptr<HelperAppDelegate> delegate;
    Log started;
    bool hotkeysActive = false, expansionActive = false, watcherActive = false;
    std::string watcherReason;
    bool reportsState = true;
    BackendChoices backends;

    void launch(WindowSystem* windowSystem = nullptr) {
        reader = std::make_unique<SharedDataReader>(fs, defaults);
        link = std::make_unique<HelperIPCManager>(center, trust, injector, workspace);
        rules = std::make_unique<AutoPasteRuleEngine>(defaults);
        HelperAppDelegate::Services services{*reader, *link, *rules};
        services.startHotkeys = [this] { started.push_back("hotkeys"); };
        services.startExpansion = [this] { started.push_back("expansion"); };
        services.startScreenshotWatcher = [this] { started.push_back("screenshot watcher"); };
        if (reportsState) {
            services.isExpansionActive = [this] { return expansionActive; };
            services.isHotkeysActive = [this] { return hotkeysActive; };
            services.isScreenshotWatchActive = [this] { return watcherActive; };
            services.screenshotWatchReason = [this] { return watcherReason; };
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
    FakeWindowSystem::State& window(std::size_t i) { return *windows.windows.at(i); }
    std::string status(std::size_t i, std::size_t row) { return window(i).model.statusCard.rows.at(row).status.text; }
    std::string featureStatus(std::size_t i, std::size_t row) {
        return window(i).model.featuresCard.rows.at(row).status.text;
    }
};

// The keyboard services start only when trusted at launch, the watcher always.
TEST_F(HelperAppDelegateTest, LaunchStartsTheKeyboardServicesOnlyWhenTrusted) {
    trust.trusted = true;
    fs.paths.insert(storePath);
    launch();
    EXPECT_EQ(started, (Log{"hotkeys", "expansion", "screenshot watcher"}));
    EXPECT_TRUE(defaults.own.at("onboardingComplete"));
    // The first menu already shows the state found at launch, and its entries reach the delegate.
    EXPECT_EQ(firstTwoTitles(), "Connected to Velko / Accessibility granted");
    EXPECT_EQ(statusBar.lastTarget, delegate.get());

    started.clear();
    trust.trusted = false;
    launch();
    // Trust granted later does not start them in this process.
    trust.trusted = true;
    clock.advance(30.0);
    EXPECT_EQ(started, (Log{"screenshot watcher"}));
}

// A grant asked for at launch (a portal's dialog) counts as access at launch once it answers,
// within 30 s; the rest of the launch does not wait for it.
TEST_F(HelperAppDelegateTest, AGrantAnsweredDuringLaunchStartsTheKeyboardServicesOnce) {
    for (const bool granted : {true, false}) {
        started.clear();
        trust.trusted = false;
        trust.pending = true;
        launch();
        EXPECT_EQ(started, (Log{"screenshot watcher"}));
        clock.advance(12.0);
        trust.answer(granted);
        EXPECT_EQ(started, granted ? (Log{"screenshot watcher", "hotkeys", "expansion"}) : (Log{"screenshot watcher"}));
        clock.advance(30.0);  // the bound passing later changes nothing
        EXPECT_EQ(started.size(), granted ? 3u : 1u);
    }
    // Unanswered, launch decides without it after 30 s; an answer after that starts nothing.
    started.clear();
    trust.pending = true;
    trust.trusted = false;
    launch();
    clock.advance(29.0);
    trust.trusted = true;
    clock.advance(1.5);
    EXPECT_EQ(started, (Log{"screenshot watcher", "hotkeys", "expansion"}));
    started.clear();
    trust.pending = true;
    trust.trusted = false;
    launch();
    clock.advance(31.0);
    trust.answer(true);
    EXPECT_EQ(started, (Log{"screenshot watcher"}));
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
    // A heartbeat after the delegate is gone does nothing.
    delegate.reset();
    clock.advance(20.0);
    EXPECT_EQ(statusBar.menus.size(), menusAtLaunch + 2);
}

// The rest of the menu is read from the real tray item by the integration tests.
TEST(HelperStatusBarMenu, AccessCanBeAskedForOnlyWhileItIsNeeded) {
    for (bool trusted : {false, true}) {
        const auto row = HelperStatusBarController::menuFor(false, trusted).at(1);
        EXPECT_EQ(row.action, trusted ? MenuAction::none : MenuAction::doPermissions);
        EXPECT_EQ(row.enabled, !trusted);
    }
}

// The tray test shows the same window brought forward and a closed one shown again; here, what it holds.
TEST_F(HelperAppDelegateTest, AnOpenWindowIsBroughtForwardUnmovedAClosedOneIsRebuiltWithCurrentValues) {
    launchWithWindows();
    delegate->perform(MenuAction::doPreferences);
    ASSERT_EQ(windows.windows.size(), 1u);
    EXPECT_EQ(window(0).target, delegate.get());
    EXPECT_EQ(status(0, 0), "Granted");

    trust.trusted = false;
    fs.paths.clear();
    hotkeysActive = true;
    clock.advance(10.0);
    delegate->showPreferences();
    EXPECT_EQ(windows.windows.size(), 1u);
    EXPECT_EQ(window(0).broughtForward, 2);
    EXPECT_EQ(window(0).centred, 1);

    window(0).visible = false;  // the user closes it
    delegate->showPreferences();
    ASSERT_EQ(windows.windows.size(), 2u);
    EXPECT_TRUE(window(0).destroyed);
    EXPECT_EQ(status(1, 0), "Not granted");
    EXPECT_EQ(status(1, 1), "Not detected");
    EXPECT_EQ(featureStatus(1, 1), "Active");
    EXPECT_TRUE(window(1).model.statusCard.rows[0].button.has_value());
}

TEST_F(HelperAppDelegateTest, InputsAreReadWhenTheWindowIsBuiltAndServicesWithoutAStateReadAsOff) {
    launchWithWindows();
    expansionActive = true;
    watcherActive = true;
    delegate->showPreferences();
    const std::vector<std::string> features{"Active", "Off", "Active", "1 configured"};
    for (std::size_t row = 0; row < features.size(); ++row) EXPECT_EQ(featureStatus(0, row), features[row]);

    reportsState = false;
    launchWithWindows();
    delegate->showPreferences();
    for (std::size_t row = 0; row < 3; ++row) EXPECT_EQ(featureStatus(1, row), "Off");
}

TEST_F(HelperAppDelegateTest, WhyScreenshotsAreNotPickedUpIsSaidInTheMenuAndUnderTheFeature) {
    watcherReason = "waiting for ~/Pictures/Screenshots to exist again";
    launchWithWindows();
    const MenuEntry& line = statusBar.menus.back().at(2);
    EXPECT_EQ(line.title, "Screenshots: " + watcherReason);
    EXPECT_FALSE(line.enabled);
    delegate->showPreferences();
    const auto& rows = window(0).model.featuresCard.rows;
    EXPECT_EQ(featureStatus(0, 2), "Off");
    EXPECT_EQ(rows.at(3).title.text, watcherReason);
    EXPECT_GE(rows.at(4).top, rows[3].title.frame.y + rows[3].title.frame.height) << "the rules line below it";

    watcherReason.clear();
    watcherActive = true;
    clock.advance(5.0);
    EXPECT_TRUE(statusBar.menus.back().at(2).separator);
}

TEST_F(HelperAppDelegateTest, TheWindowListsTheBackendsBelowEverythingElse) {
    // What joining a group grants, say: three lines; the keys a desktop gave: one line each.
    const std::string advice(150, 'x'), keys = "CTRL+SHIFT+V: Open\nCTRL+SHIFT+space: Search\nno keys: Save";
    backends = {{"Typed keys", "off", "", advice},
                {"Hotkeys", "desktop portal", "", keys},
                {"Input", "off", ""},
                {"Text recognition", "Tesseract 5.3.0 (German, French, English)", ""}};
    launchWithWindows();
    delegate->showPreferences();
    const auto& m = window(0).model;
    ASSERT_EQ(m.backendsCard.rows.size(), 6u);
    EXPECT_EQ(m.backendsCard.rows[4].title.text + ": " + m.backendsCard.rows[4].status.text, "Input: off");
    // A name too long to sit beside its capability is shown whole under it.
    const Label& title = m.backendsCard.rows[5].title;
    const Label& engine = m.backendsCard.rows[5].status;
    EXPECT_GE(engine.frame.y, title.frame.y + title.frame.height);
    EXPECT_GE(engine.frame.width, 300);
    EXPECT_GE(m.backendsCard.frame.height, engine.frame.y + engine.frame.height);
    EXPECT_GT(m.backendsCard.frame.y, m.buttonRow.frame.y + m.buttonRow.frame.height);
    EXPECT_GE(m.window.documentHeight, m.backendsCard.frame.y + m.backendsCard.frame.height);
    // Each note sits under its capability, wrapped, and the next capability below all of it.
    for (const auto& [row, text] : {std::pair{1, advice}, std::pair{3, keys}}) {
        const Label& shown = m.backendsCard.rows[row].title;
        EXPECT_EQ(shown.text, text);
        EXPECT_TRUE(shown.wraps);
        EXPECT_GE(shown.frame.height, 3 * 14.0);
        EXPECT_GE(m.backendsCard.rows[row + 1].top, shown.frame.y + shown.frame.height);
    }
}

// Picked by the title a person sees, so an entry bound to the wrong action is caught.
TEST_F(HelperAppDelegateTest, ButtonsAndMenuEntriesReachTheDesktop) {
    launchWithWindows();
    delegate->showPreferences();
    const auto click = [&](const std::string& title) {
        for (const Button& button : window(0).model.buttonRow.buttons)
            if (button.title == title) return window(0).target->perform(button.action);
        ADD_FAILURE() << "no button " << title;
    };
    const auto choose = [&](const std::string& title) {
        for (const MenuEntry& entry : statusBar.menus.back())
            if (entry.title == title && entry.enabled) return statusBar.lastTarget->perform(entry.action);
        ADD_FAILURE() << "no menu entry " << title;
    };
    click("System Permissions");
    choose("Permissions...");
    click("Website");
    EXPECT_EQ(workspace.opened,
              (std::vector<std::string>{workspace.accessibilitySettingsAddress(),
                                        workspace.accessibilitySettingsAddress(), workspace.websiteAddress()}));
    choose("Quit Velko Helper");
    EXPECT_EQ(application.terminated, 1);
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
