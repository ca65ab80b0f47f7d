#pragma once
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <string>

#include "platform/SyntheticKeyboard.h"
#include "xkb/EvdevStroke.h"

namespace velko {

class PortalRequest;

// Posts through the desktop portal's RemoteDesktop interface (GNOME, KDE Plasma): the session is
// asked for once, the person approves it in the portal's dialog, and the restore token lets later
// starts skip the dialog. Everything runs on the Qt loop; nothing here waits for the portal.
class PortalRemoteDesktopKeyboard : public QObject, public SyntheticKeyboard {
    Q_OBJECT
public:
    enum class State { starting, ready, unavailable };
    struct Status {
        State state = State::unavailable;
        std::string reason;  // why it is unavailable; empty otherwise
        bool operator==(const Status&) const = default;
    };
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
    // Closes the pending request (and so its dialog) and the session, without waiting.
    ~PortalRemoteDesktopKeyboard() override;

    // Asks the portal for a keyboard session and returns at once; the outcome arrives as a state
    // change. Ignored while starting or ready; after unavailable it asks afresh (the dialog may show).
    void start();
    // Unavailable with reason "not started" until start().
    Status state() const { return status_; }
    // Starting with the restore token of an earlier approval: no dialog is due, only the portal's answer.
    bool restoring() const { return status_.state == State::starting && restoring_; }
    // Called on the Qt loop after every change of state.
    void setStateHandler(std::function<void(const Status&)> handler) { handler_ = std::move(handler); }

    // True while ready: the compositor sends the keys to whatever has the focus, which it does not tell.
    bool hasFrontmostApplication() override;
    // Sends the key changes without waiting for the portal; false when not ready or the key is unknown.
    // A change the portal refuses later ends the session as unavailable.
    bool postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) override;

private slots:
    void onSessionClosed(const QVariantMap& details);

private:
    enum class Step { none, createSession, selectDevices, start };

    void onDeviceTypes(uint types);
    void request(Step step, const QString& method, QVariantList arguments, QVariantMap options,
                 std::chrono::milliseconds timeout);
    void dropRequest();
    void onResponse(uint response, const QVariantMap& results);
    void fail(const std::string& reason);
    void setStatus(Status status);
    bool current(unsigned attempt) const { return attempt == attempt_ && status_.state == State::starting; }

    QDBusConnection bus_;
    TokenStore tokens_;
    Timeouts timeouts_;
    QDBusServiceWatcher portalWatcher_;
    std::function<void(const Status&)> handler_;
    Status status_{State::unavailable, "not started"};
    unsigned attempt_ = 0;
    bool restoring_ = false;
    Step step_ = Step::none;
    QString portalOwner_;               // the portal's unique name: only its signals count
    PortalRequest* pending_ = nullptr;  // a child, deleted later once answered or dropped
    QString sessionPath_;
    std::string sentToken_;
    EvdevStroke stroke_;
};

}  // namespace velko
