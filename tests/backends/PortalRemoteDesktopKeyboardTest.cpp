// The portal keyboard on a private session bus, against the stand-in portal that answers the
// documented RemoteDesktop calls and prints every call it gets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QRegularExpression>

#include <memory>

#include "PortalBus.h"
#include "portal/PortalRemoteDesktopKeyboard.h"

namespace velko {
namespace {

using State = PortalRemoteDesktopKeyboard::State;
using ::testing::HasSubstr;

struct PortalKeyboardTest : test::PortalBusTest {
    PortalKeyboardTest() : PortalBusTest(QStringLiteral("portal-test")) {}
    std::string storedToken;
    std::vector<State> states;

    std::unique_ptr<PortalRemoteDesktopKeyboard> keyboard(PortalRemoteDesktopKeyboard::Timeouts timeouts = {}) {
        auto made = std::make_unique<PortalRemoteDesktopKeyboard>(
            bus,
            PortalRemoteDesktopKeyboard::TokenStore{[this] { return storedToken; },
                                                    [this](const std::string& token) { storedToken = token; }},
            timeouts);
        made->setStateHandler([this](const PortalRemoteDesktopKeyboard::Status& s) { states.push_back(s.state); });
        return made;
    }
};

TEST_F(PortalKeyboardTest, ApprovedSessionPostsExactlyTheAskedModifiersAndRestoresWithItsToken) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto first = keyboard();
    first->start();
    ASSERT_TRUE(portal.waitUntil([&] { return first->state().state != State::starting; }));
    ASSERT_EQ(first->state().state, State::ready) << first->state().reason;
    EXPECT_EQ(states, (std::vector{State::starting, State::ready}));
    // Registered before any other call, so that the dialog names the helper.
    const qsizetype registered = portal.said.indexOf("register app.velko.Helper");
    EXPECT_GE(registered, 0);
    EXPECT_LT(registered, portal.said.indexOf(QRegularExpression("create_session .*")));
    EXPECT_EQ(portal.saidStarting("select_devices"),
              QStringList{"select_devices types=1 persist_mode=2 restore_token="});
    EXPECT_EQ(storedToken, "token-1");

    // Paste, then paste as plain text.
    EXPECT_TRUE(first->hasFrontmostApplication());
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, Flags::command, true));
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, Flags::command, false));
    const EventFlags plain = Flags::command | Flags::option | Flags::shift;
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, plain, true));
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, plain, false));
    EXPECT_FALSE(first->postKeyEvent(200, Flags::command, true));
    ASSERT_TRUE(portal.waitUntil([&] { return portal.saidStarting("key").size() >= 12; }));
    portal.pump(100);  // and nothing more
    EXPECT_TRUE(portal.saidStarting("key_overlap").isEmpty()) << "a key call left before the previous one returned";
    EXPECT_EQ(portal.saidStarting("key"), (QStringList{"key 29 1", "key 47 1", "key 47 0", "key 29 0",  // Ctrl+V
                                                       "key 29 1", "key 56 1", "key 42 1", "key 47 1", "key 47 0",
                                                       "key 42 0", "key 56 0", "key 29 0"}));

    // The next start hands the token back, which the portal replaces with a fresh one.
    first.reset();
    ASSERT_TRUE(portal.waitUntil([&] { return !portal.saidStarting("session_closed").isEmpty(); }));
    auto second = keyboard();
    second->start();
    ASSERT_TRUE(portal.waitUntil([&] { return second->state().state == State::ready; }));
    EXPECT_EQ(portal.saidStarting("select_devices").last(),
              "select_devices types=1 persist_mode=2 restore_token=token-1");
    EXPECT_EQ(storedToken, "token-2");
}

TEST_F(PortalKeyboardTest, APortalThatGivesNoTokenLeavesTheStoredOneInPlace) {
    ASSERT_TRUE(portal.startPortal("approve"));
    portal.control(bus, "Tokenless");
    storedToken = "token-from-a-newer-portal";
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::ready; }));
    EXPECT_EQ(storedToken, "token-from-a-newer-portal");
}

TEST_F(PortalKeyboardTest, RefusedKeyReleasesWhatTheStrokePressedAndPressesNothingMore) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::ready; }));
    portal.control(bus, "RefuseKey", {2u});  // Alt, the second key of paste-plain
    const EventFlags plain = Flags::command | Flags::option | Flags::shift;
    EXPECT_TRUE(k->postKeyEvent(KeyCodes::v, plain, true));
    EXPECT_TRUE(k->postKeyEvent(KeyCodes::v, plain, false));
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::unavailable; }));
    portal.pump(100);
    EXPECT_EQ(portal.saidStarting("key"), (QStringList{"key 29 1", "key 56 0", "key 29 0"}));
    EXPECT_THAT(k->state().reason, HasSubstr("refused a key"));
}

TEST_F(PortalKeyboardTest, KeysStillDownAreReleasedWhenTheKeyboardGoes) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::ready; }));
    EXPECT_TRUE(k->postKeyEvent(KeyCodes::v, Flags::command | Flags::shift, true));
    k.reset();  // the helper stopping between key-down and key-up, Ctrl's call still under way
    ASSERT_TRUE(portal.waitUntil([&] { return !portal.saidStarting("session_closed").isEmpty(); }));
    EXPECT_EQ(portal.saidStarting("key"), (QStringList{"key 29 1", "key 29 0"}));
}

TEST_F(PortalKeyboardTest, DeclinedAccessEndsUnavailableAndIsNotAskedAgain) {
    ASSERT_TRUE(portal.startPortal("deny"));
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::unavailable; }));
    EXPECT_EQ(k->state().reason, "keyboard access was declined");
    portal.pump(500);
    EXPECT_EQ(portal.saidStarting("start").size(), 1);
    EXPECT_EQ(states, (std::vector{State::starting, State::unavailable}));
    EXPECT_FALSE(k->hasFrontmostApplication());
    EXPECT_FALSE(k->postKeyEvent(KeyCodes::v, Flags::command, true));
    EXPECT_TRUE(portal.saidStarting("key").isEmpty());
    EXPECT_EQ(storedToken, "");
}

TEST_F(PortalKeyboardTest, UnansweredDialogTimesOutWhileTheLoopRunsOn) {
    ASSERT_TRUE(portal.startPortal("silent"));
    auto k = keyboard({.step = std::chrono::milliseconds(5000), .start = std::chrono::milliseconds(600)});
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(20);
    k->start();
    int ticksWhileAsking = 0;
    ASSERT_TRUE(portal.waitUntil([&] {
        if (!portal.saidStarting("start").isEmpty() && k->state().state == State::starting) ticksWhileAsking = ticks;
        return k->state().state == State::unavailable;
    }));
    EXPECT_GT(ticksWhileAsking, 3);
    EXPECT_THAT(k->state().reason, HasSubstr("did not answer within 0.6 s"));
    // Neither the dialog nor the session is left behind.
    EXPECT_TRUE(portal.waitUntil([&] {
        return !portal.saidStarting("request_closed").isEmpty() && !portal.saidStarting("session_closed").isEmpty();
    }));
}

TEST_F(PortalKeyboardTest, RevokedSessionEndsUnavailable) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::ready; }));
    portal.control(bus, "CloseSessions");
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::unavailable; }));
    EXPECT_THAT(k->state().reason, HasSubstr("revoked"));
    EXPECT_FALSE(k->postKeyEvent(KeyCodes::v, Flags::command, true));
}

TEST_F(PortalKeyboardTest, WithoutAPortalItSaysSo) {
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::unavailable; }));
    EXPECT_THAT(k->state().reason, HasSubstr("no desktop portal"));
}

TEST_F(PortalKeyboardTest, ANewBusGetsTheSessionBackWithItsToken) {
    ASSERT_TRUE(portal.startPortal("approve"));
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(portal.waitUntil([&] { return k->state().state == State::ready; }));
    EXPECT_TRUE(k->postKeyEvent(KeyCodes::v, Flags::command, true));  // Ctrl and V held as the bus goes
    ASSERT_TRUE(portal.waitUntil([&] { return portal.saidStarting("key").size() == 2; }));

    test::PortalBus next;
    const QString address = next.start();
    ASSERT_TRUE(next.startPortal("approve"));
    portal.stop();
    ASSERT_TRUE(next.waitUntil([&] { return !bus.isConnected(); }));
    const QString nextName = QStringLiteral("portal-test-next");
    k->moveTo(QDBusConnection::connectToBus(address, nextName));
    ASSERT_TRUE(next.waitUntil([&] { return k->state().state == State::ready; })) << k->state().reason;
    EXPECT_EQ(next.saidStarting("select_devices"),
              QStringList{"select_devices types=1 persist_mode=2 restore_token=token-1"});
    // Nothing is owed from the old session: the new one starts with no key down.
    EXPECT_TRUE(k->postKeyEvent(KeyCodes::v, Flags::command, true));
    EXPECT_TRUE(k->postKeyEvent(KeyCodes::v, Flags::command, false));
    ASSERT_TRUE(next.waitUntil([&] { return next.saidStarting("key").size() >= 4; }));
    EXPECT_EQ(next.saidStarting("key"), (QStringList{"key 29 1", "key 47 1", "key 47 0", "key 29 0"}));
    k.reset();
    QDBusConnection::disconnectFromBus(nextName);
}

}  // namespace
}  // namespace velko
