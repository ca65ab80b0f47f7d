#pragma once
#include <QDBusMessage>
#include <chrono>
#include <functional>
#include <string>

#include <memory>
#include "platform/SyntheticKeyboard.h"
#include "portal/OrderedKeyCalls.h"
#include "portal/PortalSession.h"

#include "xkb/EvdevStroke.h"

namespace velko {

// Posts through the desktop portal's RemoteDesktop interface (GNOME, KDE Plasma): the session is
// asked for once, the person approves it in the portal's dialog, and the restore token lets later
// starts skip the dialog. Everything runs on the Qt loop; nothing here waits for the portal.
class PortalRemoteDesktopKeyboard : public PortalSession, public SyntheticKeyboard {
    Q_OBJECT
public:
    // The helper's own defaults, where the restore token outlives the process.
    struct TokenStore {
        std::function<std::string()> load;
        std::function<void(const std::string&)> save;
    };
    struct Timeouts {
        std::chrono::milliseconds step{5000};    // a call that no person has to answer
        std::chrono::milliseconds start{30000};  // Start, which may wait for a person at a dialog
    };

    PortalRemoteDesktopKeyboard(QDBusConnection bus, TokenStore tokens, QObject* parent = nullptr);
    PortalRemoteDesktopKeyboard(QDBusConnection bus, TokenStore tokens, Timeouts timeouts, QObject* parent = nullptr);
    // Calls around a stroke that the desktop would take as one of its global shortcuts, so that it
    // reaches the window instead (Plasma's kglobalaccel: blockGlobalShortcuts true, then false).
    struct ShortcutGuard {
        std::function<bool(KeyCode, EventFlags)> applies;
        QDBusMessage before;
        QDBusMessage after;
    };
    void setShortcutGuard(ShortcutGuard guard) { guard_ = std::move(guard); }
    // How long the guard stays after the stroke's last key call has returned.
    static constexpr std::chrono::milliseconds guardGrace{250};
    // Asks the portal for a keyboard session and returns at once; the outcome arrives as a state
    // change. Ignored while starting or ready; after unavailable it asks afresh (the dialog may show).
    void start();

    // True while ready: the compositor sends the keys to whatever has the focus, which it does not tell.
    bool hasFrontmostApplication() override;
    // Queues the key changes, each sent once the portal has taken the one before; false when not
    // ready or the key is unknown. A change the portal refuses releases the stroke's keys and ends
    // the session as unavailable.
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;
    // The session's keymap, to send each key where it types its character; by position without.
    void setKeymap(std::shared_ptr<xkb_keymap> keymap, std::uint32_t active = 0) {
        keymap_ = keymap;
        stroke_.setKeymap(std::move(keymap), active);
    }

private:
    void selectDevices();
    void startSession();
    void addKeyboardToSeat();
    std::string closedReason() const override { return "the desktop portal closed the session (access revoked)"; }
    void sessionEnding() override;
    void resume() override { start(); }
    void busReplaced() override { keys_.moveTo(bus_); }

    TokenStore tokens_;
    const std::chrono::milliseconds startTimeout_;
    std::string sentToken_;
    std::shared_ptr<xkb_keymap> keymap_;
    EvdevStroke stroke_;
    OrderedKeyCalls keys_;
    ShortcutGuard guard_;
    bool guarded_ = false;  // the key-down went out between the guard's calls
};

}  // namespace velko
