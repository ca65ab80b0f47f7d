#pragma once
// A main queue and wall clock driven by hand: timings are checked exactly and instantly.
#include <algorithm>
#include <functional>
#include <map>
#include <utility>

#include "platform/Clock.h"
#include "platform/MainQueue.h"

namespace velko::test {

class VirtualClock : public Clock, public MainQueue {
public:
    double now() override { return now_; }

    void async(std::function<void()> fn) override { schedule(now_, std::move(fn)); }
    void asyncAfter(double seconds, std::function<void()> fn) override { schedule(now_ + seconds, std::move(fn)); }
    void scheduleRepeating(double seconds, std::function<void()> fn) override {
        auto shared = std::make_shared<std::function<void()>>(std::move(fn));
        auto tick = std::make_shared<std::function<void()>>();
        *tick = [this, seconds, shared, weak = std::weak_ptr(tick)] {
            (*shared)();
            if (auto self = weak.lock()) schedule(now_ + seconds, [self] { (*self)(); });
        };
        repeating_.push_back(tick);
        schedule(now_ + seconds, [tick] { (*tick)(); });
    }

    // Runs everything due up to now + seconds, in time order, then sets the clock there.
    void advance(double seconds) {
        const double end = now_ + seconds;
        while (!pending_.empty() && pending_.begin()->first.first <= end) {
            auto node = pending_.extract(pending_.begin());
            now_ = std::max(now_, node.key().first);
            node.mapped()();
        }
        now_ = end;
    }
    void runPending() { advance(0); }
    void setNow(double t) { now_ = t; }

private:
    void schedule(double at, std::function<void()> fn) {
        pending_.emplace(std::make_pair(at, sequence_++), std::move(fn));
    }

    double now_ = 1000.0;
    unsigned long sequence_ = 0;
    std::map<std::pair<double, unsigned long>, std::function<void()>> pending_;
    std::vector<std::shared_ptr<std::function<void()>>> repeating_;
};

}  // namespace velko::test
