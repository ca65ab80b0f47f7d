#pragma once
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <memory>
#include "platform/SyntheticKeyboard.h"
#include "portal/OrderedKeyCalls.h"

#include "xkb/EvdevStroke.h"

namespace velko {

// Posts through mutter's own remote desktop (org.gnome.Mutter.RemoteDesktop), which GNOME grants
// the programs of its session without the portal's dialog. A session that mutter closes, or mutter
// leaving the bus, makes it unavailable; mutter coming back starts it again. Runs on the Qt loop.
class MutterRemoteDesktopKeyboard : public QObject, public SyntheticKeyboard {
    Q_OBJECT
public:
    enum class State { starting, ready, unavailable };
    struct Status {
        State state = State::unavailable;
        std::string reason;  // why it is unavailable; empty otherwise
        bool operator==(const Status&) const = default;
    };

    explicit MutterRemoteDesktopKeyboard(QDBusConnection bus,
                                         std::chrono::milliseconds timeout = std::chrono::milliseconds(5000),
                                         QObject* parent = nullptr);
    // Releases the keys still down, then stops the session without waiting.
    ~MutterRemoteDesktopKeyboard() override;

    // Whether mutter's remote desktop is on the bus now; false when the bus does not answer.
    static bool offered(QDBusConnection& bus);
    // Opens and starts a session and returns at once; ignored unless unavailable.
    void start();
    // The session bus was made anew and `bus` reaches it: the session went with the old one, and one
    // is started on the new one as soon as mutter is there.
    void moveTo(QDBusConnection bus);
    Status state() const { return status_; }
    // Called on the Qt loop after every change of state.
    void setStateHandler(std::function<void(const Status&)> handler) { stateHandler_ = std::move(handler); }

    // True while ready: mutter sends the keys to whatever has the focus.
    bool hasFrontmostApplication() override;
    // Queues the key changes, each sent once mutter has taken the one before; false when not ready
    // or the key is unknown. A refused change releases the stroke's keys and makes it unavailable.
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;
    // The session's keymap, to send each key where it types its character; by position without.
    void setKeymap(std::shared_ptr<xkb_keymap> keymap, std::uint32_t active = 0) {
        keymap_ = keymap;
        stroke_.setKeymap(std::move(keymap), active);
    }

private slots:
    void onClosed();

private:
    void startSession(unsigned attempt);
    void addKeyboardToSeat();
    void fail(const std::string& reason);
    void endSession();
    void setStatus(Status status);

    QDBusConnection bus_;
    const std::chrono::milliseconds timeout_;
    QDBusServiceWatcher watcher_;
    QString owner_;  // mutter's unique name: only its signals count
    QString sessionPath_;
    unsigned attempt_ = 0;
    Status status_{State::unavailable, "not started"};
    std::function<void(const Status&)> stateHandler_;
    std::shared_ptr<xkb_keymap> keymap_;
    EvdevStroke stroke_;
    OrderedKeyCalls keys_;
};

}  // namespace velko
