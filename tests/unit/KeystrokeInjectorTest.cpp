#include "Core/KeystrokeInjector.h"

#include <gtest/gtest.h>

#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

struct KeystrokeInjectorTest : ::testing::Test {
    VirtualClock clock;
    FakeKeyboard keyboard;
    FakeFocusTracker focus;
    KeystrokeInjector injector{clock, keyboard, focus};
};

TEST_F(KeystrokeInjectorTest, RateLimitMeasuresFromTheLastLimitedStrokeThatPassedTheLimit) {
    struct Step {
        double at;
        bool limited, focused;
        std::size_t strokes;  // posted so far
    };
    for (const auto& [at, limited, focused, strokes] :
         std::vector<Step>{{0.0, true, true, 1},   // the first passes whatever the clock says
                           {0.1, true, true, 1},   // too soon
                           {0.25, true, true, 2},  // measured from 0.0, not from the dropped 0.1
                           {0.3, false, true, 3},  // unlimited strokes always pass and do not move the limit
                           {0.45, true, true, 4},  // exactly 0.2 after the last one that passed
                           {1.0, true, false, 4},  // without focus nothing is posted, yet a period starts
                           {1.125, true, true, 4},
                           {1.25, true, true, 5},
                           {0.5, true, true, 5},  // the clock set back drops strokes until past the last one again
                           {1.5, true, true, 6}}) {
        clock.setNow(at);
        keyboard.frontmost = focused;
        injector.injectKeystroke(limited ? KeyCodes::v : KeyCodes::backspace, Flags::command, limited);
        EXPECT_EQ(keyboard.events.size(), 2 * strokes) << "at " << at;
    }
}

TEST_F(KeystrokeInjectorTest, KeyUpCarriesTheKeyDownsFlagsAndFollowsOnlyAKeyDownThatWasPosted) {
    injector.injectKeystroke(KeyCodes::v, 0x1A0000, false);
    EXPECT_EQ(keyboard.events, (std::vector<FakeKeyboard::Event>{{9, 0x1A0000, true}, {9, 0x1A0000, false}}));
    keyboard.failPosting = true;
    injector.injectKeystroke(KeyCodes::v, Flags::command, false);
    EXPECT_EQ(keyboard.events.size(), 2u);
}

// Ctrl+V in a terminal inserts the next key literally; its paste key is Ctrl+Shift+V.
TEST_F(KeystrokeInjectorTest, PastesIntoATerminalGoOutAsItsPasteKeyAndNothingElseChanges) {
    constexpr EventFlags plain = Flags::command | Flags::option | Flags::shift;
    const auto strokes = [&](std::optional<Focus> focused) {
        focus.set(std::move(focused));
        keyboard.events.clear();
        injector.injectKeystroke(KeyCodes::v, Flags::command, false);
        injector.injectKeystroke(KeyCodes::v, plain, false);
        injector.injectKeystroke(KeyCodes::backspace, 0, false);
        injector.injectKeystroke(KeyCodes::v, Flags::shift, false);
        std::vector<std::pair<KeyCode, EventFlags>> downs;
        for (const auto& event : keyboard.events)
            if (event.down) downs.push_back({event.keyCode, event.flags});
        return downs;
    };
    constexpr EventFlags terminalPaste = Flags::command | Flags::shift;
    EXPECT_EQ(strokes(Focus{"kitty", true}),
              (std::vector<std::pair<KeyCode, EventFlags>>{{KeyCodes::v, terminalPaste},
                                                           {KeyCodes::v, terminalPaste},
                                                           {KeyCodes::backspace, 0},
                                                           {KeyCodes::v, Flags::shift}}));
    const std::vector<std::pair<KeyCode, EventFlags>> unchanged{
        {KeyCodes::v, Flags::command}, {KeyCodes::v, plain}, {KeyCodes::backspace, 0}, {KeyCodes::v, Flags::shift}};
    EXPECT_EQ(strokes(Focus{"zenity"}), unchanged);
    EXPECT_EQ(strokes(std::nullopt), unchanged);
}

}  // namespace
}  // namespace velko::test
