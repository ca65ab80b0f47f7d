#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "platform/FocusTracker.h"
#include "x11/X11Connection.h"

class QSocketNotifier;

namespace velko {

// The active window as the window manager publishes it (_NET_ACTIVE_WINDOW on the root window)
// and its WM_CLASS, followed through property notifications on a connection of its own read on
// the main loop: nothing is asked per key. Under a window manager that publishes none, or none
// yet, the focus is unknown.
class X11FocusTracker : public FocusTracker {
public:
    // published, when set, is told whether the window manager publishes the active window, on
    // start and whenever that changes (a window manager started or replaced later).
    explicit X11FocusTracker(std::function<void(bool published)> published = {});
    ~X11FocusTracker() override;
    // False when no display can be reached; the focus stays unknown.
    bool start();

    std::optional<Focus> focus() const override { return focus_; }
    void onChange(std::function<void()> changed) override { changed_ = std::move(changed); }

private:
    void readEvents();
    void refresh();
    // nullopt when the window manager publishes no active window.
    std::optional<Focus> readActive(xcb_connection_t* c);
    bool announcesActiveWindow(xcb_connection_t* c);

    X11Connection display_;
    xcb_connection_t* c_ = nullptr;
    std::uint32_t root_ = 0;
    std::uint32_t activeAtom_ = 0;
    std::uint32_t supportedAtom_ = 0;
    std::optional<Focus> focus_;
    std::optional<bool> published_;
    std::function<void(bool)> onPublished_;
    std::function<void()> changed_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace velko
