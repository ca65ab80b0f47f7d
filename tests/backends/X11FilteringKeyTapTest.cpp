// The grabs against a real X server (a private Xvfb): what is passed is replayed to the focused
// window, what is dropped never reaches it, and the keyboard is never left frozen.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <cstdlib>
#include <ostream>
#include <string>
#include <vector>

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
    static void SetUpTestSuite() {
        startServer();
        static int argc = 1;
        static char name[] = "backend_tests";
        static char* argv[] = {name, nullptr};
        app = new QCoreApplication(argc, argv);
    }
    // Sets DISPLAY to a fresh Xvfb, or unsets it so that the tests skip: never the desktop's own.
    static void startServer() {
        unsetenv("DISPLAY");
        int fds[2];
        if (pipe(fds) != 0) return;
        server = fork();
        if (server == 0) {
            dup2(fds[1], 3);
            freopen("/dev/null", "w", stderr);
            // -noreset: a test's last client leaving must not make the next one's connection fail.
            execlp("Xvfb", "Xvfb", "-displayfd", "3", "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        // The number and its newline may come in separate writes.
        std::string number;
        char ch = 0;
        while (read(fds[0], &ch, 1) == 1 && ch != '\n') number += ch;
        close(fds[0]);
        if (ch == '\n' && !number.empty()) {
            setenv("DISPLAY", (":" + number).c_str(), 1);
        } else if (server > 0) {
            kill(server, SIGTERM);
            waitpid(server, nullptr, 0);
            server = -1;
        }
    }
    static void TearDownTestSuite() {
        delete app;
        if (server > 0) kill(server, SIGTERM), waitpid(server, nullptr, 0);
    }

    void SetUp() override {
        c = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(c)) GTEST_SKIP() << "no private Xvfb";
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
        window = xcb_generate_id(c);
        const std::uint32_t events = XCB_EVENT_MASK_KEY_PRESS;
        xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 100, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK, &events);
        xcb_map_window(c, window);
        xcb_set_input_focus(c, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    }
    void TearDown() override { xcb_disconnect(c); }

    void type(std::uint8_t keycode, bool withControl) {
        if (withControl) xcb_test_fake_input(c, XCB_KEY_PRESS, xControl, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(c, XCB_KEY_PRESS, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_test_fake_input(c, XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        if (withControl) xcb_test_fake_input(c, XCB_KEY_RELEASE, xControl, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
        xcb_flush(c);
    }
    // Runs the main loop until the window has seen a press of `last` and the tap has been asked
    // `asked` times in all (or two seconds pass).
    std::vector<Press> windowPressesUntil(std::uint8_t last, std::size_t asked) {
        std::vector<Press> presses;
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 2000 && (presses.empty() || presses.back().keycode != last || seen.size() < asked)) {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
            while (xcb_generic_event_t* event = xcb_poll_for_event(c)) {
                if ((event->response_type & 0x7f) == XCB_KEY_PRESS) {
                    const auto* press = reinterpret_cast<xcb_key_press_event_t*>(event);
                    if (press->detail != xControl) presses.push_back({press->detail, press->state});
                }
                std::free(event);
            }
        }
        return presses;
    }

    static inline pid_t server = -1;
    static inline QCoreApplication* app = nullptr;
    xcb_connection_t* c = nullptr;
    xcb_window_t window = 0;
    X11FilteringKeyTap tap;
    std::vector<std::pair<KeyCode, EventFlags>> seen;
};

TEST_F(X11FilteringKeyTapTest, PassedPressesAreReplayedToTheFocusAndDroppedOnesNeverArrive) {
    Verdict verdict = Verdict::pass;
    ASSERT_TRUE(tap.create({{9, Flags::command}}, [&](KeyCode key, EventFlags flags) {
        seen.push_back({key, flags});
        return verdict;
    }));

    type(xV, true);
    type(xB, false);
    EXPECT_EQ(windowPressesUntil(xB, 1), (std::vector<Press>{{xV, 0x4}, {xB, 0}}));

    verdict = Verdict::drop;
    for (int i = 0; i < 20; ++i) type(xV, true);
    type(xB, false);  // after twenty frozen-then-dropped presses the keyboard still types
    EXPECT_EQ(windowPressesUntil(xB, 21), (std::vector<Press>{{xB, 0}}));

    ASSERT_EQ(seen.size(), 21u);
    EXPECT_EQ(seen.front(), (std::pair<KeyCode, EventFlags>{9, Flags::command}));
}

TEST_F(X11FilteringKeyTapTest, ACombinationHeldElsewhereFailsTheTapAndLeavesNoGrabBehind) {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    auto grab = [&](std::uint8_t keycode, std::uint16_t state) {
        xcb_generic_error_t* error = xcb_request_check(
            c, xcb_grab_key_checked(c, 1, root, state, keycode, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return error == nullptr;
    };
    ASSERT_TRUE(grab(xB, 0x4 | 0x2));  // Ctrl+B with Caps Lock only: the last of the tap's keys
    EXPECT_FALSE(
        tap.create({{9, Flags::command}, {11, Flags::command}}, [](KeyCode, EventFlags) { return Verdict::drop; }));
    EXPECT_TRUE(grab(xV, 0x4));
    EXPECT_TRUE(grab(xV, 0xFF));

    // A later attempt, once the combination is free, takes everything it asks for.
    xcb_ungrab_key(c, XCB_GRAB_ANY, root, XCB_MOD_MASK_ANY);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    EXPECT_TRUE(tap.create({{9, Flags::command}}, [](KeyCode, EventFlags) { return Verdict::drop; }));
    EXPECT_FALSE(grab(xV, 0x4 | 0x10));
}

TEST(X11FilteringKeyTapStates, EveryStateHoldingTheRequiredModifiersAndNoOther) {
    const auto states = X11FilteringKeyTap::statesContaining(0x5);
    EXPECT_EQ(states.size(), 64u);
    for (const auto state : states) EXPECT_EQ(state & 0x5, 0x5);
    EXPECT_EQ(states.front(), 0x5);
    EXPECT_EQ(states.back(), 0xFF);
    EXPECT_EQ(X11FilteringKeyTap::statesContaining(0).size(), 256u);
}

}  // namespace
}  // namespace velko
