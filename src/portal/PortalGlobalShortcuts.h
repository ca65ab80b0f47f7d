#pragma once
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QVariantMap>
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/FilteringKeyTap.h"

class QDBusMessage;
class QDBusObjectPath;

namespace velko {

class PortalRequest;

// The helper's hotkeys through the desktop portal's GlobalShortcuts interface (Plasma 5.27+,
// GNOME 48+, Hyprland): one session, a shortcut per combination under its binding's identifier,
// and the desktop, not the helper, decides which keys trigger them. The portal consumes the key,
// so a verdict has no effect. Everything runs on the Qt loop; nothing here waits for the portal.
class PortalGlobalShortcuts : public QObject, public FilteringKeyTap {
    Q_OBJECT
public:
    enum class State { starting, ready, unavailable };
    struct Status {
        State state = State::unavailable;
        std::string reason;  // why it is unavailable; empty otherwise
        bool operator==(const Status&) const = default;
    };
    // What the portal is asked to bind for one combination.
    struct Shortcut {
        KeyCode keyCode;
        EventFlags modifiers;
        std::string id;  // the binding's identifier, which Activated names
        std::string description;
        std::string preferredTrigger;  // the XDG shortcuts format
    };
    struct Timeouts {
        std::chrono::milliseconds step{5000};   // a call that no person has to answer
        std::chrono::milliseconds bind{60000};  // BindShortcuts, which may wait for a person at a dialog
    };

    // The three combinations the core registers, in its order.
    static const std::vector<Shortcut>& shortcuts();
    // Whether a portal runs on bus or can be started there; asks the bus, not the portal.
    static bool portalOnBus(const QDBusConnection& bus);

    // bus: a connection of its own, so that it can be registered with the helper's application id.
    explicit PortalGlobalShortcuts(QDBusConnection bus, QObject* parent = nullptr);
    PortalGlobalShortcuts(QDBusConnection bus, Timeouts timeouts, QObject* parent = nullptr);
    // Closes the pending request and the session, without waiting.
    ~PortalGlobalShortcuts() override;

    // True when every combination has a shortcut and a portal is on the bus; the session is then
    // set up without waiting, and a portal that lacks the interface, refuses or does not answer
    // ends it as unavailable (one log line). A second call starts afresh.
    bool create(const std::vector<Combination>& combinations, Callback callback) override;

    // Unavailable with reason "not started" until create().
    Status state() const { return status_; }
    // Called on the Qt loop after every change of state.
    void setStateHandler(std::function<void(const Status&)> handler) { stateHandler_ = std::move(handler); }
    // Identifier to the trigger the desktop reports for it ("" when the person left it unset), as
    // its own text for people to read; only the shortcuts bound, and empty until then.
    const std::map<std::string, std::string>& triggers() const { return triggers_; }
    // The triggers for people, one line per bound shortcut in the order of shortcuts(): the keys,
    // then what they do. Empty until bound.
    std::string triggersText() const;
    // Each is called on the Qt loop whenever triggers() changes.
    void addTriggersHandler(std::function<void()> handler) { triggersHandlers_.push_back(std::move(handler)); }

private slots:
    void onActivated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp,
                     const QVariantMap& options);
    void onShortcutsChanged(const QDBusMessage& message);
    void onSessionClosed(const QVariantMap& details);

private:
    enum class Step { none, createSession, bindShortcuts };

    void ask(unsigned attempt);
    void request(Step step, const QString& method, QVariantList arguments, QVariantMap options,
                 std::chrono::milliseconds timeout);
    void dropRequest();
    void onResponse(uint response, const QVariantMap& results);
    void bind();
    void takeTriggers(const QVariant& shortcuts);
    void endSession();
    void fail(const std::string& reason);
    // id and keys of each bound shortcut, on one line for the log.
    std::string triggersLine() const;
    void setStatus(Status status);
    bool current(unsigned attempt) const { return attempt == attempt_ && status_.state == State::starting; }

    QDBusConnection bus_;
    Timeouts timeouts_;
    QDBusServiceWatcher portalWatcher_;
    std::vector<Shortcut> bound_;  // asked for, in the core's order
    Callback callback_;
    std::function<void(const Status&)> stateHandler_;
    std::vector<std::function<void()>> triggersHandlers_;
    std::map<std::string, std::string> triggers_;
    Status status_{State::unavailable, "not started"};
    unsigned attempt_ = 0;
    bool registered_ = false;
    Step step_ = Step::none;
    QString portalOwner_;               // the portal's unique name: only its signals count
    PortalRequest* pending_ = nullptr;  // a child, deleted later once answered or dropped
    QString sessionPath_;
};

}  // namespace velko
