#include "session/PumpedWaylandFocus.h"

#include "wayland/WaylandToplevelFocus.h"

namespace velko {

PumpedWaylandFocus::PumpedWaylandFocus(std::unique_ptr<WaylandToplevelFocus> focus, std::function<void()> lost)
    : focus_(std::move(focus)), notifier_(focus_->fd(), QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this, lost = std::move(lost)] {
        if (focus_->dispatch()) return;
        notifier_.setEnabled(false);  // a closed socket stays readable
        if (lost) lost();
    });
}

PumpedWaylandFocus::~PumpedWaylandFocus() = default;

std::optional<Focus> PumpedWaylandFocus::focus() const { return focus_->focus(); }

void PumpedWaylandFocus::onChange(std::function<void()> changed) { focus_->onChange(std::move(changed)); }

}  // namespace velko
