// Hotkey press to notification on the bus, end to end: an XTEST Ctrl+Shift+V press on a real
// X server, the running helper, and the "helper.hotkey.activated" signal seen by a bus client.
// Run through bench/run-hotkey-bench, which provides a private Xvfb, bus and focused window.
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "BenchFigures.h"
#include "NotificationListener.h"

namespace {

using namespace velko::bench;

void key(xcb_connection_t* c, std::uint8_t keycode, bool down) {
    xcb_test_fake_input(c, down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_hotkeys HELPER [presses]\n");
        return 2;
    }
    const int presses = argc > 2 ? std::atoi(argv[2]) : 200;
    constexpr std::uint8_t control = 37, shift = 50, v = 55;

    NotificationListener notes;
    const QString activated = QStringLiteral("helper.hotkey.activated");
    if (!notes.listen()) {
        std::fprintf(stderr, "bench_hotkeys: no session bus\n");
        return 1;
    }
    xcb_connection_t* c = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "bench_hotkeys: no X display\n");
        return 1;
    }

    QProcess helper;
    helper.setProcessChannelMode(QProcess::ForwardedChannels);
    helper.start(QString::fromLocal8Bit(argv[1]), {});
    if (!waitFor([&] { return notes.count(QStringLiteral("velko.helper.pong")) > 0; }, 5000)) {
        std::fprintf(stderr, "bench_hotkeys: no pong from the helper\n");
        return 1;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // its grabs follow the pong

    std::vector<double> latencies;
    int lost = 0;
    for (int i = 0; i < presses; ++i) {
        key(c, control, true);
        key(c, shift, true);
        xcb_flush(c);
        const int before = notes.count(activated);
        const auto t0 = Clock::now();
        key(c, v, true);
        xcb_flush(c);
        if (waitFor([&] { return notes.count(activated) > before; }, 1000))
            latencies.push_back(ms(notes.last(activated) - t0));
        else
            ++lost;
        key(c, v, false);
        key(c, shift, false);
        key(c, control, false);
        xcb_flush(c);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (!latencies.empty())
        std::printf("hotkey press to notification: p50 %.2f ms, p99 %.2f ms, max %.2f ms over %zu presses (%d lost)\n",
                    percentile(latencies, 0.5), percentile(latencies, 0.99), percentile(latencies, 1.0),
                    latencies.size(), lost);
    helper.terminate();
    helper.waitForFinished(5000);
    xcb_disconnect(c);
    return latencies.empty() ? 1 : 0;
}
