// velko-test-wayland-expansion: the real TextExpansionEngine in a Wayland session, posting through
// WaylandVirtualKeyboard and borrowing the clipboard the session's factory picks, with the triggers
// the helper would read under $HOME. It stands in for the user's fingers and the key tap at once: each
// character of a line on standard input is typed on the same virtual keyboard (lower-case US keys;
// a line "Return" is the Return key, a line "ping" prints "pong") and then reported to the engine as a tap would. A
// second keyboard with a keymap of its own (wtype's) left GTK 3 typing its letters but not acting on its Return. Logs
// as the helper does.
#include <unistd.h>

#include <QGuiApplication>
#include <QSocketNotifier>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Core/GlobalHotkeyManager.h"
#include "Core/KeystrokeInjector.h"
#include "Core/SharedDataReader.h"
#include "Core/TextExpansionEngine.h"
#include "platform/AccessibilityTrust.h"
#include "platform/KeyEventTap.h"
#include "platform/NotificationCenter.h"
#include "plist/PlistUserDefaults.h"
#include "posix/PosixFileSystem.h"
#include "posix/PosixUserSession.h"
#include "posix/SteadyClock.h"
#include "qt/QtMainQueue.h"
#include "session/ClipboardBackendFactory.h"
#include "session/NoFilteringKeyTap.h"
#include "session/NoFocusTracker.h"
#include "session/StrokeBackendFactory.h"
#include "sway/SwayInputEvents.h"
#include "wayland/WaylandVirtualKeyboard.h"

namespace {

using namespace velko;

class ScriptedKeyTap : public KeyEventTap {
public:
    explicit ScriptedKeyTap(SyntheticKeyboard& keyboard) : keyboard_(keyboard) {}
    bool start(Handler handler) override {
        handler_ = std::move(handler);
        QObject::connect(&input_, &QSocketNotifier::activated, [this] { typed(); });
        return true;
    }

private:
    void typed() {
        char buffer[256];
        const ssize_t n = read(STDIN_FILENO, buffer, sizeof buffer);
        if (n <= 0) return QCoreApplication::quit();
        pending_.append(buffer, static_cast<std::size_t>(n));
        for (auto end = pending_.find('\n'); end != std::string::npos; end = pending_.find('\n')) {
            const std::string line = pending_.substr(0, end);
            pending_.erase(0, end + 1);
            if (line == "ping") {  // answered only while the loop runs
                std::puts("pong");
                std::fflush(stdout);
                continue;
            }
            if (line == "Return") {
                press(36, "\r");
                continue;
            }
            for (const char c : line)
                if (const auto at = usKeys.find(c); at != std::string_view::npos) press(at, std::string(1, c));
        }
    }
    void press(std::size_t keyCode, const std::string& characters) {
        keyboard_.postKeyEvent(static_cast<KeyCode>(keyCode), 0, true);
        keyboard_.postKeyEvent(static_cast<KeyCode>(keyCode), 0, false);
        handler_(KeyEvent{static_cast<KeyCode>(keyCode), 0, characters});
    }
    // What each positional key code types on the US layout without modifiers (10 is not on ANSI keyboards).
    static constexpr std::string_view usKeys =
        "asdfhgzxcv\x01"
        "bqweryt123465=97-80]ou[ip\rlj'k;\\,/nm.\t `";

    SyntheticKeyboard& keyboard_;
    Handler handler_;
    std::string pending_;
    QSocketNotifier input_{STDIN_FILENO, QSocketNotifier::Read};
};

// Hotkeys are not part of this test: none are bound, and nothing is posted.
class Unposted : public NotificationCenter {
public:
    void observe(const std::string&, Handler) override {}
    void post(const std::string&, const std::string&) override {}
};

class Granted : public AccessibilityTrust {
public:
    bool isProcessTrusted() override { return true; }
};

}  // namespace

int main(int argc, char** argv) {
    ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QGuiApplication app(argc, argv);
    auto connected = WaylandVirtualKeyboard::connect();
    if (!connected) {
        std::fprintf(stderr, "no virtual keyboard: %s\n", connected.error().c_str());
        return 1;
    }
    const auto keyboard = std::move(*connected);
    const auto ownKeymap = StrokeBackendFactory::keepOwnKeymap(*keyboard);
    auto clipboard = ClipboardBackendFactory::choose(DesktopSession::detect());
    std::fprintf(stderr, "velko-helper: %s (%s)\n", clipboard.choice.line().c_str(), clipboard.choice.reason.c_str());

    PosixFileSystem files;
    const auto defaults = PlistUserDefaults::fromEnvironment();
    SharedDataReader reader(files, *defaults);
    reader.initialize();
    SteadyClock clock;
    NoFocusTracker focus;
    KeystrokeInjector injector(clock, *keyboard, focus);
    QtMainQueue mainQueue;
    PosixUserSession session;
    ScriptedKeyTap tap(*keyboard);
    Granted trust;
    NoFilteringKeyTap noHotkeys;
    Unposted unposted;
    GlobalHotkeyManager hotkeys(noHotkeys, mainQueue, unposted, focus);
    TextExpansionEngine engine(trust, reader, tap, hotkeys, *clipboard.pasteboard, session, injector, mainQueue, focus);
    engine.start();
    return app.exec();
}
