// The RECORD key tap against a real X server, driven by xdotool.
#include <gtest/gtest.h>

#include <xcb/xcb.h>

#include <QClipboard>
#include <csignal>
#include <fstream>
#include <iterator>
#include <thread>

#include "PrivateDisplay.h"
#include "qt/QtMainQueue.h"
#include "qt/QtPasteboard.h"
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

}  // namespace
}  // namespace velko::test
