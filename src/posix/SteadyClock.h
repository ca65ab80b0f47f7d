#pragma once
#include "platform/Clock.h"

namespace velko {

// Monotonic, so setting the wall clock back never blocks pastes for the amount it moved.
class SteadyClock : public Clock {
public:
    double now() override;
};

}  // namespace velko
