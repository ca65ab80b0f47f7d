#pragma once
#include <QObject>
#include <QSocketNotifier>
#include <memory>
#include <thread>

#include "platform/Pasteboard.h"

namespace velko {

class WaylandDataControlPasteboard;

// The data-control clipboard fed by Qt's loop: whenever the compositor writes, its events are handled,
// so what the helper put on the clipboard is served while the loop runs. Needs a QCoreApplication.
class PumpedWaylandPasteboard : public Pasteboard {
public:
    explicit PumpedWaylandPasteboard(std::unique_ptr<WaylandDataControlPasteboard> pasteboard);
    ~PumpedWaylandPasteboard() override;

    std::int64_t changeCount() override;
    std::optional<std::vector<PasteboardItem>> items() override;
    // Another client's types are read on a thread of their own, within the same bounds as items();
    // a type that does not come in time is left out and logged.
    void readItems(std::function<void(std::optional<std::vector<PasteboardItem>>)> done) override;
    std::optional<std::string> string() override;
    void clearContents() override;
    void writeString(const std::string& text) override;
    void writeItems(const std::vector<PasteboardItem>& items) override;

private:
    std::unique_ptr<WaylandDataControlPasteboard> pasteboard_;
    QSocketNotifier notifier_;
    QObject answers_;  // what the reader hands back is dropped with it
    std::thread reader_;
};

}  // namespace velko
