#include "posix/SteadyClock.h"

#include <chrono>

namespace velko {

double SteadyClock::now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace velko
