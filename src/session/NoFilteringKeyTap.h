#pragma once
#include "platform/FilteringKeyTap.h"

namespace velko {

// Where no hotkey backend works: hotkeys stay off.
class NoFilteringKeyTap : public FilteringKeyTap {
public:
    bool create(const std::vector<Combination>&, Callback) override { return false; }
};

}  // namespace velko
