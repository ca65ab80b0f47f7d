#pragma once

namespace velko {

class Clock {
public:
    virtual ~Clock() = default;
    // Seconds since an arbitrary origin, for measuring intervals: the real one is monotonic, so
    // a clock set back by the user never stretches an interval.
    virtual double now() = 0;
};

}  // namespace velko
