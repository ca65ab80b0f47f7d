#pragma once
#include <chrono>
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
    using Seconds = std::chrono::duration<double>;
    struct Answer {
        enum class Kind { pong, degraded, none };
        Kind kind = Kind::none;
        // The pong's JSON text, or the degraded notice's reason; empty for none.
        std::string object;
        // From the post to the answer.
        Seconds roundTrip{0};
    };
    using Done = std::function<void(const Answer&)>;

    LinkClient(NotificationCenter& center, MainQueue& queue, Clock& clock);

    // Posts a ping; done runs once, with the first pong or, timeout seconds on, with none.
    void ping(Seconds timeout, Done done);
    // Posts the paste request, then a ping. The helper handles notifications in order, so a
    // degraded notice before the pong answers this request; a pong alone means it was taken.
    void paste(const std::string& request, Seconds timeout, Done done);

private:
    struct Exchange;
    void await(const std::shared_ptr<Exchange>& exchange, Seconds timeout);

    NotificationCenter& center_;
    MainQueue& queue_;
    Clock& clock_;
};

}  // namespace velko
