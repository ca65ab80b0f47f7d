// A shortcut the desktop portal activates, to "helper.hotkey.activated" seen on the bus: the
// stand-in portal emits Activated, the helper's portal shortcuts and the real hotkey manager
// answer, and a bus client of its own sees the notification. Also the share after the Activated
// signal reached a bus client, which leaves out the stand-in's own time. Run through
// bench/run-portal-hotkey-bench, which provides a private session bus.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QElapsedTimer>
#include <QProcess>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "BenchFigures.h"
#include "Core/GlobalHotkeyManager.h"
#include "NotificationListener.h"
#include "dbus/DBusNotificationCenter.h"
#include "portal/PortalGlobalShortcuts.h"
#include "qt/QtMainQueue.h"
#include "session/NoFocusTracker.h"

namespace {

using namespace velko::bench;

// When the stand-in portal last announced an activation.
class PortalListener : public QObject {
    Q_OBJECT
public:
    Clock::time_point activated;
public slots:
    void portalActivated(const QDBusMessage&) { activated = Clock::now(); }
};

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_portal_hotkeys PORTAL_STANDIN [activations]\n");
        return 2;
    }
    const int activations = argc > 2 ? std::atoi(argv[2]) : 500;

    QProcess portal;
    portal.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    portal.start("/usr/bin/python3", {QString::fromLocal8Bit(argv[1])});
    if (!portal.waitForReadyRead(10000) || !portal.readLine().startsWith("ready")) {
        std::fprintf(stderr, "bench_portal_hotkeys: the stand-in portal did not start\n");
        return 1;
    }

    velko::QtMainQueue queue;
    velko::DBusNotificationCenter center;
    velko::PortalGlobalShortcuts shortcuts(
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("velko-shortcuts")));
    velko::NoFocusTracker focus;
    velko::GlobalHotkeyManager hotkeys(shortcuts, queue, center, focus);
    hotkeys.start();
    if (!waitFor([&] { return shortcuts.state().state != velko::PortalGlobalShortcuts::State::starting; }, 10000) ||
        shortcuts.state().state != velko::PortalGlobalShortcuts::State::ready) {
        std::fprintf(stderr, "bench_portal_hotkeys: the shortcuts were not bound\n");
        return 1;
    }

    NotificationListener notes;
    PortalListener listener;
    const QString hotkey = QStringLiteral("helper.hotkey.activated");
    QDBusConnection client = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("client"));
    notes.listen(client);
    client.connect(QString(), "/org/freedesktop/portal/desktop", "org.freedesktop.portal.GlobalShortcuts", "Activated",
                   &listener, SLOT(portalActivated(QDBusMessage)));
    center.sync();

    std::vector<double> total, helper;
    int lost = 0;
    for (int i = 0; i < activations; ++i) {
        const int before = notes.count(hotkey);
        auto activate = QDBusMessage::createMethodCall("org.freedesktop.portal.Desktop", "/control",
                                                       "app.velko.PortalStandIn", "Activate");
        activate << QStringLiteral("open_popover");
        const auto t0 = Clock::now();
        client.asyncCall(activate);
        if (!waitFor([&] { return notes.count(hotkey) > before; }, 1000)) {
            ++lost;
            continue;
        }
        total.push_back(ms(notes.last(hotkey) - t0));
        helper.push_back(ms(notes.last(hotkey) - listener.activated));
    }
    std::printf("portal activation to notification: p50 %.2f ms, p99 %.2f ms over %zu activations (%d lost)\n",
                percentile(total, 0.5), percentile(total, 0.99), total.size(), lost);
    std::printf("  of which after the Activated signal: p50 %.3f ms, p99 %.3f ms\n", percentile(helper, 0.5),
                percentile(helper, 0.99));
    portal.kill();
    portal.waitForFinished();
    return total.empty() ? 1 : 0;
}

#include "bench_portal_hotkeys.moc"
