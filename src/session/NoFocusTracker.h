#pragma once
#include "platform/FocusTracker.h"

namespace velko {

// Where nothing tells the focus: it is never known, and nothing ever changes.
class NoFocusTracker : public FocusTracker {
public:
    std::optional<Focus> focus() const override { return std::nullopt; }
    void onChange(std::function<void()>) override {}
};

}  // namespace velko
