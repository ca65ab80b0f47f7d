#include "session/PumpedWaylandPasteboard.h"
#include "platform/Log.h"

#include <QMetaObject>
#include <cstdio>

#include "wayland/WaylandDataControlPasteboard.h"

namespace velko {

PumpedWaylandPasteboard::PumpedWaylandPasteboard(std::unique_ptr<WaylandDataControlPasteboard> pasteboard)
    : pasteboard_(std::move(pasteboard)), notifier_(pasteboard_->fd(), QSocketNotifier::Read) {
    // A closed socket stays readable: once the compositor is gone there is nothing left to handle.
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] {
        if (!pasteboard_->dispatch()) notifier_.setEnabled(false);
    });
}

PumpedWaylandPasteboard::~PumpedWaylandPasteboard() {
    if (reader_.joinable()) reader_.join();  // bounded by the snapshot budget
}

std::int64_t PumpedWaylandPasteboard::changeCount() { return pasteboard_->changeCount(); }
std::optional<std::vector<PasteboardItem>> PumpedWaylandPasteboard::items() { return pasteboard_->items(); }
void PumpedWaylandPasteboard::readItems(std::function<void(std::optional<std::vector<PasteboardItem>>)> done) {
    auto requested = pasteboard_->request();
    if (auto* ready = std::get_if<0>(&requested)) return done(std::move(*ready));
    if (reader_.joinable()) reader_.join();  // the previous snapshot has handed its result over by now
    reader_ = std::thread([this, requested = std::move(std::get<1>(requested)), done = std::move(done)]() mutable {
        auto gathered = WaylandDataControlPasteboard::gather(std::move(requested));
        for (const auto& type : gathered.late)
            log::warning(
                "the clipboard's owner did not give %s in time; it is left out of what "
                "comes back after the expansion",
                type.c_str());
        QMetaObject::invokeMethod(
            &answers_,
            [this, done = std::move(done), gathered = std::move(gathered)]() mutable {
                auto items = pasteboard_->settle(std::move(gathered));
                if (!items)
                    log::warning(
                        "the clipboard cannot be read; it will hold the snippet after the "
                        "expansion");
                done(std::move(items));
            },
            Qt::QueuedConnection);
    });
}

std::optional<std::string> PumpedWaylandPasteboard::string() { return pasteboard_->string(); }
void PumpedWaylandPasteboard::clearContents() { pasteboard_->clearContents(); }
void PumpedWaylandPasteboard::writeString(const std::string& text) { pasteboard_->writeString(text); }
void PumpedWaylandPasteboard::writeItems(const std::vector<PasteboardItem>& items) { pasteboard_->writeItems(items); }

}  // namespace velko
