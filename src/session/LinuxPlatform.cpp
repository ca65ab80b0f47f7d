#include "session/LinuxPlatform.h"

#include "x11/Xcb.h"

#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>

#include "dbus/DBusNotificationCenter.h"
#include "gnome/GnomeScreenshotLocation.h"
#include "ocr/TesseractRecognizer.h"
#include "plist/PlistUserDefaults.h"
#include "posix/InotifyDirectoryMonitor.h"
#include "posix/PosixCaptureFiles.h"
#include "posix/PosixFileSystem.h"
#include "posix/PosixUserSession.h"
#include "posix/SteadyClock.h"
#include "posix/WorkerThread.h"
#include "qt/QtApplication.h"
#include "qt/QtMainQueue.h"
#include "qt/QtPasteboard.h"
#include "qt/QtStatusBar.h"
#include "qt/QtWindowSystem.h"
#include "qt/QtWorkspace.h"
#include "x11/GrabBypassingKeyboard.h"
#include "x11/X11AccessibilityTrust.h"
#include "x11/X11Connection.h"
#include "x11/X11FilteringKeyTap.h"
#include "x11/X11KeyEventTap.h"
#include "x11/X11SyntheticKeyboard.h"

namespace velko {

void LinuxPlatform::chooseQtPlatform() {
    if (std::getenv("QT_QPA_PLATFORM")) return;  // the user knows best
    const char* display = std::getenv("DISPLAY");
    bool reachable = false;
    if (display && *display) {
        if (xcb_connection_t* connection = xcb::connect(display)) {
            reachable = true;
            xcb_disconnect(connection);
        }
    }
    // XWayland included: the keyboard services need X11, so the windows use it too.
    ::setenv("QT_QPA_PLATFORM", reachable ? "xcb" : "offscreen", 1);
    if (!reachable)
        std::fputs("velko-helper: no X display; running without tray, hotkeys, expansion or pasting\n", stderr);
}

LinuxPlatform::LinuxPlatform()
    : mainQueue_(std::make_unique<QtMainQueue>()),
      clock_(std::make_unique<SteadyClock>()),
      notifications_(std::make_unique<DBusNotificationCenter>()),
      display_(std::make_unique<X11Connection>()),
      trust_(std::make_unique<X11AccessibilityTrust>(*display_)),
      keyboard_(std::make_unique<X11SyntheticKeyboard>(*display_)),
      defaults_(PlistUserDefaults::fromEnvironment()),
      fileSystem_(std::make_unique<PosixFileSystem>()),
      workspace_(std::make_unique<QtWorkspace>()),
      application_(std::make_unique<QtApplication>()),
      statusBar_(std::make_unique<QtStatusBar>()),
      filteringTap_(std::make_unique<X11FilteringKeyTap>()),
      ownKeyboard_(std::make_unique<GrabBypassingKeyboard>(*keyboard_, *filteringTap_)),
      keyEventTap_(std::make_unique<X11KeyEventTap>(*mainQueue_)),
      pasteboard_(std::make_unique<QtPasteboard>()),
      userSession_(std::make_unique<PosixUserSession>()),
      windows_(std::make_unique<QtWindowSystem>()),
      screenshotLocation_(std::make_unique<GnomeScreenshotLocation>()),
      captureFiles_(std::make_unique<PosixCaptureFiles>()),
      textRecognizer_(std::make_unique<TesseractRecognizer>()),
      directoryMonitor_(std::make_unique<InotifyDirectoryMonitor>()),
      backgroundQueue_(std::make_unique<WorkerThread>("velko-files")) {}

LinuxPlatform::~LinuxPlatform() = default;

Platform LinuxPlatform::platform() {
    Platform p;
    p.mainQueue = mainQueue_.get();
    p.clock = clock_.get();
    p.notifications = notifications_.get();
    p.monitor = notifications_.get();
    p.trust = trust_.get();
    p.keyboard = ownKeyboard_.get();  // the helper's strokes pass its own hotkey grabs
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
    p.backgroundQueue = backgroundQueue_.get();
    p.textRecognizer = textRecognizer_.get();
    p.windows = windows_.get();
    return p;
}

}  // namespace velko
