#include <gtest/gtest.h>

#include "Core/KeystrokeInjector.h"
#include "fakes/FakePlatform.h"
#include "fakes/VirtualClock.h"

namespace velko::test {
namespace {

struct KeystrokeInjectorTest : ::testing::Test {
    VirtualClock clock;
    FakeKeyboard keyboard;
    KeystrokeInjector injector{clock, keyboard};

    int strokes() const { return static_cast<int>(keyboard.events.size() / 2); }
    void pasteAt(double t) {
        clock.setNow(t);
        injector.injectKeystroke(KeyCodes::v, Flags::command, true);
    }
};

TEST_F(KeystrokeInjectorTest, RateLimitMeasuresFromTheLastStrokeThatPassed) {
    pasteAt(0.0);  // the first one passes whatever the clock says
    pasteAt(0.1);
    pasteAt(0.25);  // measured from 0.0, not from the dropped 0.1
    EXPECT_EQ(strokes(), 2);
    pasteAt(0.45);  // exactly 0.2 after the last one passes
    EXPECT_EQ(strokes(), 3);
}

TEST_F(KeystrokeInjectorTest, UnlimitedStrokesAreNeverDroppedAndDoNotMoveTheLimit) {
    pasteAt(10.0);
    for (int i = 0; i < 5; ++i) injector.injectKeystroke(KeyCodes::backspace, 0, false);
    EXPECT_EQ(strokes(), 6);
    pasteAt(10.25);
    EXPECT_EQ(strokes(), 7);
}

TEST_F(KeystrokeInjectorTest, WithoutFocusNothingIsPostedButAPeriodStarts) {
    keyboard.frontmost = false;
    pasteAt(5.0);
    EXPECT_EQ(strokes(), 0);
    keyboard.frontmost = true;
    pasteAt(5.1);
    EXPECT_EQ(strokes(), 0);
    pasteAt(5.2);
    EXPECT_EQ(strokes(), 1);
}

TEST_F(KeystrokeInjectorTest, ClockSetBackDropsUntilPastTheLastStrokeAgain) {
    pasteAt(100.0);
    pasteAt(50.0);
    EXPECT_EQ(strokes(), 1);
    pasteAt(100.2);
    EXPECT_EQ(strokes(), 2);
}

TEST_F(KeystrokeInjectorTest, KeyDownAndKeyUpCarryTheSameFlags) {
    injector.injectKeystroke(KeyCodes::v, 0x1A0000, true);
    ASSERT_EQ(keyboard.events.size(), 2u);
    EXPECT_EQ(keyboard.events[0], (FakeKeyboard::Event{9, 0x1A0000, true}));
    EXPECT_EQ(keyboard.events[1], (FakeKeyboard::Event{9, 0x1A0000, false}));
}

TEST_F(KeystrokeInjectorTest, FailedKeyDownPostsNoKeyUp) {
    keyboard.failPosting = true;
    injector.injectKeystroke(KeyCodes::v, Flags::command, true);
    EXPECT_TRUE(keyboard.events.empty());
}

}  // namespace
}  // namespace velko::test
