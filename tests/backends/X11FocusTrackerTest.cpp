// The focus as a window manager publishes it, against a real X server: the test plays the window
// manager, setting _NET_ACTIVE_WINDOW on the root as EWMH window managers do.
#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <cstring>
#include <string>

#include "PrivateDisplay.h"
#include "x11/X11FocusTracker.h"
#include "x11/Xcb.h"

namespace velko {
namespace {

class X11FocusTrackerTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!test::PrivateDisplay::ensure()) GTEST_SKIP() << "no Xvfb";
        c = xcb_connect(nullptr, nullptr);
        root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
        active = xcb::internAtom(c, "_NET_ACTIVE_WINDOW");
        supported = xcb::internAtom(c, "_NET_SUPPORTED");
        xcb_delete_property(c, root, active);
        xcb_delete_property(c, root, supported);
        xcb_flush(c);
    }
    void TearDown() override {
        if (c) xcb_disconnect(c);
    }
    xcb_window_t window(const char* wmClass, std::size_t length) {
        const xcb_window_t w = xcb_generate_id(c);
        xcb_create_window(c, XCB_COPY_FROM_PARENT, w, root, 0, 0, 10, 10, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, 0, nullptr);
        if (wmClass)
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                                static_cast<std::uint32_t>(length), wmClass);
        return w;
    }
    void activate(xcb_window_t w) {
        xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, active, XCB_ATOM_WINDOW, 32, 1, &w);
        xcb_flush(c);
    }
    bool focusBecomes(const std::optional<Focus>& expected) {
        return test::PrivateDisplay::waitUntil([&] { return tracker.focus() == expected; }, 3000);
    }

    xcb_connection_t* c = nullptr;
    xcb_window_t root = 0;
    xcb_atom_t active = 0, supported = 0;
    std::vector<bool> published;
    X11FocusTracker tracker{[this](bool now) { published.push_back(now); }};
};

TEST_F(X11FocusTrackerTest, FollowsTheActiveWindowAndKnowsTerminalsByEitherName) {
    const xcb_window_t terminal = window("xfce4-terminal\0Xfce4-terminal", 30);
    const xcb_window_t field = window("zenity\0Zenity", 14);
    const xcb_window_t byInstance = window("urxvt\0Rxvt-like", 16);  // only the instance is known
    const xcb_window_t unnamed = window(nullptr, 0);
    const xcb_window_t unterminated = window("kitty", 5);
    int changes = 0;
    tracker.onChange([&] { ++changes; });
    ASSERT_TRUE(tracker.start());
    EXPECT_EQ(tracker.focus(), std::nullopt) << "no window manager yet";
    // One that announces the active window but has activated none.
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, root, supported, XCB_ATOM_ATOM, 32, 1, &active);
    xcb_flush(c);
    EXPECT_TRUE(focusBecomes(Focus{}));

    activate(terminal);
    EXPECT_TRUE(focusBecomes(Focus{"Xfce4-terminal", true}));
    activate(field);
    EXPECT_TRUE(focusBecomes(Focus{"Zenity", false}));
    activate(byInstance);
    EXPECT_TRUE(focusBecomes(Focus{"Rxvt-like", true}));
    activate(unnamed);
    EXPECT_TRUE(focusBecomes(Focus{}));
    activate(unterminated);
    EXPECT_TRUE(focusBecomes(Focus{"kitty", true}));
    activate(XCB_NONE);
    EXPECT_TRUE(focusBecomes(Focus{}));
    EXPECT_EQ(changes, 7);

    // A window manager that leaves takes what it published with it.
    xcb_delete_property(c, root, active);
    xcb_delete_property(c, root, supported);
    xcb_flush(c);
    EXPECT_TRUE(focusBecomes(std::nullopt));
    EXPECT_EQ(published, (std::vector<bool>{false, true, false}));
}

}  // namespace
}  // namespace velko
