#pragma once
#include "platform/MainQueue.h"

namespace velko {

// Qt's event loop in the main thread. Needs a QCoreApplication to exist.
class QtMainQueue : public MainQueue {
public:
    void async(std::function<void()> fn) override;
    void asyncAfter(double seconds, std::function<void()> fn) override;
    void scheduleRepeating(double seconds, std::function<void()> fn) override;
};

}  // namespace velko
