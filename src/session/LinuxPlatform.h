#pragma once
#include <QObject>
#include <memory>

#include "platform/BackendChoice.h"
#include "platform/Platform.h"
#include "session/DesktopSession.h"

namespace velko {

class DBusNotificationCenter;
class InotifyDirectoryMonitor;
class PlistUserDefaults;
class PosixCaptureFiles;
class PosixCaptureJournal;
class PosixFileSystem;
class PosixUserSession;
class QtApplication;
class QtMainQueue;
class QtStatusBar;
class QtWindowSystem;
class QtWorkspace;
class SessionBusConnection;
class SessionLayout;
class SteadyClock;
class WorkerThread;
class X11Connection;

// The one place where the helper's platform is put together: it looks at the session, lets each
// capability's factory pick a backend, says in the log which and why, and keeps the choices so
// that the preferences window and velkoctl can show them.
class LinuxPlatform {
public:
    // Before QApplication exists: without a reachable X display Qt runs offscreen, so the
    // helper still serves the link in a pure Wayland session or on a headless box. The display's
    // connection is held until a LinuxPlatform is made.
    static void chooseQtPlatform();

    // Needs the QApplication.
    explicit LinuxPlatform(DesktopSession session = DesktopSession::detect());
    ~LinuxPlatform();
    Platform platform();
    const BackendChoices& backends() const { return backends_; }
    // The link's connection, replaced with every new bus, for whatever else the helper puts there.
    SessionBusConnection& bus();

private:
    void chose(BackendChoice choice);
    // A backend that changes while the helper runs (a portal approved, a compositor gone).
    void changed(const std::string& capability, const std::string& backend);
    // Shown under the capability's line in the preferences window; not logged (the backend logs).
    void noted(const std::string& capability, const std::string& note);

    DesktopSession session_;
    BackendChoices backends_;
    std::unique_ptr<QtMainQueue> mainQueue_;
    std::unique_ptr<SteadyClock> clock_;
    std::unique_ptr<DBusNotificationCenter> notifications_;
    std::unique_ptr<X11Connection> display_;
    std::unique_ptr<PlistUserDefaults> defaults_;
    std::unique_ptr<PosixFileSystem> fileSystem_;
    std::unique_ptr<QtWorkspace> workspace_;
    std::unique_ptr<QtApplication> application_;
    std::unique_ptr<QtStatusBar> statusBar_;
    std::unique_ptr<FilteringKeyTap> filteringTap_;
    std::shared_ptr<SyntheticKeyboard> keyboard_;
    std::shared_ptr<AccessibilityTrust> trust_;
    std::unique_ptr<KeyEventTap> keyEventTap_;
    std::unique_ptr<SessionLayout> layout_;  // after the tap and the keyboard, so that it goes first
    std::unique_ptr<Pasteboard> pasteboard_;
    std::unique_ptr<PosixUserSession> userSession_;
    std::unique_ptr<QtWindowSystem> windows_;
    std::unique_ptr<FocusTracker> focus_;
    // Declared last so that their threads end first, while the main queue they post to still exists;
    // the file thread ends before the recognisers it hands work to.
    std::unique_ptr<ScreenshotLocationSetting> screenshotLocation_;
    std::unique_ptr<PosixCaptureFiles> captureFiles_;
    std::unique_ptr<PosixCaptureJournal> captureJournal_;
    std::unique_ptr<TextRecognizer> textRecognizer_;
    std::unique_ptr<InotifyDirectoryMonitor> directoryMonitor_;
    std::unique_ptr<WorkerThread> backgroundQueue_;
};

}  // namespace velko
