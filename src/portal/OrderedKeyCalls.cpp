#include "portal/OrderedKeyCalls.h"

#include <QDBusPendingCallWatcher>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace velko {

OrderedKeyCalls::OrderedKeyCalls(QDBusConnection bus, Call call, Refused refused, std::chrono::milliseconds timeout,
                                 QObject* parent)
    : QObject(parent), bus_(std::move(bus)), call_(std::move(call)), refused_(std::move(refused)), timeout_(timeout) {}

OrderedKeyCalls::~OrderedKeyCalls() { releaseNow(); }

void OrderedKeyCalls::post(const std::vector<EvdevStroke::Change>& changes) {
    for (const auto& change : changes) queue_.push_back({change, {}, {}, {}});
    if (!inFlight_ && !waiting_) sendNext();
}

void OrderedKeyCalls::postCall(QDBusMessage call, std::optional<QDBusMessage> undo, std::chrono::milliseconds delay) {
    queue_.push_back({std::nullopt, std::move(call), std::move(undo), delay});
    if (!inFlight_ && !waiting_) sendNext();
}

void OrderedKeyCalls::track(const Item& item) {
    if (!item.change) {
        owed_ = item.undo;
        return;
    }
    const auto [code, down] = *item.change;
    if (down) {
        // Counted as down once sent: a call that fails or times out may still have reached the compositor.
        if (std::find(down_.begin(), down_.end(), code) == down_.end()) down_.push_back(code);
    } else {
        std::erase(down_, code);
    }
}

void OrderedKeyCalls::sendNext() {
    if (queue_.empty()) return;
    if (const auto delay = std::exchange(queue_.front().delay, std::chrono::milliseconds(0)); delay.count() > 0) {
        waiting_ = true;
        QTimer::singleShot(delay, this, [this] {
            if (!std::exchange(waiting_, false)) return;  // released or forgotten meanwhile
            sendNext();
        });
        return;
    }
    const Item item = queue_.front();
    queue_.pop_front();
    track(item);
    const QDBusMessage message = item.change ? call_(item.change->code, item.change->down) : item.message;
    inFlight_ = new QDBusPendingCallWatcher(bus_.asyncCall(message, int(timeout_.count())), this);
    connect(inFlight_, &QDBusPendingCallWatcher::finished, this,
            [this, key = item.change.has_value()](QDBusPendingCallWatcher* watcher) {
                watcher->deleteLater();
                if (watcher != inFlight_) return;
                inFlight_ = nullptr;
                if (!key || !watcher->isError()) return sendNext();
                const std::string error = watcher->error().message().toStdString();
                releaseNow();
                if (refused_) refused_(error);
            });
}

void OrderedKeyCalls::releaseNow() {
    queue_.clear();
    waiting_ = false;
    if (inFlight_) {
        // A release sent now could overtake the call under way.
        inFlight_->waitForFinished();
        inFlight_->deleteLater();
        inFlight_ = nullptr;
    }
    // Latest first, as a person lets go; a release the compositor refuses leaves nothing more to do.
    const std::vector<std::uint16_t> down(down_.rbegin(), down_.rend());
    down_.clear();
    // Bounded tighter than a step: the loop waits meanwhile.
    const int wait = int(std::min(timeout_, std::chrono::milliseconds(1000)).count());
    for (const std::uint16_t code : down) bus_.call(call_(code, false), QDBus::Block, wait);
    if (owed_) bus_.call(*std::exchange(owed_, std::nullopt), QDBus::Block, wait);
}

void OrderedKeyCalls::forget() {
    // What is owed elsewhere is still owed: that service did not go with the session.
    if (owed_) bus_.asyncCall(*std::exchange(owed_, std::nullopt));
    queue_.clear();
    waiting_ = false;
    down_.clear();
    if (inFlight_) inFlight_->deleteLater();
    inFlight_ = nullptr;
}

void OrderedKeyCalls::moveTo(QDBusConnection bus) {
    owed_.reset();  // its service went with the old bus too
    forget();
    bus_ = std::move(bus);
}

}  // namespace velko
