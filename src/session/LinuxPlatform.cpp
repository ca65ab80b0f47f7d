#include "session/LinuxPlatform.h"
#include "platform/Log.h"

#include <xcb/xcb.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "dbus/DBusNotificationCenter.h"
#include "plist/PlistUserDefaults.h"
#include "posix/InotifyDirectoryMonitor.h"
#include "posix/PosixCaptureFiles.h"
#include "posix/PosixCaptureJournal.h"
#include "posix/PosixFileSystem.h"
#include "posix/PosixUserSession.h"
#include "posix/SteadyClock.h"
#include "posix/WorkerThread.h"
#include "qt/QtApplication.h"
#include "qt/QtMainQueue.h"
#include "qt/QtStatusBar.h"
#include "qt/QtWindowSystem.h"
#include "qt/QtWorkspace.h"
#include "session/ClipboardBackendFactory.h"
#include "session/FocusBackendFactory.h"
#include "session/HotkeyBackendFactory.h"
#include "session/KeyWatchBackendFactory.h"
#include "session/ScreenshotLocationBackendFactory.h"
#include "session/SessionLayout.h"
#include "session/StrokeBackendFactory.h"
#include "session/TextRecognitionBackendFactory.h"
#include "x11/DisplayProbe.h"
#include "x11/X11Connection.h"
#include "x11/Xcb.h"

namespace velko {
namespace {

// Kept until Qt has connected: an X server with no other client (a private Xvfb) resets when the
// last one leaves, and Qt's connection would wait for the reset, keymap compilation included.
xcb_connection_t* probe = nullptr;
// A local server answers a connection in milliseconds, even a busy one.
constexpr std::chrono::seconds displayDeadline{5};

}  // namespace

void LinuxPlatform::chooseQtPlatform() {
    const char* display = std::getenv("DISPLAY");
    bool silent = false;
    if (display && *display) {
        const auto answer = DisplayProbe::connect(display, displayDeadline);
        probe = answer.connection;
        silent = answer.outcome == DisplayProbe::Outcome::silent;
        if (silent) {
            log::warning(
                "the X display %s does not answer; running without it: no tray, and nothing "
                "that goes through X (clipboard, hotkeys, typed keys, pasting)",
                display);
            // Nothing else may wait on it either: every backend takes a missing DISPLAY as no X.
            ::unsetenv("DISPLAY");
            const char* platform = std::getenv("QT_QPA_PLATFORM");
            if (platform && std::string_view(platform) == "xcb") ::unsetenv("QT_QPA_PLATFORM");
        }
    }
    if (std::getenv("QT_QPA_PLATFORM")) return;  // the user knows best
    const bool reachable = probe != nullptr;
    // Xwayland included: the clipboard and the tray work through it in Wayland sessions too.
    ::setenv("QT_QPA_PLATFORM", reachable ? "xcb" : "offscreen", 1);
    if (!reachable && !silent)
        // Wayland's own paths need no X display; only the tray does.
        log::warning("no X display; running without tray%s",
                     std::getenv("WAYLAND_DISPLAY") ? "" : ", hotkeys, expansion or pasting");
}

LinuxPlatform::LinuxPlatform(DesktopSession session)
    : session_(std::move(session)),
      mainQueue_(std::make_unique<QtMainQueue>()),
      clock_(std::make_unique<SteadyClock>()),
      notifications_(std::make_unique<DBusNotificationCenter>()),
      display_(std::make_unique<X11Connection>()),
      defaults_(PlistUserDefaults::fromEnvironment()),
      fileSystem_(std::make_unique<PosixFileSystem>()),
      workspace_(std::make_unique<QtWorkspace>()),
      application_(std::make_unique<QtApplication>()),
      statusBar_(std::make_unique<QtStatusBar>(notifications_->bus())),
      userSession_(std::make_unique<PosixUserSession>()),
      windows_(std::make_unique<QtWindowSystem>()),
      captureFiles_(std::make_unique<PosixCaptureFiles>()),
      captureJournal_(std::make_unique<PosixCaptureJournal>(PosixFileSystem::currentHomeDirectory())),
      directoryMonitor_(std::make_unique<InotifyDirectoryMonitor>()),
      backgroundQueue_(std::make_unique<WorkerThread>("velko-files")) {
    if (probe) xcb_disconnect(std::exchange(probe, nullptr));
    // In launch order, except that the hotkeys are picked before the strokes: the helper's own
    // strokes must know the hotkey grabs to get past them.
    auto hotkeys = HotkeyBackendFactory::choose(
        session_, [this](const std::string& backend) { changed("Hotkeys", backend); },
        [this](const std::string& note) { noted("Hotkeys", note); });
    // One keymap and one watch on the desktop's layout switches for the strokes and the typed keys.
    if (session_.isWayland()) layout_ = SessionLayout::find();
    auto strokes = StrokeBackendFactory::choose(
        session_, {*display_, hotkeys.x11Grabs, hotkeys.portal, defaults_.get(),
                   [this](const std::string& backend) { changed("Input", backend); }, layout_.get()});
    keyboard_ = std::move(strokes.keyboard);
    trust_ = std::move(strokes.trust);
    chose(strokes.choice);
    filteringTap_ = std::move(hotkeys.tap);
    chose(hotkeys.choice);

    auto keys = KeyWatchBackendFactory::choose(session_, *mainQueue_, layout_.get(), hotkeys.portal);
    keyEventTap_ = std::move(keys.tap);
    chose(keys.choice);
    auto focus = FocusBackendFactory::choose(session_, [this](const std::string& backend, const std::string& note) {
        changed("Focus", backend);
        noted("Focus", note);
    });
    focus_ = std::move(focus.tracker);
    chose(focus.choice);
    auto clipboard = ClipboardBackendFactory::choose(session_);
    pasteboard_ = std::move(clipboard.pasteboard);
    chose(clipboard.choice);

    auto location = ScreenshotLocationBackendFactory::choose();
    screenshotLocation_ = std::move(location.setting);
    chose(location.choice);
    auto recognition = TextRecognitionBackendFactory::choose();
    textRecognizer_ = std::move(recognition.recognizer);
    chose(recognition.choice);
}

LinuxPlatform::~LinuxPlatform() = default;

SessionBusConnection& LinuxPlatform::bus() { return notifications_->bus(); }

void LinuxPlatform::chose(BackendChoice choice) {
    log::warning("%s (%s)", choice.line().c_str(), choice.reason.c_str());
    backends_.push_back(std::move(choice));
}

void LinuxPlatform::changed(const std::string& capability, const std::string& backend) {
    for (auto& choice : backends_) {
        if (choice.capability != capability) continue;
        choice.backend = backend;
        log::warning("%s now", choice.line().c_str());
    }
}

void LinuxPlatform::noted(const std::string& capability, const std::string& note) {
    for (auto& choice : backends_)
        if (choice.capability == capability) choice.note = note;
}

Platform LinuxPlatform::platform() {
    Platform p;
    p.mainQueue = mainQueue_.get();
    p.clock = clock_.get();
    p.notifications = notifications_.get();
    p.monitor = notifications_.get();
    p.trust = trust_.get();
    p.keyboard = keyboard_.get();
    p.defaults = defaults_.get();
    p.fileSystem = fileSystem_.get();
    p.workspace = workspace_.get();
    p.application = application_.get();
    p.statusBar = statusBar_.get();
    p.filteringTap = filteringTap_.get();
    p.keyEventTap = keyEventTap_.get();
    p.pasteboard = pasteboard_.get();
    p.userSession = userSession_.get();
    p.screenshotLocation = screenshotLocation_.get();
    p.directoryMonitor = directoryMonitor_.get();
    p.captureFiles = captureFiles_.get();
    p.captureJournal = captureJournal_.get();
    p.backgroundQueue = backgroundQueue_.get();
    p.textRecognizer = textRecognizer_.get();
    p.windows = windows_.get();
    p.focus = focus_.get();
    p.backends = &backends_;
    return p;
}

}  // namespace velko
