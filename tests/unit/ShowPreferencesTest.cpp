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

struct ShowPreferencesTest : ::testing::Test {
    Log log;
    VirtualClock clock;
    FakeNotificationCenter center;
    FakeTrust trust{true};
    FakeKeyboard keyboard;
    FakeWorkspace workspace;
    FakeFileSystem fs{&log};
    FakeDefaults defaults;
    FakeApplication application;
    FakeStatusBar statusBar;
    FakeWindowSystem windows;
    KeystrokeInjector injector{clock, keyboard};
    SharedDataReader reader{fs, defaults};
    HelperIPCManager link{center, trust, injector, workspace};
    AutoPasteRuleEngine rules{defaults};
    bool hotkeysActive = false, expansionActive = false, watcherActive = false;
    std::unique_ptr<HelperAppDelegate> delegate;

    void launch(WindowSystem* windowSystem) {
        HelperAppDelegate::Services services{reader, link, rules};
        services.isExpansionActive = [this] { return expansionActive; };
        services.isHotkeysActive = [this] { return hotkeysActive; };
        services.isScreenshotWatchActive = [this] { return watcherActive; };
        delegate = std::make_unique<HelperAppDelegate>(
            services,
            HelperAppDelegate::Environment{trust, statusBar, defaults, workspace, application, clock, windowSystem});
        delegate->applicationDidFinishLaunching();
    }
    void SetUp() override {
        fs.paths.insert(storePath);
        defaults.setJson("helperAutoRules", R"([{"bundleId":"a","action":"lowercase"}])");
    }
    FakeWindowSystem::State& window(std::size_t i) { return *windows.windows.at(i); }
    std::string status(std::size_t i, std::size_t row) { return window(i).model.statusCard.rows.at(row).status.text; }
    std::string featureStatus(std::size_t i, std::size_t row) {
        return window(i).model.featuresCard.rows.at(row).status.text;
    }
};

TEST_F(ShowPreferencesTest, AVisibleWindowIsBroughtForwardUnchanged) {
    launch(&windows);
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

TEST_F(ShowPreferencesTest, AClosedWindowIsReplacedByOneWithCurrentValues) {
    launch(&windows);
    delegate->showPreferences();
    EXPECT_EQ(status(0, 0), "Granted");
    EXPECT_EQ(status(0, 1), "Connected");

    window(0).visible = false;  // the user closes it
    trust.trusted = false;
    fs.paths.clear();
    reader.verifyConnection();
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

TEST_F(ShowPreferencesTest, InputsAreReadWhenTheWindowIsBuilt) {
    launch(&windows);
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

TEST_F(ShowPreferencesTest, ServicesWithoutAStateReadAsOff) {
    HelperAppDelegate::Services services{reader, link, rules};
    delegate = std::make_unique<HelperAppDelegate>(
        services, HelperAppDelegate::Environment{trust, statusBar, defaults, workspace, application, clock, &windows});
    delegate->applicationDidFinishLaunching();
    delegate->showPreferences();
    for (std::size_t row = 0; row < 3; ++row) EXPECT_EQ(featureStatus(0, row), "Off");
}

TEST_F(ShowPreferencesTest, ButtonsOpenTheSamePagesAsTheMenu) {
    launch(&windows);
    delegate->showPreferences();
    ButtonTarget& target = *window(0).target;
    target.perform(ButtonAction::openAccessibility);
    delegate->perform(MenuAction::doPermissions);
    target.perform(ButtonAction::openWebsite);
    EXPECT_EQ(workspace.opened,
              (std::vector<std::string>{workspace.accessibilitySettingsAddress(),
                                        workspace.accessibilitySettingsAddress(), workspace.websiteAddress()}));
}

TEST_F(ShowPreferencesTest, NowhereToShowAWindowIsNotAnError) {
    launch(nullptr);
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
