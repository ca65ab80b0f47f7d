#pragma once
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/FocusTracker.h"
#include "platform/Result.h"

struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace velko {

class WaylandConnection;

// The activated toplevel and its app_id as a wlroots compositor lists them for taskbars (foreign
// toplevel management), on a connection of its own. No Qt: the caller watches fd() and calls
// dispatch() when it is readable. Main thread only.
class WaylandToplevelFocus : public FocusTracker {
public:
    // Fails with the why: no compositor, no answer, or no toplevel list offered.
    static Result<std::unique_ptr<WaylandToplevelFocus>> open();
    ~WaylandToplevelFocus() override;

    // Nothing activated (the desktop, a locked screen) is a focus with no application.
    std::optional<Focus> focus() const override { return focus_; }
    void onChange(std::function<void()> changed) override { changed_ = std::move(changed); }

    int fd() const;
    // Handles what the compositor sent; false once it is gone or stopped listing, the focus unknown from then on.
    bool dispatch();

private:
    struct Toplevel {
        zwlr_foreign_toplevel_handle_v1* handle = nullptr;
        std::string appId, pendingAppId;
        bool activated = false, pendingActivated = false;
    };
    struct Listeners;
    WaylandToplevelFocus() = default;
    void update();
    void lost(const char* why);

    std::unique_ptr<WaylandConnection> connection_;
    zwlr_foreign_toplevel_manager_v1* manager_ = nullptr;
    std::vector<std::unique_ptr<Toplevel>> toplevels_;
    std::optional<Focus> focus_;
    std::function<void()> changed_;
};

}  // namespace velko
