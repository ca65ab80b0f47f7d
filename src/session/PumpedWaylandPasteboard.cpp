#include "session/PumpedWaylandPasteboard.h"

#include "wayland/WaylandDataControlPasteboard.h"

namespace velko {

PumpedWaylandPasteboard::PumpedWaylandPasteboard(std::unique_ptr<WaylandDataControlPasteboard> pasteboard)
    : pasteboard_(std::move(pasteboard)), notifier_(pasteboard_->fd(), QSocketNotifier::Read) {
    // A closed socket stays readable: once the compositor is gone there is nothing left to handle.
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] {
        if (!pasteboard_->dispatch()) notifier_.setEnabled(false);
    });
}

PumpedWaylandPasteboard::~PumpedWaylandPasteboard() = default;

std::int64_t PumpedWaylandPasteboard::changeCount() { return pasteboard_->changeCount(); }
std::optional<std::vector<PasteboardItem>> PumpedWaylandPasteboard::items() { return pasteboard_->items(); }
std::optional<std::string> PumpedWaylandPasteboard::string() { return pasteboard_->string(); }
void PumpedWaylandPasteboard::clearContents() { pasteboard_->clearContents(); }
void PumpedWaylandPasteboard::writeString(const std::string& text) { pasteboard_->writeString(text); }
void PumpedWaylandPasteboard::writeItems(const std::vector<PasteboardItem>& items) { pasteboard_->writeItems(items); }

}  // namespace velko
