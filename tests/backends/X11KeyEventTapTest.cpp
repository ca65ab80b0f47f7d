// The RECORD key tap against a real X server, driven by xdotool.
#include <gtest/gtest.h>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdlib>

#include "PrivateDisplay.h"
#include "qt/QtMainQueue.h"
#include "x11/X11KeyEventTap.h"

namespace velko::test {
namespace {

using Strokes = std::vector<std::optional<std::string>>;

struct X11KeyEventTapTest : ::testing::Test {
    QtMainQueue queue;
    X11KeyEventTap tap{queue};
    std::vector<KeyEvent> events;

    void SetUp() override {
        if (!PrivateDisplay::ensure()) GTEST_SKIP() << "no Xvfb";
        ASSERT_TRUE(tap.start([this](const KeyEvent& e) { events.push_back(e); }));
    }
    // xdotool's key presses as the tap reported them, after `count` of them arrived.
    Strokes typed(const std::string& keys, std::size_t count) {
        events.clear();
        PrivateDisplay::run("xdotool key --delay 5 " + keys);
        PrivateDisplay::waitUntil([&] { return events.size() >= count; });
        PrivateDisplay::pump(100);  // and nothing more
        return strokes();
    }
    // Raw presses (+keycode) and releases (-keycode) as a keyboard sends them; unlike xdotool's,
    // they leave the server's layout alone.
    Strokes pressed(std::initializer_list<int> keys, std::size_t count) {
        events.clear();
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        for (const int k : keys)
            xcb_test_fake_input(c, k > 0 ? XCB_KEY_PRESS : XCB_KEY_RELEASE, static_cast<std::uint8_t>(std::abs(k)),
                                XCB_CURRENT_TIME, root, 0, 0, 0);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        xcb_disconnect(c);
        PrivateDisplay::waitUntil([&] { return events.size() >= count; });
        PrivateDisplay::pump(100);
        return strokes();
    }
    Strokes strokes() const {
        Strokes out;
        for (const auto& e : events) out.push_back(e.characters);
        return out;
    }
};

TEST_F(X11KeyEventTapTest, ReportsWhatEachKeyTypesWithTheModifiersHeld) {
    EXPECT_EQ(typed("a shift+a BackSpace Return Tab Escape Up F1 Delete semicolon space", 12),
              (Strokes{"a", std::nullopt, "A", "\x7f", "\r", "\t", "\x1b", "\xEF\x9C\x80", "\xEF\x9C\x84",
                       "\xEF\x9C\xA8", ";", " "}));

    EXPECT_EQ(typed("ctrl+v", 2), (Strokes{std::nullopt, "\x16"}));
    EXPECT_EQ(events[1].keyCode, KeyCodes::v);
    EXPECT_EQ(events[1].flags, Flags::command);

    // Caps Lock is a state that outlives its key.
    EXPECT_EQ(typed("Caps_Lock b Caps_Lock b", 4), (Strokes{std::nullopt, "B", std::nullopt, "b"}));
}

TEST_F(X11KeyEventTapTest, FollowsALayoutChangedWhileRunning) {
    ASSERT_EQ(typed("y", 1), (Strokes{"y"}));
    const std::uint16_t yPosition = events[0].keyCode;
    PrivateDisplay::run("setxkbmap de");
    PrivateDisplay::pump(300);  // the server's notice of the new keymap
    // On the German layout z sits where y is on the US one; xdotool presses that key.
    ASSERT_EQ(typed("z", 1), (Strokes{"z"}));
    EXPECT_EQ(events[0].keyCode, yPosition);
    PrivateDisplay::run("setxkbmap us");
}

TEST_F(X11KeyEventTapTest, LayoutSwitchesLeaveNoModifierBehind) {
    constexpr int alt = 64, shift = 50, semicolon = 47;
    PrivateDisplay::run("setxkbmap -layout us,de -option grp:alt_shift_toggle");
    PrivateDisplay::pump(300);
    // Alt+Shift switches to German, where the key right of L types ö: neither modifier stays on.
    EXPECT_EQ(pressed({alt, shift, -shift, -alt, semicolon, -semicolon}, 3),
              (Strokes{std::nullopt, std::nullopt, "\xC3\xB6"}));
    // A keymap loaded while Shift is down, as when the desktop applies its layouts.
    EXPECT_EQ(pressed({shift}, 1), (Strokes{std::nullopt}));
    PrivateDisplay::run("setxkbmap -layout us");
    PrivateDisplay::pump(300);
    EXPECT_EQ(pressed({-shift, semicolon, -semicolon}, 1), (Strokes{";"}));
}

}  // namespace
}  // namespace velko::test
