#include "wayland/WaylandToplevelFocus.h"
#include "platform/Log.h"

#include <wayland-client.h>

#include <algorithm>
#include <cstdint>

#include "Core/TerminalApplications.h"
#include "wayland/WaylandConnection.h"
#include "wayland/wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

namespace velko {
namespace {

// A compositor answers a local client in milliseconds; the helper must not hang on one that does not.
constexpr std::chrono::milliseconds replyTimeout{2000};

}  // namespace

struct WaylandToplevelFocus::Listeners {
    static void toplevel(void* data, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* handle) {
        auto* self = static_cast<WaylandToplevelFocus*>(data);
        auto entry = std::make_unique<Toplevel>();
        entry->handle = handle;
        zwlr_foreign_toplevel_handle_v1_add_listener(handle, &Listeners::handle, entry.get());
        self->toplevels_.push_back(std::move(entry));
    }
    static void finished(void* data, zwlr_foreign_toplevel_manager_v1*) {
        static_cast<WaylandToplevelFocus*>(data)->lost("the compositor stopped listing its windows");
    }
    static constexpr zwlr_foreign_toplevel_manager_v1_listener manager{toplevel, finished};

    static void title(void*, zwlr_foreign_toplevel_handle_v1*, const char*) {}
    static void appId(void* data, zwlr_foreign_toplevel_handle_v1*, const char* id) {
        static_cast<Toplevel*>(data)->pendingAppId = id ? id : "";
    }
    static void output(void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {}
    static void state(void* data, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
        const auto* begin = static_cast<const std::uint32_t*>(states->data);
        const auto* end = begin + states->size / sizeof(std::uint32_t);
        static_cast<Toplevel*>(data)->pendingActivated =
            std::find(begin, end, std::uint32_t{ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED}) != end;
    }
    static void done(void* data, zwlr_foreign_toplevel_handle_v1*) {
        auto* entry = static_cast<Toplevel*>(data);
        entry->appId = entry->pendingAppId;
        entry->activated = entry->pendingActivated;
    }
    static void closed(void* data, zwlr_foreign_toplevel_handle_v1*) {
        auto* entry = static_cast<Toplevel*>(data);
        entry->activated = entry->pendingActivated = false;
        zwlr_foreign_toplevel_handle_v1_destroy(entry->handle);
        entry->handle = nullptr;  // dropped from the list by update()
    }
    static void parent(void*, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1*) {}
    static constexpr zwlr_foreign_toplevel_handle_v1_listener handle{title, appId, output, output,
                                                                     state, done,  closed, parent};
};

Result<std::unique_ptr<WaylandToplevelFocus>> WaylandToplevelFocus::open() {
    std::unique_ptr<WaylandToplevelFocus> self(new WaylandToplevelFocus);
    auto connection = WaylandConnection::open(replyTimeout);
    if (!connection) return connection.failure();
    self->connection_ = std::move(*connection);
    // Version 1 has all that is needed: app_id and the activated state.
    self->manager_ = static_cast<zwlr_foreign_toplevel_manager_v1*>(
        self->connection_->bind(zwlr_foreign_toplevel_manager_v1_interface, 1));
    if (!self->manager_) return Failure{"the compositor offers no zwlr_foreign_toplevel_manager_v1"};
    zwlr_foreign_toplevel_manager_v1_add_listener(self->manager_, &Listeners::manager, self.get());
    // The windows that exist now, each with its done, come before the answer.
    if (!self->connection_->roundtrip(replyTimeout))
        return Failure{"the compositor did not list its windows: " + self->connection_->errorText()};
    if (!self->manager_) return Failure{"the compositor stopped listing its windows at once"};
    self->focus_ = Focus{};
    self->update();
    return self;
}

WaylandToplevelFocus::~WaylandToplevelFocus() {
    for (const auto& entry : toplevels_)
        if (entry->handle) zwlr_foreign_toplevel_handle_v1_destroy(entry->handle);
    if (manager_) zwlr_foreign_toplevel_manager_v1_destroy(manager_);
}

int WaylandToplevelFocus::fd() const { return connection_ ? connection_->fd() : -1; }

bool WaylandToplevelFocus::dispatch() {
    if (!manager_) return false;
    if (!connection_->pump(std::chrono::milliseconds{0})) {
        lost("lost the compositor connection that follows the focus");
        return false;
    }
    if (manager_) update();
    return manager_ != nullptr;
}

void WaylandToplevelFocus::update() {
    std::erase_if(toplevels_, [](const auto& entry) { return entry->handle == nullptr; });
    Focus focus;
    for (const auto& entry : toplevels_)
        if (entry->activated) {
            focus.application = entry->appId;
            focus.terminal = TerminalApplications::includes(entry->appId);
            break;
        }
    if (focus_ == focus) return;
    const bool wasTerminal = focus_ && focus_->terminal;
    const std::string wasApplication = focus_ ? focus_->application : "";
    focus_ = std::move(focus);
    if (focus_->terminal && (!wasTerminal || focus_->application != wasApplication))
        log::info("the focus is on a terminal (%s): pastes use Ctrl+Shift+V", focus_->application.c_str());
    if (changed_) changed_();
}

void WaylandToplevelFocus::lost(const char* why) {
    if (!manager_) return;
    log::warning("%s; the focus is unknown now", why);
    // After finished the compositor has destroyed the manager; the proxy only needs freeing.
    wl_proxy_destroy(reinterpret_cast<wl_proxy*>(manager_));
    manager_ = nullptr;
    const bool wasKnown = focus_.has_value();
    focus_.reset();
    if (wasKnown && changed_) changed_();
}

}  // namespace velko
