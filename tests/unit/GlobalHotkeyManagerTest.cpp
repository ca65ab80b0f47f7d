#include <gtest/gtest.h>

#include "Core/GlobalHotkeyManager.h"
#include "Core/HelperConstants.h"
#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

using Verdict = FilteringKeyTap::Verdict;
constexpr EventFlags commandShift = Flags::command | Flags::shift;
constexpr KeyCode keyB = 11;

struct GlobalHotkeyManagerTest : ::testing::Test {
    VirtualClock queue;
    FakeFilteringKeyTap tap;
    FakeNotificationCenter center;
    FakeFocusTracker focus;
    GlobalHotkeyManager manager{tap, queue, center, focus};

    std::vector<std::string> activations() const {
        return center.postedObjects(HelperConstants::Notification::hotkeyActivated);
    }
    // A key-down followed by the main loop's next turn.
    Verdict press(KeyCode keyCode, EventFlags flags) {
        const Verdict verdict = tap.press(keyCode, flags);
        queue.runPending();
        return verdict;
    }
};

TEST_F(GlobalHotkeyManagerTest, MatchingNeedsTheKeyAndAtLeastTheBindingsModifiers) {
    std::vector<bool> told;
    manager.isActive.subscribe([&](bool active) { told.push_back(active); });
    manager.start();
    EXPECT_EQ(told, std::vector<bool>{true});
    ASSERT_EQ(tap.combinations.size(), 3u);
    struct Case {
        KeyCode key;
        EventFlags flags;
        Verdict verdict;
    };
    const std::vector<Case> cases{
        {KeyCodes::v, commandShift, Verdict::drop},
        {KeyCodes::space, commandShift, Verdict::drop},
        {KeyCodes::s, commandShift, Verdict::drop},
        {KeyCodes::v, commandShift | Flags::option, Verdict::drop},
        {KeyCodes::v, commandShift | Flags::capsLock, Verdict::drop},
        // Control, the numeric-pad bit and device-dependent low bits are extras like any other.
        {KeyCodes::v, commandShift | Flags::control | Flags::numericPad | 0x8, Verdict::drop},
        {KeyCodes::v, Flags::command, Verdict::pass},
        {KeyCodes::v, Flags::shift, Verdict::pass},
        {KeyCodes::v, Flags::command | Flags::option | Flags::capsLock, Verdict::pass},
        {KeyCodes::v, 0, Verdict::pass},
        {keyB, commandShift, Verdict::pass},
    };
    for (const auto& c : cases)
        EXPECT_EQ(press(c.key, c.flags), c.verdict) << "key " << c.key << " flags 0x" << std::hex << c.flags;
    EXPECT_EQ(activations(), (std::vector<std::string>{"open_popover", "spotlight_launcher", "save_snippet",
                                                       "open_popover", "open_popover", "open_popover"}));
}

// Posting inside the callback would keep the keyboard frozen for a bus round trip.
TEST_F(GlobalHotkeyManagerTest, TheActionRunsAfterTheTapHasAnswered) {
    manager.start();
    EXPECT_EQ(tap.press(KeyCodes::v, commandShift), Verdict::drop);
    EXPECT_TRUE(center.posts.empty()) << "posted inside the tap callback";
    queue.runPending();
    EXPECT_EQ(activations(), std::vector<std::string>{"open_popover"});
}

TEST_F(GlobalHotkeyManagerTest, AFailedTapPrintsTheLineAndStaysInactive) {
    tap.fail = true;
    int told = 0;
    manager.isActive.subscribe([&](bool) { ++told; });
    ::testing::internal::CaptureStdout();
    manager.start();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "Failed to create event tap \xE2\x80\x94 Accessibility permission may be missing\n");
    EXPECT_FALSE(manager.isActive);
    EXPECT_EQ(told, 0);
    EXPECT_EQ(press(KeyCodes::v, commandShift), Verdict::pass);
    EXPECT_TRUE(center.posts.empty());
}

// Ctrl+Shift+V is how terminals paste: they keep it, and only it, while they have the focus.
TEST_F(GlobalHotkeyManagerTest, ATerminalKeepsItsPasteKey) {
    manager.start();
    focus.set(Focus{"xfce4-terminal", true});
    EXPECT_EQ(press(KeyCodes::v, commandShift), Verdict::pass);
    EXPECT_EQ(press(KeyCodes::space, commandShift), Verdict::drop);
    focus.set(Focus{"zenity"});
    EXPECT_EQ(press(KeyCodes::v, commandShift), Verdict::drop);
    focus.set(std::nullopt);
    EXPECT_EQ(press(KeyCodes::v, commandShift), Verdict::drop);
    EXPECT_EQ(activations(), (std::vector<std::string>{"spotlight_launcher", "open_popover", "open_popover"}));
}

}  // namespace
}  // namespace velko::test
