#pragma once
#include "Log.h"
#include "platform/AccessibilityTrust.h"
#include "platform/Application.h"
#include "platform/BackendChoice.h"
#include "platform/BackgroundQueue.h"
#include "platform/CaptureFiles.h"
#include "platform/CaptureJournal.h"
#include "platform/Clock.h"
#include "platform/DirectoryMonitor.h"
#include "platform/FileSystem.h"
#include "platform/FilteringKeyTap.h"
#include "platform/FocusTracker.h"
#include "platform/KeyEventTap.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/NotificationMonitor.h"
#include "platform/Pasteboard.h"
#include "platform/ScreenshotLocationSetting.h"
#include "platform/StatusBar.h"
#include "platform/SyntheticKeyboard.h"
#include "platform/TextRecognizer.h"
#include "platform/UserDefaults.h"
#include "platform/UserSession.h"
#include "platform/WindowSystem.h"

#include <cstdio>
#include <cstdlib>
#include "platform/Workspace.h"

namespace velko {

// The platform the shared service instances bind to. The entry point installs it once,
// before any `shared()` accessor runs; tests build services directly on fakes instead.
struct Platform {
    MainQueue* mainQueue = nullptr;
    Clock* clock = nullptr;
    NotificationCenter* notifications = nullptr;
    NotificationMonitor* monitor = nullptr;
    AccessibilityTrust* trust = nullptr;
    SyntheticKeyboard* keyboard = nullptr;
    UserDefaults* defaults = nullptr;
    FileSystem* fileSystem = nullptr;
    Workspace* workspace = nullptr;
    Application* application = nullptr;
    StatusBar* statusBar = nullptr;
    FilteringKeyTap* filteringTap = nullptr;
    KeyEventTap* keyEventTap = nullptr;
    Pasteboard* pasteboard = nullptr;
    UserSession* userSession = nullptr;
    ScreenshotLocationSetting* screenshotLocation = nullptr;
    DirectoryMonitor* directoryMonitor = nullptr;
    CaptureFiles* captureFiles = nullptr;
    CaptureJournal* captureJournal = nullptr;
    BackgroundQueue* backgroundQueue = nullptr;
    TextRecognizer* textRecognizer = nullptr;
    WindowSystem* windows = nullptr;
    FocusTracker* focus = nullptr;
    // Which backend each capability runs on in this session.
    const BackendChoices* backends = nullptr;

    static void install(const Platform& platform) {
        slot() = platform;
        installed() = true;
    }
    // Aborts with a message when nothing was installed: a programming error, not a runtime state.
    static const Platform& current() {
        if (!installed()) {
            log::error("a shared service was used before the platform was installed");
            std::abort();
        }
        return slot();
    }

private:
    static Platform& slot() {
        static Platform platform;
        return platform;
    }
    static bool& installed() {
        static bool flag = false;
        return flag;
    }
};

}  // namespace velko
