// End-to-end figures of the link, measured against a running X server and session bus:
//   start to first pong, paste request to key press (seen by a RECORD client), idle memory.
// Run through bench/run-link-bench, which provides a private Xvfb, bus and focused window.
#include <xcb/record.h>
#include <xcb/xcb.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QProcess>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "BenchFigures.h"
#include "NotificationListener.h"

namespace {

using namespace velko::bench;

// Sees every key press on the display, whoever sent it.
class KeyPressListener {
public:
    bool start() {
        control_ = xcb_connect(nullptr, nullptr);
        data_ = xcb_connect(nullptr, nullptr);
        if (xcb_connection_has_error(control_) || xcb_connection_has_error(data_)) return false;
        const auto context = xcb_generate_id(control_);
        xcb_record_range_t range{};
        range.device_events.first = XCB_KEY_PRESS;
        range.device_events.last = XCB_KEY_PRESS;
        xcb_record_client_spec_t clients = XCB_RECORD_CS_ALL_CLIENTS;
        auto* error = xcb_request_check(
            control_, xcb_record_create_context_checked(control_, context, 0, 1, 1, &clients, &range));
        if (error) {
            free(error);
            return false;
        }
        thread_ = std::thread([this, context] {
            const auto cookie = xcb_record_enable_context(data_, context);
            while (auto* reply = xcb_record_enable_context_reply(data_, cookie, nullptr)) {
                if (reply->category == 0) {
                    const auto* bytes = xcb_record_enable_context_data(reply);
                    const int length = xcb_record_enable_context_data_length(reply);
                    for (int i = 0; i + 32 <= length; i += 32)
                        if ((bytes[i] & 0x7f) == XCB_KEY_PRESS && bytes[i + 1] == 55) {
                            std::lock_guard lock(mutex_);
                            lastPress_ = Clock::now();
                            ++presses_;
                            seen_.notify_all();
                        }
                }
                free(reply);
            }
        });
        return true;
    }
    int presses() {
        std::lock_guard lock(mutex_);
        return presses_;
    }
    // The time of the press after `before` presses, or nothing within the timeout.
    std::optional<Clock::time_point> waitForPress(int before, std::chrono::milliseconds timeout) {
        std::unique_lock lock(mutex_);
        if (!seen_.wait_for(lock, timeout, [&] { return presses_ > before; })) return std::nullopt;
        return lastPress_;
    }
    void detach() { thread_.detach(); }

private:
    xcb_connection_t* control_ = nullptr;
    xcb_connection_t* data_ = nullptr;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable seen_;
    Clock::time_point lastPress_;
    int presses_ = 0;
};

void post(const QString& name) {
    auto message = QDBusMessage::createSignal("/app/velko/Notifications", "app.velko.Notifications", "Posted");
    message << name << QString();
    QDBusConnection::sessionBus().send(message);
}

long residentKiB(qint64 pid) { return statusKiB(std::to_string(pid), "VmRSS:"); }

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_link HELPER [requests] [idle-seconds]\n");
        return 2;
    }
    const QString helper = QString::fromLocal8Bit(argv[1]);
    const int requests = argc > 2 ? std::atoi(argv[2]) : 200;
    const int idleSeconds = argc > 3 ? std::atoi(argv[3]) : 60;

    NotificationListener notes;
    const auto pongs = [&] { return notes.count(QStringLiteral("velko.helper.pong")); };
    if (!notes.listen()) {
        std::fprintf(stderr, "bench_link: no session bus\n");
        return 1;
    }

    // Start to first pong, over fresh processes.
    std::vector<double> starts;
    for (int i = 0; i < 10; ++i) {
        QProcess process;
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        const int before = pongs();
        const auto t0 = Clock::now();
        process.start(helper, {});
        if (!waitFor([&] { return pongs() > before; }, 5000)) {
            std::fprintf(stderr, "bench_link: no pong from a fresh helper\n");
            return 1;
        }
        starts.push_back(ms(Clock::now() - t0));
        process.terminate();
        process.waitForFinished(5000);
    }
    std::printf("start to first pong: median %.1f ms, max %.1f ms over %zu starts\n", percentile(starts, 0.5),
                percentile(starts, 1.0), starts.size());

    KeyPressListener listener;
    if (!listener.start()) {
        std::fprintf(stderr, "bench_link: the X server offers no RECORD\n");
        return 1;
    }
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const int before = pongs();
    process.start(helper, {});
    waitFor([&] { return pongs() > before; }, 5000);

    std::vector<double> latencies;
    int lost = 0;
    for (int i = 0; i < requests; ++i) {
        const int presses = listener.presses();
        const auto t0 = Clock::now();
        post(QStringLiteral("velko.paste.now"));
        const auto seen = listener.waitForPress(presses, std::chrono::milliseconds(1000));
        if (seen)
            latencies.push_back(ms(*seen - t0));
        else
            ++lost;
        std::this_thread::sleep_for(std::chrono::milliseconds(210));  // one request per rate-limit period
    }
    if (!latencies.empty())
        std::printf("paste request to key press: p50 %.2f ms, p99 %.2f ms, max %.2f ms over %zu requests (%d lost)\n",
                    percentile(latencies, 0.5), percentile(latencies, 0.99), percentile(latencies, 1.0),
                    latencies.size(), lost);

    std::printf("resident memory after start: %ld KiB\n", residentKiB(process.processId()));
    std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
    std::printf("resident memory after %d s idle: %ld KiB\n", idleSeconds, residentKiB(process.processId()));
    process.terminate();
    process.waitForFinished(5000);
    listener.detach();
    std::fflush(stdout);
    std::_Exit(0);
}
