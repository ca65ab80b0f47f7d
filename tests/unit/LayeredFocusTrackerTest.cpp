#include <gtest/gtest.h>

#include "Core/LayeredFocusTracker.h"
#include "fakes/FakePlatform.h"

namespace velko::test {
namespace {

TEST(LayeredFocusTrackerTest, WindowNamesTheApplicationWidgetTellsPasswordsEitherATerminal) {
    FakeFocusTracker window, widget;
    LayeredFocusTracker focus(window, widget);
    int changes = 0;
    focus.onChange([&] { ++changes; });
    EXPECT_EQ(focus.focus(), std::nullopt);

    window.set(Focus{"Zenity"});
    widget.set(Focus{"zenity", false, true});
    EXPECT_EQ(focus.focus(), (Focus{"Zenity", false, true}));
    EXPECT_EQ(changes, 2);
    // A widget that lost the focus to a window it cannot see leaves no password field behind.
    widget.set(std::nullopt);
    EXPECT_EQ(focus.focus(), Focus{"Zenity"});
    widget.set(std::nullopt);
    EXPECT_EQ(changes, 3);  // nothing changed, nothing told

    window.set(Focus{"xterm", true});
    widget.set(Focus{"xfce4-terminal", false, false});
    EXPECT_EQ(focus.focus(), (Focus{"xterm", true}));
    window.set(std::nullopt);
    widget.set(Focus{"xfce4-terminal", true});
    EXPECT_EQ(focus.focus(), (Focus{"xfce4-terminal", true}));
    window.set(Focus{""});  // a window without WM_CLASS
    EXPECT_EQ(focus.focus(), (Focus{"xfce4-terminal", true}));
}

}  // namespace
}  // namespace velko::test
