#pragma once
#include <QObject>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/AccessibilityTrust.h"
#include "platform/SyntheticKeyboard.h"

class QSocketNotifier;

namespace velko {

class MutterRemoteDesktopKeyboard;
class PortalRemoteDesktopKeyboard;
class SwayInputEvents;
class UinputKeyboard;
class WaylandVirtualKeyboard;

// Strokes in a Wayland session through the first backend that works now: the compositor's virtual
// keyboard, else mutter's remote desktop, else the desktop portal once the person has approved it,
// else /dev/uinput. Input access
// means one of them works at the moment of asking, so a compositor that goes away or a portal
// session that is revoked turns into missing access, not a crash.
class WaylandStrokes : public QObject, public SyntheticKeyboard, public AccessibilityTrust {
public:
    struct Backends {
        std::unique_ptr<WaylandVirtualKeyboard> virtualKeyboard;
        std::unique_ptr<MutterRemoteDesktopKeyboard> mutter;  // started by the caller
        std::unique_ptr<PortalRemoteDesktopKeyboard> portal;  // started by the caller
        std::unique_ptr<UinputKeyboard> uinput;
        // Keeps the virtual keyboard's own keymap under sway; last, so that it goes first.
        std::unique_ptr<SwayInputEvents> swayInputs;
    };
    // changed runs on the main thread with the new name() whenever the backend in use changes; posted
    // learns of each key-down posted, so the desktop's shortcuts can tell the helper's own strokes.
    WaylandStrokes(Backends backends, std::function<void(const std::string&)> changed,
                   std::function<void(KeyCode, EventFlags)> posted = {});
    ~WaylandStrokes() override;

    // "Wayland virtual keyboard", "GNOME remote desktop", "desktop portal", "/dev/uinput", or "off".
    std::string name();
    bool isProcessTrusted() override;
    // Settled once mutter and the portal, where asked, have answered their first start.
    void whenSettled(std::function<void()> settled) override;
    bool hasFrontmostApplication() override;
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;

private:
    SyntheticKeyboard* current();
    void recheck();
    bool pending();

    Backends backends_;
    std::function<void(const std::string&)> changed_;
    std::function<void(KeyCode, EventFlags)> posted_;
    std::unique_ptr<QSocketNotifier> compositor_;
    std::string lastName_;
    std::vector<std::function<void()>> settled_;
};

}  // namespace velko
