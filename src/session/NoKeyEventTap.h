#pragma once
#include "platform/KeyEventTap.h"

namespace velko {

// Where typed keys cannot be watched: the expansion stays off.
class NoKeyEventTap : public KeyEventTap {
public:
    bool start(Handler) override { return false; }
};

}  // namespace velko
