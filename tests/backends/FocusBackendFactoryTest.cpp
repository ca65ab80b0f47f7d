// Which focus source each session gets, and the Focus line following a window manager that
// starts or leaves after the helper, on a private Xvfb.
#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include "PrivateDisplay.h"
#include "session/FocusBackendFactory.h"
#include "x11/Xcb.h"

namespace velko {
namespace {

TEST(FocusBackendFactoryTest, TheFocusLineSaysUnknownAndWhyUntilAWindowManagerPublishesTheActiveWindow) {
    const auto none = FocusBackendFactory::chooseWindow({DesktopSession::Kind::none, "no display"});
    EXPECT_EQ(none.choice, (BackendChoice{"Focus", "unknown", "no display",
                                          FocusBackendFactory::unknownNote("No graphical session")}));
    EXPECT_EQ(none.tracker->focus(), std::nullopt);

    if (!test::PrivateDisplay::ensure()) GTEST_SKIP() << "no Xvfb";
    xcb::Connection c{xcb_connect(nullptr, nullptr)};
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c.get())).data->root;
    const xcb_atom_t supported = xcb::internAtom(c.get(), "_NET_SUPPORTED");
    xcb_atom_t active = xcb::internAtom(c.get(), "_NET_ACTIVE_WINDOW");
    xcb_delete_property(c.get(), root, supported);
    xcb_delete_property(c.get(), root, active);
    std::free(xcb_get_input_focus_reply(c.get(), xcb_get_input_focus(c.get()), nullptr));

    std::vector<std::string> lines;
    const auto x11 = FocusBackendFactory::chooseWindow(
        {DesktopSession::Kind::x11, "DISPLAY=:9"},
        [&](const std::string& backend, const std::string& note) { lines.push_back(backend + note.substr(0, 14)); });
    const std::string why = "The window manager does not publish the active window (EWMH)";
    EXPECT_EQ(x11.choice,
              (BackendChoice{"Focus", "unknown", "DISPLAY=:9; the window manager publishes no active window (EWMH)",
                             FocusBackendFactory::unknownNote(why)}));

    xcb_change_property(c.get(), XCB_PROP_MODE_REPLACE, root, supported, XCB_ATOM_ATOM, 32, 1, &active);
    xcb_flush(c.get());
    EXPECT_TRUE(test::PrivateDisplay::waitUntil([&] { return !lines.empty(); }, 3000));
    xcb_delete_property(c.get(), root, supported);
    xcb_flush(c.get());
    EXPECT_TRUE(test::PrivateDisplay::waitUntil([&] { return lines.size() > 1; }, 3000));
    EXPECT_EQ(lines, (std::vector<std::string>{"X11 active window", "unknownThe window man"}));
}

}  // namespace
}  // namespace velko
