#pragma once
#include "platform/FocusTracker.h"

namespace velko {

// Two sources of one focus: the window system's tells the application, the accessibility bus the
// widget. The application is the window's when known; a terminal by either; a password field by
// the widget's source only, since no window says so.
class LayeredFocusTracker : public FocusTracker {
public:
    // Both must outlive this tracker; it takes their change callbacks.
    LayeredFocusTracker(FocusTracker& window, FocusTracker& widget);

    std::optional<Focus> focus() const override { return focus_; }
    void onChange(std::function<void()> changed) override { changed_ = std::move(changed); }

private:
    void update();

    FocusTracker& window_;
    FocusTracker& widget_;
    std::optional<Focus> focus_;  // combined once per change, since every typed key asks
    std::function<void()> changed_;
};

}  // namespace velko
