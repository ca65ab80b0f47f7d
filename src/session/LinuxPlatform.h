#pragma once
#include <memory>

#include "platform/Platform.h"

namespace velko {

class DBusNotificationCenter;
class GrabBypassingKeyboard;
class GnomeScreenshotLocation;
class InotifyDirectoryMonitor;
class PlistUserDefaults;
class PosixCaptureFiles;
class PosixFileSystem;
class PosixUserSession;
class QtApplication;
class QtMainQueue;
class QtPasteboard;
class QtStatusBar;
class QtWindowSystem;
class QtWorkspace;
class SteadyClock;
class TesseractRecognizer;
class WorkerThread;
class X11AccessibilityTrust;
class X11Connection;
class X11FilteringKeyTap;
class X11KeyEventTap;
class X11SyntheticKeyboard;

// Builds and owns the whole Linux platform; the one place that picks implementations.
class LinuxPlatform {
public:
    // Before QApplication exists: without a reachable X display Qt runs offscreen, so the
    // helper still serves the link in a pure Wayland session or on a headless box.
    static void chooseQtPlatform();

    LinuxPlatform();
    ~LinuxPlatform();
    Platform platform();

private:
    std::unique_ptr<QtMainQueue> mainQueue_;
    std::unique_ptr<SteadyClock> clock_;
    std::unique_ptr<DBusNotificationCenter> notifications_;
    std::unique_ptr<X11Connection> display_;
    std::unique_ptr<X11AccessibilityTrust> trust_;
    std::unique_ptr<X11SyntheticKeyboard> keyboard_;
    std::unique_ptr<PlistUserDefaults> defaults_;
    std::unique_ptr<PosixFileSystem> fileSystem_;
    std::unique_ptr<QtWorkspace> workspace_;
    std::unique_ptr<QtApplication> application_;
    std::unique_ptr<QtStatusBar> statusBar_;
    std::unique_ptr<X11FilteringKeyTap> filteringTap_;
    std::unique_ptr<GrabBypassingKeyboard> ownKeyboard_;
    std::unique_ptr<X11KeyEventTap> keyEventTap_;
    std::unique_ptr<QtPasteboard> pasteboard_;
    std::unique_ptr<PosixUserSession> userSession_;
    std::unique_ptr<QtWindowSystem> windows_;
    // Declared last so that their threads end first, while the main queue they post to still exists;
    // the file thread ends before the recognisers it hands work to.
    std::unique_ptr<GnomeScreenshotLocation> screenshotLocation_;
    std::unique_ptr<PosixCaptureFiles> captureFiles_;
    std::unique_ptr<TesseractRecognizer> textRecognizer_;
    std::unique_ptr<InotifyDirectoryMonitor> directoryMonitor_;
    std::unique_ptr<WorkerThread> backgroundQueue_;
};

}  // namespace velko
