#pragma once
#include <string>

namespace velko {

class UUIDGenerator {
public:
    // A random (version 4) UUID, upper case: 8-4-4-4-12 hexadecimal digits. Safe on any thread.
    static std::string random();
};

}  // namespace velko
