// Following GNOME's input source through the real dconf on a private session bus, and the
// translator reading keys with the layout switched to.
#include "gnome/GnomeInputSources.h"

#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <vector>

#include "PortalBus.h"
#include "evdev/EvdevKeyTranslator.h"
#include "evdev/SessionKeymap.h"

namespace velko::test {
namespace {

const std::string sources = "[('xkb', 'de'), ('ibus', 'anthy'), ('xkb', 'us')]";

TEST(GnomeInputSources, TheLayoutIsTheIndexOfTheMostRecentSourceAmongTheXkbOnes) {
    EXPECT_EQ(GnomeInputSources::activeLayout(sources, "[('xkb', 'de'), ('xkb', 'us')]"), 0u);
    EXPECT_EQ(GnomeInputSources::activeLayout(sources, "[('xkb', 'us'), ('xkb', 'de')]"), 1u);
    for (const char* unknown : {"[('ibus', 'anthy'), ('xkb', 'us')]", "[('xkb', 'fr')]", "@a(ss) []", "garbage"})
        EXPECT_EQ(GnomeInputSources::activeLayout(sources, unknown), std::nullopt) << unknown;
}

TEST(GnomeInputSources, KeysAreReadWithTheLayoutSwitchedToWhileAShiftIsHeld) {
    EvdevKeyTranslator translator(SessionKeymap::fromNames(*SessionKeymap::fromGnomeSources(sources)).text);
    ASSERT_TRUE(translator.valid());
    const auto typed = [&](std::uint16_t code) {
        const auto event = translator.key(0, code, 1);
        translator.key(0, code, 0);
        return event && event->characters ? *event->characters : "";
    };
    EXPECT_EQ(typed(KEY_Y), "z");
    translator.key(0, KEY_LEFTSHIFT, 1);
    translator.setLayout(1);
    EXPECT_EQ(typed(KEY_Y), "Y");
    translator.key(0, KEY_LEFTSHIFT, 0);
    EXPECT_EQ(typed(KEY_Y), "y");
    translator.setLayout(7);  // no such layout: unchanged
    EXPECT_EQ(typed(KEY_Y), "y");
}

// dconf's writer service, started by a private bus, keeps its settings in a directory of the test.
struct DconfBus : ::testing::Test {
    QTemporaryDir dir;
    QProcess daemon;
    QString connectionName = QStringLiteral("gnome-sources-test");
    QDBusConnection bus{connectionName};
    std::vector<std::pair<const char*, QByteArray>> saved;

    void setEnvironment(const char* name, const QString& value) {
        saved.emplace_back(name, qgetenv(name));
        qputenv(name, value.toLocal8Bit());
    }
    void SetUp() override {
        PortalBus::ensureApplication();
        if (QStandardPaths::findExecutable("gsettings").isEmpty() ||
            !QFile::exists("/usr/share/dbus-1/services/ca.desrt.dconf.service"))
            GTEST_SKIP() << "no gsettings or dconf service";
        QDir(dir.path()).mkpath("config");
        QDir(dir.path()).mkpath("run");
        QFile::setPermissions(dir.filePath("run"),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        setEnvironment("XDG_CONFIG_HOME", dir.filePath("config"));
        setEnvironment("XDG_RUNTIME_DIR", dir.filePath("run"));
        setEnvironment("GSETTINGS_BACKEND", "dconf");
        setEnvironment("DBUS_SESSION_BUS_ADDRESS", {});
        const QString address = startBus();
        ASSERT_FALSE(address.isEmpty()) << "the bus printed no address";
        bus = QDBusConnection::connectToBus(address, connectionName);
        ASSERT_TRUE(bus.isConnected());
    }
    // A dbus-daemon of the test's; its address, which gsettings is told to use.
    QString startBus() {
        daemon.kill();
        daemon.waitForFinished();
        daemon.start("dbus-daemon", {"--session", "--nofork", "--print-address"});
        if (!daemon.waitForStarted()) return {};
        while (!daemon.canReadLine())
            if (!daemon.waitForReadyRead(5000)) return {};
        const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address.toLocal8Bit());
        return address;
    }
    void TearDown() override {
        QDBusConnection::disconnectFromBus(connectionName);
        daemon.kill();
        daemon.waitForFinished();
        for (auto it = saved.rbegin(); it != saved.rend(); ++it) qputenv(it->first, it->second);
    }
    static void set(const char* key, const char* value) {
        ASSERT_EQ(QProcess::execute("gsettings", {"set", "org.gnome.desktop.input-sources", key, value}), 0);
    }
    static void setMru(const char* value) { set("mru-sources", value); }
    static bool waitUntil(const std::function<bool()>& condition) {
        QElapsedTimer timer;
        timer.start();
        while (!condition() && timer.elapsed() < 10000) QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        return condition();
    }
};

TEST_F(DconfBus, FollowsEachSwitchGnomeWritesAndIgnoresWhatIsNoXkbSource) {
    setMru("[('xkb', 'de'), ('xkb', 'us')]");
    std::vector<std::uint32_t> layouts;
    GnomeInputSources watch(bus, sources, [&](std::uint32_t layout) { layouts.push_back(layout); });
    watch.start();
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 1; }));
    setMru("[('xkb', 'us'), ('xkb', 'de')]");
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 2; }));
    setMru("[('ibus', 'anthy'), ('xkb', 'us'), ('xkb', 'de')]");
    setMru("[('xkb', 'de'), ('ibus', 'anthy'), ('xkb', 'us')]");
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 3; }));
    EXPECT_EQ(layouts, (std::vector<std::uint32_t>{0, 1, 0}));
}

TEST_F(DconfBus, ANewBusIsHeardFromTheSwitchMadeWhileItWasAway) {
    setMru("[('xkb', 'de'), ('xkb', 'us')]");
    std::vector<std::uint32_t> layouts;
    GnomeInputSources watch(bus, sources, [&](std::uint32_t layout) { layouts.push_back(layout); });
    watch.start();
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 1; }));
    const QString address = startBus();
    ASSERT_FALSE(address.isEmpty());
    setMru("[('xkb', 'us'), ('xkb', 'de')]");
    const QString nextName = QStringLiteral("gnome-sources-next");
    watch.moveTo(QDBusConnection::connectToBus(address, nextName));
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 2; }));
    setMru("[('xkb', 'de'), ('xkb', 'us')]");
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 3; }));
    EXPECT_EQ(layouts, (std::vector<std::uint32_t>{0, 1, 0}));
    QDBusConnection::disconnectFromBus(nextName);
}

TEST_F(DconfBus, ANewListOfSourcesIsANewKeymapWithTheActiveSourceFoundInIt) {
    const char* deUs = "[('xkb', 'de'), ('xkb', 'us')]";
    set("sources", deUs);
    setMru(deUs);
    std::vector<std::string> keymaps;
    std::vector<std::uint32_t> layouts;
    GnomeInputSources watch(
        bus, deUs, [&](std::uint32_t layout) { layouts.push_back(layout); },
        [&](const std::string& sources) { keymaps.push_back(sources); });
    watch.start();
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 1; }));
    set("sources", deUs);  // written again unchanged: no new keymap
    set("sources", "[('xkb', 'us'), ('ibus', 'anthy'), ('xkb', 'de')]");
    ASSERT_TRUE(waitUntil([&] { return layouts.size() == 2; }));
    ASSERT_EQ(keymaps.size(), 1u);
    EXPECT_EQ(layouts, (std::vector<std::uint32_t>{0, 1}));

    // German, still in use, is the new keymap's second layout.
    EvdevKeyTranslator translator(SessionKeymap::fromNames(*SessionKeymap::fromGnomeSources(keymaps[0])).text);
    translator.setLayout(layouts.back());
    const auto event = translator.key(0, KEY_Y, 1);
    ASSERT_TRUE(event && event->characters);
    EXPECT_EQ(*event->characters, "z");
}

}  // namespace
}  // namespace velko::test
