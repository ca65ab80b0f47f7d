#include "Core/LayeredFocusTracker.h"

namespace velko {

LayeredFocusTracker::LayeredFocusTracker(FocusTracker& window, FocusTracker& widget)
    : window_(window), widget_(widget) {
    window_.onChange([this] { update(); });
    widget_.onChange([this] { update(); });
    update();
}

void LayeredFocusTracker::update() {
    const auto window = window_.focus();
    const auto widget = widget_.focus();
    std::optional<Focus> combined;
    if (window || widget) {
        combined.emplace();
        combined->application = window && !window->application.empty() ? window->application
                                : widget                               ? widget->application
                                                                       : std::string();
        combined->terminal = (window && window->terminal) || (widget && widget->terminal);
        combined->passwordField = widget && widget->passwordField;
    }
    if (combined == focus_) return;
    focus_ = std::move(combined);
    if (changed_) changed_();
}

}  // namespace velko
