#pragma once
#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "xkb/EvdevStroke.h"

class QDBusPendingCallWatcher;

namespace velko {

// Key changes sent as D-Bus calls, each only after the previous one has returned: the portal runs
// every call on a thread of its own, so changes sent together reach the compositor in any order and
// leave modifiers held. A refused change ends the stroke: nothing more is pressed, and every key it
// pressed is released before refused is told.
class OrderedKeyCalls : public QObject {
    Q_OBJECT
public:
    // The call that posts one change.
    using Call = std::function<QDBusMessage(std::uint16_t code, bool down)>;
    using Refused = std::function<void(const std::string& error)>;

    OrderedKeyCalls(QDBusConnection bus, Call call, Refused refused, std::chrono::milliseconds timeout,
                    QObject* parent = nullptr);
    // Releases what is still down (releaseNow), so no key outlives the helper.
    ~OrderedKeyCalls() override;

    // Queued behind the changes not yet sent; returns at once.
    void post(const std::vector<EvdevStroke::Change>& changes);
    // A call of another service, in line with the keys (its failure changes nothing), sent no sooner
    // than `delay` after the call before it returned. With an undo, that undo is owed until the next
    // call posted here, and releaseNow() or forget() send it.
    void postCall(QDBusMessage call, std::optional<QDBusMessage> undo = std::nullopt,
                  std::chrono::milliseconds delay = std::chrono::milliseconds(0));
    // Drops what is queued and, waiting for each call (bounded), releases every key still down; for
    // a session about to close, when the loop will not come back to the queue.
    void releaseNow();
    // The device went away with its session, and its keys with it: nothing queued is sent.
    void forget();
    // The session bus was made anew: the session went with the old one, later calls go on `bus`.
    void moveTo(QDBusConnection bus);
    // No change queued or under way.
    bool idle() const { return queue_.empty() && !inFlight_ && !waiting_; }

private:
    struct Item {
        std::optional<EvdevStroke::Change> change;  // else message
        QDBusMessage message;
        std::optional<QDBusMessage> undo;
        std::chrono::milliseconds delay{0};
    };
    void sendNext();
    void track(const Item& item);

    QDBusConnection bus_;
    Call call_;
    Refused refused_;
    const std::chrono::milliseconds timeout_;
    std::deque<Item> queue_;
    std::optional<QDBusMessage> owed_;  // the undo of a call sent, not yet sent itself
    std::vector<std::uint16_t> down_;   // pressed by a call already sent, in the order pressed
    QDBusPendingCallWatcher* inFlight_ = nullptr;
    bool waiting_ = false;  // for the delay of the call at the front
};

}  // namespace velko
