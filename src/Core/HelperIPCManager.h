#pragma once
#include <string>

#include "Core/Published.h"
#include "platform/Types.h"

namespace velko {

class AccessibilityTrust;
class KeystrokeInjector;
class NotificationCenter;
class Workspace;

// The helper's end of the link: answers pings and turns paste requests into paste strokes.
class HelperIPCManager {
public:
    HelperIPCManager(NotificationCenter& center, AccessibilityTrust& trust, KeystrokeInjector& injector,
                     Workspace& workspace);
    static HelperIPCManager& shared();

    void start();
    void sendPong();

    void handlePing(const std::string& object);
    void handlePasteNow(const std::string& object);
    void handlePastePlain(const std::string& object);
    void handlePasteMatch(const std::string& object);
    void handleExpansionTrigger(const std::string& object);

    // Every post of the helper goes through this one center.
    NotificationCenter& dnc() { return dnc_; }

    // Never changed: "connected" means the store is present, not that pings arrive.
    Published<bool> velkoConnected{false};

    static constexpr EventFlags pasteNowFlags = Flags::command;
    static constexpr EventFlags pastePlainFlags = Flags::command | Flags::option | Flags::shift;
    static constexpr EventFlags pasteMatchFlags = Flags::command | Flags::shift;

private:
    void paste(EventFlags flags);

    NotificationCenter& dnc_;
    AccessibilityTrust& trust_;
    KeystrokeInjector& injector_;
    Workspace& workspace_;
};

}  // namespace velko
