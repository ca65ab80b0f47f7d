#include "velkoctl/LinkClient.h"

#include <utility>

#include "Core/HelperConstants.h"
#include "platform/Clock.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCenter.h"

namespace velko {

using Names = HelperConstants::Notification;

// Shared by the observers and the deadline: whichever comes first answers, the rest find it done.
struct LinkClient::Exchange {
    Exchange(Clock& clock, Done done) : clock(clock), done(std::move(done)) {}
    Clock& clock;
    Done done;
    double postedAt = 0;
    bool degraded = false;
    std::string reason;

    void finish(Answer::Kind kind, std::string object) {
        if (!done) return;
        auto callback = std::move(done);
        done = nullptr;
        callback(Answer{kind, std::move(object), Seconds(clock.now() - postedAt)});
    }
};

LinkClient::LinkClient(NotificationCenter& center, MainQueue& queue, Clock& clock)
    : center_(center), queue_(queue), clock_(clock) {}

void LinkClient::ping(Seconds timeout, Done done) {
    auto exchange = std::make_shared<Exchange>(clock_, std::move(done));
    center_.observe(Names::pong, [exchange](const std::string& pong) { exchange->finish(Answer::Kind::pong, pong); });
    exchange->postedAt = clock_.now();
    center_.post(Names::ping, "");
    await(exchange, timeout);
}

void LinkClient::paste(const std::string& request, Seconds timeout, Done done) {
    auto exchange = std::make_shared<Exchange>(clock_, std::move(done));
    center_.observe(Names::helperDegraded, [exchange](const std::string& reason) {
        if (!exchange->done || exchange->degraded) return;
        exchange->degraded = true;
        exchange->reason = reason;
    });
    center_.observe(Names::pong, [exchange](const std::string& pong) {
        if (exchange->degraded)
            exchange->finish(Answer::Kind::degraded, exchange->reason);
        else
            exchange->finish(Answer::Kind::pong, pong);
    });
    exchange->postedAt = clock_.now();
    center_.post(request, "");
    center_.post(Names::ping, "");
    await(exchange, timeout);
}

void LinkClient::await(const std::shared_ptr<Exchange>& exchange, Seconds timeout) {
    queue_.asyncAfter(timeout.count(), [exchange] {
        // A degraded notice without the pong that should follow it still tells the outcome.
        if (exchange->degraded)
            exchange->finish(Answer::Kind::degraded, exchange->reason);
        else
            exchange->finish(Answer::Kind::none, "");
    });
}

}  // namespace velko
