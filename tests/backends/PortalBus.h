#pragma once
// A private session bus with the stand-in portal on it, which prints a line for every call it
// gets and is steered through its /control object.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <functional>
#include <utility>

namespace velko::test {

class PortalBus {
public:
    // Nothing but the stand-in may answer for the portal, so the bus activates no services.
    static constexpr char config[] = R"(<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>
<auth>EXTERNAL</auth><policy context="default"><allow send_destination="*" eavesdrop="true"/>
<allow eavesdrop="true"/><allow own="*"/></policy></busconfig>)";

    static void ensureApplication() {
        static int argc = 1;
        static char name[] = "backend_tests";
        static char* argv[] = {name, nullptr};
        if (!QCoreApplication::instance()) new QCoreApplication(argc, argv);  // lives until the process ends
    }

    // The bus's address; empty (with a test failure) when it cannot be started.
    QString start() {
        ensureApplication();
        QFile file(dir_.filePath("bus.conf"));
        if (!file.open(QIODevice::WriteOnly)) return {};
        file.write(config);
        file.close();
        daemon_.start("dbus-daemon", {"--config-file=" + file.fileName(), "--nofork", "--print-address"});
        if (!daemon_.waitForStarted()) return {};
        while (!daemon_.canReadLine())
            if (!daemon_.waitForReadyRead(5000)) return {};
        address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert("DBUS_SESSION_BUS_ADDRESS", address_);
        portal_.setProcessEnvironment(environment);
        portal_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        return address_;
    }

    ~PortalBus() { stop(); }
    // The bus goes away, and the stand-in with it.
    void stop() {
        for (QProcess* process : {&portal_, &daemon_}) {
            process->kill();
            process->waitForFinished();
        }
    }

    // False when the stand-in did not say it owns the portal's name.
    bool startPortal(const QString& mode) {
        portal_.start("/usr/bin/python3", {VELKO_SOURCE_DIR "/tests/integration/portal_standin.py", "--mode", mode});
        return waitUntil([&] { return said.contains("ready"); });
    }

    // A method of the stand-in's /control object, on a connection of the test's.
    void control(QDBusConnection& bus, const QString& method, const QVariantList& arguments = {}) {
        auto message = QDBusMessage::createMethodCall("org.freedesktop.portal.Desktop", "/control",
                                                      "app.velko.PortalStandIn", method);
        message.setArguments(arguments);
        bus.call(message);
    }

    // Runs the Qt loop until condition holds, reading what the stand-in prints; false after 10 s.
    bool waitUntil(const std::function<bool()>& condition) {
        QElapsedTimer timer;
        timer.start();
        for (;;) {
            while (portal_.canReadLine()) said << QString::fromUtf8(portal_.readLine()).trimmed();
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

    QStringList said;

private:
    QTemporaryDir dir_;
    QProcess daemon_;
    QProcess portal_;
    QString address_;
};

// A test with the private bus up and one connection of its own to it.
struct PortalBusTest : ::testing::Test {
    explicit PortalBusTest(QString name) : connectionName(std::move(name)), bus(connectionName) {}
    void SetUp() override {
        const QString address = portal.start();
        if (address.isEmpty()) GTEST_SKIP() << "no dbus-daemon";
        bus = QDBusConnection::connectToBus(address, connectionName);
        ASSERT_TRUE(bus.isConnected());
    }
    void TearDown() override { QDBusConnection::disconnectFromBus(connectionName); }

    PortalBus portal;
    QString connectionName;
    QDBusConnection bus;
};

}  // namespace velko::test
