// The grabs against a real X server (a private Xvfb): what they take never reaches the focused
// window, what they pass does, the keyboard never waits for the helper, and the helper's own
// strokes get through. A combination another client holds is the hotkeys integration test's.
#include <gtest/gtest.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <ostream>
#include <vector>

#include "PrivateDisplay.h"
#include "x11/X11FilteringKeyTap.h"

namespace velko {
namespace {

using Verdict = FilteringKeyTap::Verdict;
constexpr std::uint8_t xV = 55, xB = 56, xControl = 37;

struct Press {
    std::uint8_t keycode;
    std::uint16_t state;
    bool operator==(const Press&) const = default;
    friend void PrintTo(const Press& p, std::ostream* os) { *os << "key " << +p.keycode << " state " << p.state; }
};

class X11FilteringKeyTapTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!test::PrivateDisplay::ensure()) GTEST_SKIP() << "no Xvfb";
        c = xcb_connect(nullptr, nullptr);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        window = xcb_generate_id(c);
        const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS;
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 100, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
        xcb_map_window(c, window);
        xcb_set_input_focus(c, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    }
    void TearDown() override {
        if (c) xcb_disconnect(c);
    }

    void fake(std::uint8_t type, std::uint8_t keycode) {
        xcb_test_fake_input(c, type, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(c);
    }
    void type(std::uint8_t keycode, bool withControl) {
        if (withControl) fake(XCB_KEY_PRESS, xControl);
        fake(XCB_KEY_PRESS, keycode);
        fake(XCB_KEY_RELEASE, keycode);
        if (withControl) fake(XCB_KEY_RELEASE, xControl);
    }
    // The presses the window has received since the last call.
    std::vector<Press> windowPresses() {
        std::vector<Press> presses;
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
        while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
            if ((event->response_type & 0x7f) == XCB_KEY_PRESS) {
                const auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
                if (press->detail != xControl) presses.push_back({press->detail, press->state});
            }
            std::free(event);
        }
        return presses;
    }
    // Runs the main loop until the window has seen a press of `last` and the tap has been asked
    // `asked` times in all (or ten seconds pass).
    std::vector<Press> windowPressesUntil(std::uint8_t last, std::size_t asked) {
        std::vector<Press> presses;
        test::PrivateDisplay::waitUntil([&] {
            for (const auto& press : windowPresses()) presses.push_back(press);
            return !presses.empty() && presses.back().keycode == last && seen.size() >= asked;
        });
        return presses;
    }

    xcb_connection_t* c = nullptr;
    xcb_window_t window = 0;
    X11FilteringKeyTap tap;
    std::vector<std::pair<KeyCode, EventFlags>> seen;
};

TEST_F(X11FilteringKeyTapTest, TakenPressesNeverReachTheFocusNorFreezeTheKeyboardWhileTheHelperIsBusy) {
    ASSERT_TRUE(tap.create({{9, Flags::command}}, [&](KeyCode key, EventFlags flags) {
        seen.push_back({key, flags});
        return Verdict::drop;
    }));

    // The main loop does not run, as in a helper that is busy or stopped: typing goes on.
    type(xV, true);
    type(xB, false);
    std::vector<Press> presses;
    EXPECT_TRUE(test::PrivateDisplay::waitWithoutLoop([&] {
        presses = windowPresses();
        return !presses.empty();
    }));
    EXPECT_EQ(presses, (std::vector<Press>{{xB, 0}}));

    for (int i = 0; i < 20; ++i) type(xV, true);
    type(xB, false);
    EXPECT_EQ(windowPressesUntil(xB, 21), (std::vector<Press>{{xB, 0}}));
    ASSERT_EQ(seen.size(), 21u);
    EXPECT_EQ(seen.front(), (std::pair<KeyCode, EventFlags>{9, Flags::command}));

    // The helper's own stroke of the combination reaches the window; the grab is back after it.
    tap.standAside(9);
    type(xV, true);
    EXPECT_EQ(windowPressesUntil(xV, 21), (std::vector<Press>{{xV, 0x4}}));
    tap.resume();
    type(xV, true);
    type(xB, false);
    EXPECT_EQ(windowPressesUntil(xB, 22), (std::vector<Press>{{xB, 0}}));
}

// A terminal's own paste key: the press the core passes on is posted again to the focused window
// with the modifiers still held, once, without coming back as another hotkey press.
TEST_F(X11FilteringKeyTapTest, APassedPressReachesTheFocusedWindowOnceWithTheModifiersHeld) {
    Verdict verdict = Verdict::pass;
    ASSERT_TRUE(tap.create({{9, Flags::command}}, [&](KeyCode key, EventFlags flags) {
        seen.push_back({key, flags});
        return verdict;
    }));
    fake(XCB_KEY_PRESS, xControl);  // held until the window has the press, as a hand would
    type(xV, false);
    EXPECT_EQ(windowPressesUntil(xV, 1), (std::vector<Press>{{xV, 0x4}}));
    fake(XCB_KEY_RELEASE, xControl);
    verdict = Verdict::drop;
    type(xV, true);
    type(xB, false);
    EXPECT_EQ(windowPressesUntil(xB, 2), (std::vector<Press>{{xB, 0}}));
    EXPECT_EQ(seen.size(), 2u) << "the posted press came back to the tap";

    // Control let go before the stroke: it is pressed again for it, or a bare V would type a v.
    verdict = Verdict::pass;
    type(xV, true);
    type(xB, false);
    EXPECT_EQ(windowPressesUntil(xV, 3), (std::vector<Press>{{xB, 0}, {xV, 0x4}}));
    test::PrivateDisplay::pump(100);
    EXPECT_EQ(windowPresses(), std::vector<Press>{});
    EXPECT_EQ(seen.size(), 3u);
}

}  // namespace
}  // namespace velko
