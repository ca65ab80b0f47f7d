#pragma once
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariant>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <string>

namespace velko {

class PortalRequest;

// A session with one interface of the desktop portal, set up one request at a time: what state it
// is in, which portal instance answers, the request still pending and the session's path, and how
// it all ends, on a refusal, a closed session or a portal that goes away. Subclasses say which
// calls set it up and what their answers mean. The frontend and this desktop's backend are both
// watched: either one leaving the bus or restarting ends the session, and once both are there again
// it is set up again. Everything runs on the Qt loop.
class PortalSession : public QObject {
    Q_OBJECT
public:
    enum class State { starting, ready, unavailable };
    struct Status {
        State state = State::unavailable;
        std::string reason;  // why it is unavailable; empty otherwise
        bool operator==(const Status&) const = default;
    };

    // Unavailable with reason "not started" until a subclass starts it.
    Status state() const { return status_; }
    // Called on the Qt loop after every change of state.
    void setStateHandler(std::function<void(const Status&)> handler) { stateHandler_ = std::move(handler); }
    // The session bus was made anew and `bus` reaches it: what lived on the old one is gone. A session
    // in use, or lost with the old bus, is set up again once the portal is on the new one.
    void moveTo(QDBusConnection bus);

protected:
    using Granted = std::function<void(const QVariantMap& results)>;

    // interface: the portal's, which the session is opened with; what: what the helper goes
    // without when it fails, for the log ("keys", "hotkeys"); stepTimeout: for calls that no
    // person has to answer.
    PortalSession(QDBusConnection bus, QString interface, std::string what, std::chrono::milliseconds stepTimeout,
                  QObject* parent);
    // Closes the pending request (and so its dialog) and the session, without waiting.
    ~PortalSession() override;

    // A new attempt; the earlier one's request and session are dropped. Its number.
    unsigned begin();
    // Whether attempt is the one under way and still starting.
    bool current(unsigned attempt) const { return attempt == attempt_ && status_.state == State::starting; }
    // Reads property of the interface, which also starts a portal activated on demand and names
    // the instance that answers; then found with its value, or the attempt fails with missing and
    // the bus's error.
    void findPortal(const QString& property, const std::string& missing, std::function<void(const QVariant&)> found);
    // The application id the desktops accept (reverse-DNS, named after the installed desktop file).
    static const QString applicationId;

    // Names the connection's program to the portal (Registry, portal 1.19+) before its first call
    // there, once per session object, then then(); a portal without the registry is as good.
    void registerThen(unsigned attempt, std::function<void()> then);
    // Calls method through a Request; a grant goes to granted, anything else fails the attempt
    // (declined: the person said no). With endedWithResults an answer "ended otherwise" that still
    // carries results counts as a grant (portal-gnome 48.0 binds shortcuts so). Replaces the
    // request still pending.
    void request(const QString& method, QVariantList arguments, QVariantMap options, std::chrono::milliseconds timeout,
                 std::string declined, Granted granted, bool endedWithResults = false);
    // CreateSession with options besides the handle token, then opened once the session's path is
    // known and watched.
    void createSession(std::string declined, std::function<void()> opened, QVariantMap options = {});
    // Unavailable for reason, one log line; the request and session are dropped.
    void fail(const std::string& reason);
    void setStatus(Status status);
    // Drops the request and closes the session; sessionEnding() goes first.
    void endSession();
    // What a subclass set up for the session, undone.
    virtual void sessionEnding() {}
    // Said when the desktop closes the session.
    virtual std::string closedReason() const = 0;
    // The portal is back after it went away while in use: set up the session again as before.
    virtual void resume() = 0;
    // What a subclass did once per connection, to be done again on the new one.
    virtual void busReplaced() {}

    QDBusConnection bus_;
    const QString interface_;
    const std::chrono::milliseconds stepTimeout_;
    QString portalOwner_;  // the portal's unique name: only its signals count
    QString sessionPath_;
    unsigned attempt_ = 0;

private slots:
    void onSessionClosed(const QVariantMap& details);

private:
    void dropRequest();
    void ownerChanged(const QString& oldOwner, const QString& newOwner);
    bool portalsRegistered();

    const std::string what_;
    QDBusServiceWatcher portalWatcher_;
    std::function<void(const Status&)> stateHandler_;
    Status status_{State::unavailable, "not started"};
    PortalRequest* pending_ = nullptr;  // a child, deleted later once answered or dropped
    bool lost_ = false;                 // went away while starting or ready, so taken up again when back
    bool registered_ = false;
};

}  // namespace velko
