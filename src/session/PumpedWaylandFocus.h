#pragma once
#include <QSocketNotifier>
#include <memory>

#include "platform/FocusTracker.h"

namespace velko {

class WaylandToplevelFocus;

// The compositor's list of windows read on Qt's loop whenever it writes, so that the focus is
// current without asking it per key. Needs a QCoreApplication.
class PumpedWaylandFocus : public FocusTracker {
public:
    // lost, when set, is told once the compositor stops telling.
    PumpedWaylandFocus(std::unique_ptr<WaylandToplevelFocus> focus, std::function<void()> lost = {});
    ~PumpedWaylandFocus() override;

    std::optional<Focus> focus() const override;
    void onChange(std::function<void()> changed) override;

private:
    std::unique_ptr<WaylandToplevelFocus> focus_;
    QSocketNotifier notifier_;
};

}  // namespace velko
