#pragma once
#include <memory>

#include "platform/Platform.h"

namespace velko {

class DBusNotificationCenter;
class PlistUserDefaults;
class PosixFileSystem;
class QtApplication;
class QtMainQueue;
class QtStatusBar;
class QtWindowSystem;
class QtWorkspace;
class SteadyClock;
class X11AccessibilityTrust;
class X11Connection;
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
    std::unique_ptr<QtWindowSystem> windows_;
};

}  // namespace velko
