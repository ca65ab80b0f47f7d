#include "session/WaylandStrokes.h"

#include <QSocketNotifier>
#include <utility>

#include "mutter/MutterRemoteDesktopKeyboard.h"
#include "portal/PortalRemoteDesktopKeyboard.h"
#include "sway/SwayInputEvents.h"
#include "uinput/UinputKeyboard.h"
#include "wayland/WaylandVirtualKeyboard.h"

namespace velko {

WaylandStrokes::WaylandStrokes(Backends backends, std::function<void(const std::string&)> changed,
                               std::function<void(KeyCode, EventFlags)> posted)
    : backends_(std::move(backends)), changed_(std::move(changed)), posted_(std::move(posted)) {
    if (auto* keyboard = backends_.virtualKeyboard.get()) {
        // Reading the compositor's socket is how its going away is noticed between strokes.
        compositor_ = std::make_unique<QSocketNotifier>(keyboard->fd(), QSocketNotifier::Read);
        connect(compositor_.get(), &QSocketNotifier::activated, this, [this] {
            if (!backends_.virtualKeyboard->dispatch()) compositor_->setEnabled(false);
            recheck();
        });
    }
    if (auto* mutter = backends_.mutter.get())
        mutter->setStateHandler([this](const MutterRemoteDesktopKeyboard::Status&) { recheck(); });
    if (auto* portal = backends_.portal.get())
        portal->setStateHandler([this](const PortalRemoteDesktopKeyboard::Status&) { recheck(); });
    lastName_ = name();
}

WaylandStrokes::~WaylandStrokes() = default;

SyntheticKeyboard* WaylandStrokes::current() {
    if (backends_.virtualKeyboard && backends_.virtualKeyboard->isAlive()) return backends_.virtualKeyboard.get();
    if (backends_.mutter && backends_.mutter->state().state == MutterRemoteDesktopKeyboard::State::ready)
        return backends_.mutter.get();
    if (backends_.portal && backends_.portal->state().state == PortalRemoteDesktopKeyboard::State::ready)
        return backends_.portal.get();
    if (backends_.uinput) return backends_.uinput.get();
    return nullptr;
}

std::string WaylandStrokes::name() {
    SyntheticKeyboard* keyboard = current();
    if (!keyboard) return "off";
    if (keyboard == backends_.virtualKeyboard.get()) return "Wayland virtual keyboard";
    if (keyboard == backends_.mutter.get()) return "GNOME remote desktop";
    if (keyboard == backends_.portal.get()) return "desktop portal";
    return "/dev/uinput";
}

void WaylandStrokes::recheck() {
    if (const std::string now = name(); now != lastName_) {
        lastName_ = now;
        if (changed_) changed_(now);
    }
    if (!pending())
        for (auto& settled : std::exchange(settled_, {})) settled();
}

bool WaylandStrokes::isProcessTrusted() { return current() != nullptr; }

bool WaylandStrokes::pending() {
    return (backends_.mutter && backends_.mutter->state().state == MutterRemoteDesktopKeyboard::State::starting) ||
           (backends_.portal && backends_.portal->state().state == PortalRemoteDesktopKeyboard::State::starting);
}

void WaylandStrokes::whenSettled(std::function<void()> settled) {
    if (pending())
        settled_.push_back(std::move(settled));
    else
        settled();
}

bool WaylandStrokes::hasFrontmostApplication() {
    SyntheticKeyboard* keyboard = current();
    return keyboard && keyboard->hasFrontmostApplication();
}

bool WaylandStrokes::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    SyntheticKeyboard* keyboard = current();
    // Told first: the desktop may answer the key before the call returns.
    if (keyboard && keyDown && posted_) posted_(keyCode, flags);
    const bool posted = keyboard && keyboard->postKeyEvent(keyCode, flags, keyDown);
    recheck();  // a failed post may have found the compositor gone
    return posted;
}

}  // namespace velko
