// The portal's global shortcuts on a private session bus, against the stand-in portal that
// answers the documented GlobalShortcuts calls and prints every call it gets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QThread>
#include <memory>

#include "PortalBus.h"
#include "portal/PortalGlobalShortcuts.h"

namespace velko::test {
namespace {

using State = PortalGlobalShortcuts::State;
using ::testing::HasSubstr;

struct Press {
    KeyCode keyCode;
    EventFlags flags;
    bool onMainThread;
    bool operator==(const Press&) const = default;
};

struct PortalGlobalShortcutsTest : PortalBusTest {
    PortalGlobalShortcutsTest() : PortalBusTest(QStringLiteral("shortcuts-test")) {}
    std::vector<Press> presses;
    std::vector<State> states;
    int triggerChanges = 0;

    // The core's three combinations, as GlobalHotkeyManager registers them.
    static std::vector<FilteringKeyTap::Combination> combinations() {
        constexpr EventFlags commandShift = Flags::command | Flags::shift;
        return {{KeyCodes::v, commandShift}, {KeyCodes::space, commandShift}, {KeyCodes::s, commandShift}};
    }

    std::unique_ptr<PortalGlobalShortcuts> shortcuts(PortalGlobalShortcuts::Timeouts timeouts = {}) {
        auto made = std::make_unique<PortalGlobalShortcuts>(bus, timeouts);
        made->setStateHandler([this](const PortalGlobalShortcuts::Status& s) { states.push_back(s.state); });
        made->addTriggersHandler([this] { ++triggerChanges; });
        return made;
    }
    bool create(PortalGlobalShortcuts& s) {
        return s.create(combinations(), [this](KeyCode keyCode, EventFlags flags) {
            presses.push_back({keyCode, flags, QThread::currentThread() == QCoreApplication::instance()->thread()});
            return FilteringKeyTap::Verdict::drop;
        });
    }
};

TEST_F(PortalGlobalShortcutsTest, BindsTheCombinationsUnderTheirIdentifiersAndAnswersEachActivation) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto s = shortcuts();
    ASSERT_TRUE(create(*s));
    ASSERT_TRUE(portal.waitUntil([&] { return s->state().state != State::starting; }));
    ASSERT_EQ(s->state().state, State::ready) << s->state().reason;
    EXPECT_EQ(states, (std::vector{State::starting, State::ready}));
    EXPECT_EQ(portal.saidStarting("bind_shortcuts"),
              QStringList{"bind_shortcuts open_popover,spotlight_launcher,save_snippet"});
    // The stand-in gives each shortcut its preferred trigger, so these are what the helper asked for.
    EXPECT_EQ(s->triggers(), (std::map<std::string, std::string>{{"open_popover", "CTRL+SHIFT+V"},
                                                                 {"save_snippet", "CTRL+SHIFT+S"},
                                                                 {"spotlight_launcher", "CTRL+SHIFT+space"}}));

    const EventFlags commandShift = Flags::command | Flags::shift;
    portal.control(bus, "Activate", {"spotlight_launcher"});
    portal.control(bus, "Deactivate", {"spotlight_launcher"});
    portal.control(bus, "Activate", {"save_snippet"});
    ASSERT_TRUE(portal.waitUntil([&] { return presses.size() >= 2; }));
    portal.pump(100);  // and nothing for the release
    EXPECT_EQ(presses, (std::vector<Press>{{KeyCodes::space, commandShift, true}, {KeyCodes::s, commandShift, true}}));

    // The person gives a shortcut other keys in the desktop's settings.
    const int changesBefore = triggerChanges;
    portal.control(bus, "ChangeTrigger", {"save_snippet", "Ctrl+Alt+S"});
    ASSERT_TRUE(portal.waitUntil([&] { return triggerChanges > changesBefore; }));
    EXPECT_EQ(s->triggers().at("save_snippet"), "Ctrl+Alt+S");
    EXPECT_EQ(s->triggers().at("open_popover"), "CTRL+SHIFT+V");
}

TEST_F(PortalGlobalShortcutsTest, ABindingEndedWithTheShortcutsAsGnome48AnswersIsTakenAfterRegistering) {
    ASSERT_TRUE(portal.startPortal("ended"));
    auto s = shortcuts();
    ASSERT_TRUE(create(*s));
    ASSERT_TRUE(portal.waitUntil([&] { return s->state().state != State::starting; }));
    ASSERT_EQ(s->state().state, State::ready) << s->state().reason;
    EXPECT_EQ(s->triggers().at("open_popover"), "CTRL+SHIFT+V");
    // GNOME finds the helper's desktop file by the reverse-DNS id, asked before anything else.
    const qsizetype registered = portal.said.indexOf("register app.velko.Helper");
    EXPECT_GE(registered, 0);
    EXPECT_LT(registered, portal.said.indexOf(QRegularExpression("create_session .*")));
}

TEST_F(PortalGlobalShortcutsTest, ADeclinedUnansweredOrMissingPortalLeavesHotkeysOffWithOneLineSayingWhy) {
    {
        auto s = shortcuts();
        testing::internal::CaptureStderr();
        EXPECT_FALSE(create(*s));
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "velko-helper: no hotkeys through the desktop portal: no desktop portal on the session bus\n");
        EXPECT_EQ(s->state().state, State::unavailable);
    }

    ASSERT_TRUE(portal.startPortal("deny"));
    auto declined = shortcuts();
    testing::internal::CaptureStderr();
    EXPECT_TRUE(create(*declined));
    ASSERT_TRUE(portal.waitUntil([&] { return declined->state().state == State::unavailable; }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "velko-helper: no hotkeys through the desktop portal: the shortcuts were declined\n");
    EXPECT_TRUE(declined->triggers().empty());
    // The session made for the shortcuts is not left behind.
    EXPECT_TRUE(portal.waitUntil([&] { return portal.saidStarting("session_closed").size() == 1; }));

    portal.control(bus, "SetMode", {"silent"});
    auto unanswered = shortcuts({.step = std::chrono::milliseconds(5000), .bind = std::chrono::milliseconds(600)});
    EXPECT_TRUE(create(*unanswered));
    ASSERT_TRUE(portal.waitUntil([&] { return unanswered->state().state == State::unavailable; }));
    EXPECT_THAT(unanswered->state().reason, HasSubstr("did not answer within 0.6 s"));
    EXPECT_TRUE(portal.waitUntil([&] {
        return portal.saidStarting("request_closed").size() == 1 && portal.saidStarting("session_closed").size() == 2;
    }));
}

TEST_F(PortalGlobalShortcutsTest, ASessionTheDesktopClosedIsBoundAgainAtTheNextStart) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto first = shortcuts();
    ASSERT_TRUE(create(*first));
    ASSERT_TRUE(portal.waitUntil([&] { return first->state().state == State::ready; }));
    portal.control(bus, "CloseSessions");
    ASSERT_TRUE(portal.waitUntil([&] { return first->state().state == State::unavailable; }));
    EXPECT_THAT(first->state().reason, HasSubstr("closed the shortcuts session"));
    EXPECT_TRUE(first->triggers().empty());
    portal.control(bus, "Activate", {"open_popover"});
    portal.pump(100);
    EXPECT_TRUE(presses.empty());
    first.reset();

    auto next = shortcuts();
    ASSERT_TRUE(create(*next));
    ASSERT_TRUE(portal.waitUntil([&] { return next->state().state == State::ready; }));
    EXPECT_EQ(portal.saidStarting("bind_shortcuts").size(), 2);
    portal.control(bus, "Activate", {"open_popover"});
    ASSERT_TRUE(portal.waitUntil([&] { return !presses.empty(); }));
    EXPECT_EQ(presses[0].keyCode, KeyCodes::v);
}

}  // namespace
}  // namespace velko::test
