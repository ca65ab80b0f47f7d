#pragma once
#include "platform/AccessibilityTrust.h"
#include "platform/Application.h"
#include "platform/Clock.h"
#include "platform/FileSystem.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"
#include "platform/StatusBar.h"
#include "platform/SyntheticKeyboard.h"
#include "platform/UserDefaults.h"
#include "platform/WindowSystem.h"
#include "platform/Workspace.h"

namespace velko {

// The platform the shared service instances bind to. The entry point installs it once,
// before any `shared()` accessor runs; tests build services directly on fakes instead.
struct Platform {
    MainQueue* mainQueue = nullptr;
    Clock* clock = nullptr;
    NotificationCenter* notifications = nullptr;
    AccessibilityTrust* trust = nullptr;
    SyntheticKeyboard* keyboard = nullptr;
    UserDefaults* defaults = nullptr;
    FileSystem* fileSystem = nullptr;
    Workspace* workspace = nullptr;
    Application* application = nullptr;
    StatusBar* statusBar = nullptr;
    WindowSystem* windows = nullptr;

    static void install(const Platform& platform);
    // Aborts with a message when nothing was installed: a programming error, not a runtime state.
    static const Platform& current();
};

}  // namespace velko
