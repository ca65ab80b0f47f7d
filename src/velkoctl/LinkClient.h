#pragma once
#include <functional>
#include <memory>
#include <string>

namespace velko {

class Clock;
class MainQueue;
class NotificationCenter;

// Velko's end of the link: posts a request and waits, with a deadline, for the helper's answer.
class LinkClient {
public:
    struct Answer {
        enum class Kind { pong, degraded, none };
        Kind kind = Kind::none;
        // The pong's JSON text, or the degraded notice's reason; empty for none.
        std::string object;
        // Seconds from the post to the answer.
        double roundTrip = 0;
    };
    using Done = std::function<void(const Answer&)>;

    LinkClient(NotificationCenter& center, MainQueue& queue, Clock& clock);

    // Posts a ping; done runs once, with the first pong or, timeout seconds on, with none.
    void ping(double timeout, Done done);
    // Posts the paste request, then a ping. The helper handles notifications in order, so a
    // degraded notice before the pong answers this request; a pong alone means it was taken.
    void paste(const std::string& request, double timeout, Done done);

private:
    struct Exchange;
    void await(const std::shared_ptr<Exchange>& exchange, double timeout);

    NotificationCenter& center_;
    MainQueue& queue_;
    Clock& clock_;
};

}  // namespace velko
