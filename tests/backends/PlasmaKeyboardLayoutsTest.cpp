// Following Plasma's layout switches, against a stand-in for its keyboard daemon on a private bus
// that answers getLayout and announces layoutChanged as the documented interface does.
#include "plasma/PlasmaKeyboardLayouts.h"

#include <gtest/gtest.h>

#include <QDBusVirtualObject>
#include <vector>

#include "PortalBus.h"

namespace velko::test {
namespace {

struct KeyboardDaemon : QDBusVirtualObject {
    uint layout = 0;
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() != QLatin1String("getLayout")) return false;
        connection.send(message.createReply(layout));
        return true;
    }
};

struct PlasmaKeyboardLayoutsTest : ::testing::Test {
    PortalBus portal;  // only its private bus: nothing else may answer
    QDBusConnection watcherBus{QStringLiteral("plasma-watcher")};
    QDBusConnection daemonBus{QStringLiteral("plasma-daemon")};
    KeyboardDaemon daemon;

    void SetUp() override {
        const QString address = portal.start();
        if (address.isEmpty()) GTEST_SKIP() << "no dbus-daemon";
        watcherBus = QDBusConnection::connectToBus(address, QStringLiteral("plasma-watcher"));
        daemonBus = QDBusConnection::connectToBus(address, QStringLiteral("plasma-daemon"));
        ASSERT_TRUE(daemonBus.registerService(QStringLiteral("org.kde.keyboard")));
        ASSERT_TRUE(daemonBus.registerVirtualObject(QStringLiteral("/Layouts"), &daemon));
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus(QStringLiteral("plasma-watcher"));
        QDBusConnection::disconnectFromBus(QStringLiteral("plasma-daemon"));
    }
    void switchTo(uint layout) {
        daemon.layout = layout;
        daemonBus.send(QDBusMessage::createSignal(QStringLiteral("/Layouts"), QStringLiteral("org.kde.KeyboardLayouts"),
                                                  QStringLiteral("layoutChanged"))
                       << layout);
    }
};

TEST_F(PlasmaKeyboardLayoutsTest, StartsWithTheLayoutInUseAndFollowsEachSwitch) {
    daemon.layout = 1;
    std::vector<std::uint32_t> layouts;
    PlasmaKeyboardLayouts watch(watcherBus, [&](std::uint32_t layout) { layouts.push_back(layout); });
    watch.start();
    ASSERT_TRUE(portal.waitUntil([&] { return layouts.size() == 1; }));
    switchTo(0);
    switchTo(0);  // said twice, changed once
    switchTo(2);
    ASSERT_TRUE(portal.waitUntil([&] { return layouts.size() == 3; }));
    portal.pump(100);
    EXPECT_EQ(layouts, (std::vector<std::uint32_t>{1, 0, 2}));
}

TEST_F(PlasmaKeyboardLayoutsTest, ANewBusIsFollowedFromTheLayoutInUseThere) {
    daemon.layout = 1;
    std::vector<std::uint32_t> layouts;
    PlasmaKeyboardLayouts watch(watcherBus, [&](std::uint32_t layout) { layouts.push_back(layout); });
    watch.start();
    ASSERT_TRUE(portal.waitUntil([&] { return layouts.size() == 1; }));

    PortalBus next;
    const QString address = next.start();
    const QString watcherName = QStringLiteral("plasma-watcher-next");
    const QString daemonName = QStringLiteral("plasma-daemon-next");
    auto nextDaemon = QDBusConnection::connectToBus(address, daemonName);
    ASSERT_TRUE(nextDaemon.registerService(QStringLiteral("org.kde.keyboard")));
    ASSERT_TRUE(nextDaemon.registerVirtualObject(QStringLiteral("/Layouts"), &daemon));
    daemon.layout = 2;  // switched while the bus was away
    watch.moveTo(QDBusConnection::connectToBus(address, watcherName));
    ASSERT_TRUE(next.waitUntil([&] { return layouts.size() == 2; }));
    switchTo(1);  // the old bus is no longer heard
    nextDaemon.send(QDBusMessage::createSignal(QStringLiteral("/Layouts"), QStringLiteral("org.kde.KeyboardLayouts"),
                                               QStringLiteral("layoutChanged"))
                    << 0u);
    ASSERT_TRUE(next.waitUntil([&] { return layouts.size() == 3; }));
    next.pump(100);
    EXPECT_EQ(layouts, (std::vector<std::uint32_t>{1, 2, 0}));
    QDBusConnection::disconnectFromBus(watcherName);
    QDBusConnection::disconnectFromBus(daemonName);
}

TEST_F(PlasmaKeyboardLayoutsTest, WithoutTheDaemonNothingChangesUntilItComesAndSwitches) {
    daemonBus.unregisterService(QStringLiteral("org.kde.keyboard"));
    std::vector<std::uint32_t> layouts;
    PlasmaKeyboardLayouts watch(watcherBus, [&](std::uint32_t layout) { layouts.push_back(layout); });
    watch.start();
    portal.pump(300);
    EXPECT_TRUE(layouts.empty());
    // KWin started after the helper: its switches are followed all the same.
    ASSERT_TRUE(daemonBus.registerService(QStringLiteral("org.kde.keyboard")));
    switchTo(2);
    ASSERT_TRUE(portal.waitUntil([&] { return !layouts.empty(); }));
    EXPECT_EQ(layouts, (std::vector<std::uint32_t>{2}));
}

}  // namespace
}  // namespace velko::test
