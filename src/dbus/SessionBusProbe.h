#pragma once
#include <chrono>
#include <string>

namespace velko {

// Qt waits up to 25 s for the bus to greet each new connection, on the thread that asks, and it
// opens several of them: a session bus that accepts connections and never answers would keep
// the helper from starting. The probe asks once, with a deadline of its own, before Qt does.
class SessionBusProbe {
public:
    enum class Outcome { answers, absent, silent };
    // The session bus's address as libdbus would find it; empty when there is none to try.
    static std::string address();
    // Whether the bus at address says hello within deadline (absent: it refuses or is not there).
    static Outcome greet(const std::string& address, std::chrono::milliseconds deadline);
    // Before anything uses the bus: a silent one is logged and replaced in the environment by an
    // address that fails at once, so that the helper runs as it does without a bus.
    static void keepOutIfSilent(std::chrono::milliseconds deadline);
};

}  // namespace velko
