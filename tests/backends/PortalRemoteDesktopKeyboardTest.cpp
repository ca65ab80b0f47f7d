// The portal keyboard on a private session bus, against the stand-in portal that answers the
// documented RemoteDesktop calls and prints every call it gets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <memory>

#include "portal/PortalRemoteDesktopKeyboard.h"

namespace velko {
namespace {

using State = PortalRemoteDesktopKeyboard::State;
using ::testing::HasSubstr;

// Nothing but the stand-in may answer for the portal, so the bus activates no services.
constexpr char busConfig[] = R"(<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>
<auth>EXTERNAL</auth><policy context="default"><allow send_destination="*" eavesdrop="true"/>
<allow eavesdrop="true"/><allow own="*"/></policy></busconfig>)";

struct PortalKeyboardTest : ::testing::Test {
    QTemporaryDir dir;
    QProcess busDaemon;
    QProcess portal;
    QString connectionName = QStringLiteral("portal-test");
    QDBusConnection bus{connectionName};
    QStringList said;
    std::string storedToken;
    std::vector<State> states;

    static void SetUpTestSuite() {
        static int argc = 1;
        static char name[] = "backend_tests";
        static char* argv[] = {name, nullptr};
        static QCoreApplication app(argc, argv);
    }

    void SetUp() override {
        QFile config(dir.filePath("bus.conf"));
        ASSERT_TRUE(config.open(QIODevice::WriteOnly));
        config.write(busConfig);
        config.close();
        busDaemon.start("dbus-daemon", {"--config-file=" + config.fileName(), "--nofork", "--print-address"});
        if (!busDaemon.waitForStarted()) GTEST_SKIP() << "no dbus-daemon";
        while (!busDaemon.canReadLine()) ASSERT_TRUE(busDaemon.waitForReadyRead()) << "the bus printed no address";
        const QString address = QString::fromUtf8(busDaemon.readLine()).trimmed();
        bus = QDBusConnection::connectToBus(address, connectionName);
        ASSERT_TRUE(bus.isConnected());
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DBUS_SESSION_BUS_ADDRESS", address);
        portal.setProcessEnvironment(environment);
        portal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    }

    void TearDown() override {
        QDBusConnection::disconnectFromBus(connectionName);
        for (QProcess* process : {&portal, &busDaemon}) {
            process->kill();
            process->waitForFinished();
        }
    }

    void startPortal(const QString& mode) {
        portal.start("/usr/bin/python3", {VELKO_SOURCE_DIR "/tests/integration/portal_standin.py", "--mode", mode});
        ASSERT_TRUE(waitUntil([&] { return said.contains("ready"); })) << "the stand-in portal did not start";
    }

    std::unique_ptr<PortalRemoteDesktopKeyboard> keyboard(PortalRemoteDesktopKeyboard::Timeouts timeouts = {}) {
        auto made = std::make_unique<PortalRemoteDesktopKeyboard>(
            bus,
            PortalRemoteDesktopKeyboard::TokenStore{[this] { return storedToken; },
                                                    [this](const std::string& token) { storedToken = token; }},
            timeouts);
        made->setStateHandler([this](const PortalRemoteDesktopKeyboard::Status& s) { states.push_back(s.state); });
        return made;
    }

    // Runs the Qt loop until condition holds, reading what the stand-in prints; false after 10 s.
    bool waitUntil(const std::function<bool()>& condition) {
        QElapsedTimer timer;
        timer.start();
        for (;;) {
            while (portal.canReadLine()) said << QString::fromUtf8(portal.readLine()).trimmed();
            if (condition()) return true;
            if (timer.elapsed() > 10000) return false;
            QEventLoop loop;
            QTimer::singleShot(10, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }
    void pump(int ms) {
        QElapsedTimer timer;
        timer.start();
        waitUntil([&] { return timer.elapsed() > ms; });
    }
    // The lines the stand-in printed for one kind of call.
    QStringList saidStarting(const QString& word) const {
        QStringList lines;
        for (const QString& line : said)
            if (line.section(' ', 0, 0) == word) lines << line;
        return lines;
    }
};

TEST_F(PortalKeyboardTest, ApprovedSessionPostsExactlyTheAskedModifiersAndRestoresWithItsToken) {
    startPortal("approve");
    auto first = keyboard();
    first->start();
    EXPECT_FALSE(first->restoring());  // the dialog is due
    ASSERT_TRUE(waitUntil([&] { return first->state().state != State::starting; }));
    ASSERT_EQ(first->state().state, State::ready) << first->state().reason;
    EXPECT_EQ(states, (std::vector{State::starting, State::ready}));
    EXPECT_EQ(saidStarting("select_devices"), QStringList{"select_devices types=1 persist_mode=2 restore_token="});
    EXPECT_EQ(storedToken, "token-1");

    // Paste, then paste as plain text.
    EXPECT_TRUE(first->hasFrontmostApplication());
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, Flags::command, true));
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, Flags::command, false));
    const EventFlags plain = Flags::command | Flags::option | Flags::shift;
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, plain, true));
    EXPECT_TRUE(first->postKeyEvent(KeyCodes::v, plain, false));
    EXPECT_FALSE(first->postKeyEvent(200, Flags::command, true));
    ASSERT_TRUE(waitUntil([&] { return saidStarting("key").size() >= 12; }));
    pump(100);                                                                                   // and nothing more
    EXPECT_EQ(saidStarting("key"), (QStringList{"key 29 1", "key 47 1", "key 47 0", "key 29 0",  // Ctrl+V
                                                "key 29 1", "key 56 1", "key 42 1", "key 47 1", "key 47 0", "key 42 0",
                                                "key 56 0", "key 29 0"}));

    // The next start hands the token back, which the portal replaces with a fresh one.
    first.reset();
    ASSERT_TRUE(waitUntil([&] { return !saidStarting("session_closed").isEmpty(); }));
    auto second = keyboard();
    second->start();
    EXPECT_TRUE(second->restoring());
    ASSERT_TRUE(waitUntil([&] { return second->state().state == State::ready; }));
    EXPECT_EQ(saidStarting("select_devices").last(), "select_devices types=1 persist_mode=2 restore_token=token-1");
    EXPECT_EQ(storedToken, "token-2");
}

TEST_F(PortalKeyboardTest, DeclinedAccessEndsUnavailableAndIsNotAskedAgain) {
    startPortal("deny");
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(waitUntil([&] { return k->state().state == State::unavailable; }));
    EXPECT_EQ(k->state().reason, "keyboard access was declined");
    pump(500);
    EXPECT_EQ(saidStarting("start").size(), 1);
    EXPECT_EQ(states, (std::vector{State::starting, State::unavailable}));
    EXPECT_FALSE(k->hasFrontmostApplication());
    EXPECT_FALSE(k->postKeyEvent(KeyCodes::v, Flags::command, true));
    EXPECT_TRUE(saidStarting("key").isEmpty());
    EXPECT_EQ(storedToken, "");
}

TEST_F(PortalKeyboardTest, UnansweredDialogTimesOutWhileTheLoopRunsOn) {
    startPortal("silent");
    auto k = keyboard({.step = std::chrono::milliseconds(5000), .start = std::chrono::milliseconds(600)});
    int ticks = 0;
    QTimer ticker;
    QObject::connect(&ticker, &QTimer::timeout, [&] { ++ticks; });
    ticker.start(20);
    k->start();
    int ticksWhileAsking = 0;
    ASSERT_TRUE(waitUntil([&] {
        if (!saidStarting("start").isEmpty() && k->state().state == State::starting) ticksWhileAsking = ticks;
        return k->state().state == State::unavailable;
    }));
    EXPECT_GT(ticksWhileAsking, 3);
    EXPECT_THAT(k->state().reason, HasSubstr("did not answer within 0.6 s"));
    // Neither the dialog nor the session is left behind.
    EXPECT_TRUE(waitUntil(
        [&] { return !saidStarting("request_closed").isEmpty() && !saidStarting("session_closed").isEmpty(); }));
}

TEST_F(PortalKeyboardTest, RevokedSessionEndsUnavailable) {
    startPortal("approve");
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(waitUntil([&] { return k->state().state == State::ready; }));
    bus.call(QDBusMessage::createMethodCall("org.freedesktop.portal.Desktop", "/control", "app.velko.PortalStandIn",
                                            "CloseSessions"));
    ASSERT_TRUE(waitUntil([&] { return k->state().state == State::unavailable; }));
    EXPECT_THAT(k->state().reason, HasSubstr("revoked"));
    EXPECT_FALSE(k->postKeyEvent(KeyCodes::v, Flags::command, true));
}

TEST_F(PortalKeyboardTest, WithoutAPortalItSaysSo) {
    auto k = keyboard();
    k->start();
    ASSERT_TRUE(waitUntil([&] { return k->state().state == State::unavailable; }));
    EXPECT_THAT(k->state().reason, HasSubstr("no desktop portal"));
}

}  // namespace
}  // namespace velko
