#pragma once

namespace velko {

class Clock {
public:
    virtual ~Clock() = default;
    // Seconds on the wall clock; may jump backwards when the user sets the clock.
    virtual double now() = 0;
};

}  // namespace velko
