#pragma once
#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "platform/FilteringKeyTap.h"
#include "portal/PortalSession.h"

class QDBusMessage;
class QDBusObjectPath;

namespace velko {

// The helper's hotkeys through the desktop portal's GlobalShortcuts interface (Plasma 5.27+,
// GNOME 48+, Hyprland): one session, a shortcut per combination under its binding's identifier,
// and the desktop, not the helper, decides which keys trigger them. The portal consumes the key,
// so a verdict has no effect. Everything runs on the Qt loop; nothing here waits for the portal.
class PortalGlobalShortcuts : public PortalSession, public FilteringKeyTap {
    Q_OBJECT
public:
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
    // True when every combination has a shortcut and a portal is on the bus; the session is then
    // set up without waiting, and a portal that lacks the interface, refuses or does not answer
    // ends it as unavailable (one log line). A second call starts afresh.
    bool create(const std::vector<Combination>& combinations, Callback callback) override;

    // Identifier to the trigger the desktop reports for it ("" when the person left it unset), as
    // its own text for people to read; only the shortcuts bound, and empty until then.
    const std::map<std::string, std::string>& triggers() const { return triggers_; }
    // The triggers for people, one line per bound shortcut in the order of shortcuts(): the keys,
    // then what they do. Empty until bound.
    std::string triggersText() const;
    // The helper itself posts a key-down of keyCode with modifiers: the one activation of the shortcut
    // bound to that combination that the desktop sends within a second is the helper's own and fires
    // nothing (its paste-match is Ctrl+Shift+V, open_popover's trigger).
    void ownStroke(KeyCode keyCode, EventFlags modifiers);
    // Whether a shortcut is bound to this combination.
    bool binds(KeyCode keyCode, EventFlags modifiers) const;
    // Each is called on the Qt loop whenever triggers() changes.
    void addTriggersHandler(std::function<void()> handler) { triggersHandlers_.push_back(std::move(handler)); }

private slots:
    void onActivated(const QDBusObjectPath& session, const QString& id, qulonglong timestamp,
                     const QVariantMap& options);
    void onShortcutsChanged(const QDBusMessage& message);

private:
    void ask(unsigned attempt);
    void findShortcuts();
    void bind();
    void takeTriggers(const QVariant& shortcuts);
    void sessionEnding() override;
    void resume() override;
    void busReplaced() override { namedSession_ = false; }
    std::string closedReason() const override { return "the desktop closed the shortcuts session"; }
    // id and keys of each bound shortcut, on one line for the log.
    std::string triggersLine() const;

    const std::chrono::milliseconds bindTimeout_;
    std::vector<Shortcut> bound_;  // asked for, in the core's order
    Callback callback_;
    std::vector<std::function<void()>> triggersHandlers_;
    std::map<std::string, std::string> triggers_;
    bool namedSession_ = false;
    std::map<std::string, std::chrono::steady_clock::time_point> own_;  // id: until when one activation is own
};

}  // namespace velko
