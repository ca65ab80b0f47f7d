// Typed key to keystroke buffer, per key, through each way the helper watches typing: evdev
// records read from a keyboard (a FIFO here, written by another process as the kernel would) and
// X RECORD on a real X server (XTEST keys sent by another process). Both feed the real expansion
// engine on the Qt loop; what is measured is this process's CPU time, its reader thread included,
// and the wall time per key of a burst. With "focus", the X11 focus tracker runs too and every key
// asks it, as a key that must not be watched in a password field will. Run through
// bench/run-key-source-bench.
#include <fcntl.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

#include "BenchFigures.h"
#include "evdev/EvdevKeyEventTap.h"
#include "evdev/SessionKeymap.h"
#include "fakes/FakeExpansionPlatform.h"
#include "fakes/TempDir.h"
#include "posix/SteadyClock.h"
#include "qt/QtMainQueue.h"
#include "x11/X11FocusTracker.h"
#include "x11/X11KeyEventTap.h"

namespace {

using namespace velko;
using namespace velko::test;

// Letters and spaces, never a trigger: every key pays the full lookup.
constexpr std::uint16_t evdevLetters[] = {KEY_H, KEY_E, KEY_L, KEY_L, KEY_O, KEY_SPACE,
                                          KEY_W, KEY_O, KEY_R, KEY_L, KEY_D, KEY_SPACE};

double cpuSeconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// Passes every key-down of `source` on and counts it.
class CountingTap : public KeyEventTap {
public:
    bool start(Handler handler) override {
        return source->start([this, handler = std::move(handler)](const KeyEvent& e) {
            if (focus && focus->focus()) ++focused;
            handler(e);
            ++count;
            if (onKey) onKey();
        });
    }
    KeyEventTap* source = nullptr;
    FocusTracker* focus = nullptr;
    long count = 0, focused = 0;
    std::function<void()> onKey;
};

// Qt's loop is the main queue, and the rate limit runs on the steady clock.
struct QtQueueAndClock : QtMainQueue, SteadyClock {};

using Rig = ExpansionRig<QtQueueAndClock, CountingTap>;

// The engine on `source`, with one trigger that the letters never type.
bool start(Rig& rig, KeyEventTap& source) {
    rig.tap.source = &source;
    rig.reader.snippetTriggers = {{";sig", "expansion", "plain", {}}};
    rig.engine.start();
    // A known focus, not a password field, with a name too long for the string's own storage:
    // every key asks for it and copies it.
    rig.focus.set(Focus{"org.gnome.TextEditor"});
    return rig.engine.isActive.get();
}

struct Drained {
    long arrived = 0;
    double cpu = 0;     // this process's CPU seconds, both threads, until the last buffer update
    double wallMs = 0;  // the wall time until the last key arrived
};

// Runs the loop, waiting without spinning, until `keys` key-downs reached the engine and their
// buffer work ran, or none came for 2 s.
Drained drain(Rig& rig, long keys) {
    const double cpu0 = cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QEventLoop loop;
    QTimer quiet;
    quiet.setSingleShot(true);
    QObject::connect(&quiet, &QTimer::timeout, &loop, &QEventLoop::quit);
    double lastMs = 0;
    rig.tap.onKey = [&] {
        lastMs = static_cast<double>(wall.nsecsElapsed()) / 1e6;
        if (rig.tap.count == keys)
            rig.clock.async([&] { loop.quit(); });  // after the buffer work queued before it
        else if (rig.tap.count % 256 == 0)
            quiet.start(2000);
    };
    quiet.start(2000);
    loop.exec();
    rig.tap.onKey = {};
    return {rig.tap.count, cpuSeconds() - cpu0, lastMs};
}

void report(const char* source, long keys, const Drained& d, Rig& rig) {
    const auto n = static_cast<double>(d.arrived);
    std::printf("%-12s %ld keys: %.2f us CPU per key, %.2f us wall per key (%ld lost; buffer \"%s\")\n", source,
                d.arrived, d.cpu * 1e6 / n, d.wallMs * 1e3 / n, keys - d.arrived,
                rig.engine.keystrokeBuffer().substr(0, 12).c_str());
}

std::string frame(std::uint16_t code, std::int32_t value) {
    input_event e[3]{};
    e[0].type = EV_MSC, e[0].code = MSC_SCAN, e[0].value = code;
    e[1].type = EV_KEY, e[1].code = code, e[1].value = value;
    e[2].type = EV_SYN, e[2].code = SYN_REPORT;
    return std::string(reinterpret_cast<const char*>(e), sizeof e);
}

int benchEvdev(long keys) {
    TempDir dir("velko-bench-input");
    const std::string device = dir / "event0";
    if (::mkfifo(device.c_str(), 0600) != 0) return 1;
    const int keep = ::open(device.c_str(), O_RDWR | O_CLOEXEC);  // a writer from the start: no end of file
    Rig rig;
    EvdevKeyEventTap source(rig.clock, SessionKeymap::fromNames({}).text, {}, {dir.path(), [](int fd) {
                                                                                   struct stat s {};
                                                                                   return ::fstat(fd, &s) == 0 &&
                                                                                          S_ISFIFO(s.st_mode);
                                                                               }});
    if (!start(rig, source)) return 1;

    if (const pid_t child = ::fork(); child == 0) {
        const int out = ::open(device.c_str(), O_WRONLY);
        std::string burst;
        for (long i = 0; i < keys; ++i) {
            const std::uint16_t code = evdevLetters[i % std::size(evdevLetters)];
            burst += frame(code, 1) + frame(code, 0);
            if (burst.size() > 8192 || i + 1 == keys) {
                if (::write(out, burst.data(), burst.size()) < 0) ::_exit(1);
                burst.clear();
            }
        }
        ::_exit(0);
    }
    const Drained drained = drain(rig, keys);
    ::wait(nullptr);
    ::close(keep);
    if (drained.arrived == 0) return 1;
    report("evdev", keys, drained, rig);
    return 0;
}

int benchX11(long keys, bool withFocus) {
    Rig rig;
    X11KeyEventTap source(rig.clock);
    X11FocusTracker focus;
    if (withFocus) {
        if (!focus.start()) return 1;
        rig.tap.focus = &focus;
    }
    if (!start(rig, source)) return 1;
    if (const pid_t child = ::fork(); child == 0) {
        xcb_connection_t* c = xcb_connect(nullptr, nullptr);
        for (long i = 0; i < keys; ++i) {
            // The server's keycodes are evdev's plus 8.
            const auto keycode = static_cast<std::uint8_t>(evdevLetters[i % std::size(evdevLetters)] + 8);
            xcb_test_fake_input(c, XCB_KEY_PRESS, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
            xcb_test_fake_input(c, XCB_KEY_RELEASE, keycode, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
            if (i % 64 == 63) xcb_flush(c);
        }
        xcb_flush(c);
        std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));  // all handled
        xcb_disconnect(c);
        ::_exit(0);
    }
    const Drained drained = drain(rig, keys);
    ::wait(nullptr);
    if (drained.arrived == 0) return 1;
    report(withFocus ? "X11 + focus" : "X11 RECORD", keys, drained, rig);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const std::string source = argc > 1 ? argv[1] : "";
    const long keys = argc > 2 ? std::atol(argv[2]) : 20000;
    if (source == "evdev") return benchEvdev(keys);
    if (source == "x11") return benchX11(keys, argc > 3 && std::string(argv[3]) == "focus");
    std::fprintf(stderr, "usage: bench_key_sources evdev|x11 [keys [focus]]\n");
    return 2;
}
