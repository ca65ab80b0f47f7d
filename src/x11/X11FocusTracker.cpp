#include "x11/X11FocusTracker.h"
#include "platform/Log.h"

#include <QSocketNotifier>
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Core/TerminalApplications.h"
#include "x11/Xcb.h"

namespace velko {
namespace {

// WM_CLASS is two short names; anything longer is cut, not trusted to end.
constexpr std::uint32_t maxClassWords = 64;
// Window managers announce a few hundred features at most.
constexpr std::uint32_t maxSupportedAtoms = 1024;

}  // namespace

X11FocusTracker::X11FocusTracker(std::function<void(bool)> published) : onPublished_(std::move(published)) {}

X11FocusTracker::~X11FocusTracker() = default;

bool X11FocusTracker::start() {
    xcb_connection_t* c = display_.get();
    if (!c) return false;
    root_ = display_.rootWindow();
    activeAtom_ = xcb::internAtom(c, "_NET_ACTIVE_WINDOW");
    supportedAtom_ = xcb::internAtom(c, "_NET_SUPPORTED");
    if (activeAtom_ == XCB_ATOM_NONE || supportedAtom_ == XCB_ATOM_NONE) return false;
    // Only this connection's mask on the root changes; other clients keep theirs.
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, root_, XCB_CW_EVENT_MASK, &mask);
    c_ = c;
    notifier_ = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, [this] { readEvents(); });
    refresh();
    readEvents();
    return true;
}

void X11FocusTracker::readEvents() {
    // refresh's round trips queue what arrives meanwhile, which the socket no longer signals.
    for (bool activeChanged = true; activeChanged && c_;) {
        activeChanged = false;
        // Errors of a window that closed before we read it need nothing.
        while (const xcb::Event event{xcb_poll_for_event(c_)}) {
            if ((event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY) {
                const auto* notify = reinterpret_cast<const xcb_property_notify_event_t*>(event.get());
                activeChanged = activeChanged || (notify->window == root_ &&
                                                  (notify->atom == activeAtom_ || notify->atom == supportedAtom_));
            }
        }
        if (xcb_connection_has_error(c_)) {
            notifier_.reset();
            c_ = nullptr;
            log::warning("lost the X connection that follows the focus; the focus is unknown now");
            const bool wasKnown = focus_.has_value();
            focus_.reset();
            if (wasKnown && changed_) changed_();
            return;
        }
        if (activeChanged) refresh();
    }
}

void X11FocusTracker::refresh() {
    auto focus = readActive(c_);
    const bool published = focus.has_value();
    if (published_ != published) {
        published_ = published;
        if (onPublished_) onPublished_(published);
    }
    if (focus == focus_) return;
    const bool wasTerminal = focus_ && focus_->terminal;
    const std::string wasApplication = focus_ ? focus_->application : "";
    focus_ = std::move(focus);
    if (focus_ && focus_->terminal && (!wasTerminal || focus_->application != wasApplication))
        log::info("the focus is on a terminal (%s): pastes use Ctrl+Shift+V", focus_->application.c_str());
    if (changed_) changed_();
}

// A window manager that has activated no window yet may have set no active window either.
bool X11FocusTracker::announcesActiveWindow(xcb_connection_t* c) {
    xcb::Reply<xcb_get_property_reply_t> supported{xcb_get_property_reply(
        c, xcb_get_property(c, 0, root_, supportedAtom_, XCB_ATOM_ATOM, 0, maxSupportedAtoms), nullptr)};
    if (!supported || supported->type != XCB_ATOM_ATOM || supported->format != 32) return false;
    const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(supported.get()));
    const int count = xcb_get_property_value_length(supported.get()) / 4;
    return std::find(atoms, atoms + count, activeAtom_) != atoms + count;
}

std::optional<Focus> X11FocusTracker::readActive(xcb_connection_t* c) {
    xcb::Reply<xcb_get_property_reply_t> active{
        xcb_get_property_reply(c, xcb_get_property(c, 0, root_, activeAtom_, XCB_ATOM_WINDOW, 0, 1), nullptr)};
    if (!active || active->type != XCB_ATOM_WINDOW || xcb_get_property_value_length(active.get()) < 4)
        return announcesActiveWindow(c) ? std::optional<Focus>(Focus{}) : std::nullopt;
    xcb_window_t window = 0;
    std::memcpy(&window, xcb_get_property_value(active.get()), sizeof window);
    if (window == XCB_NONE) return Focus{};  // the desktop itself, or nothing

    xcb::Reply<xcb_get_property_reply_t> names{xcb_get_property_reply(
        c, xcb_get_property(c, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, maxClassWords), nullptr)};
    if (!names || names->format != 8) return Focus{};
    // "instance\0class\0"; either may be missing or unterminated.
    const std::string value(static_cast<const char*>(xcb_get_property_value(names.get())),
                            static_cast<std::size_t>(xcb_get_property_value_length(names.get())));
    const std::string instance = value.substr(0, value.find('\0'));
    const std::size_t classStart = instance.size() + 1;
    const std::string className =
        classStart < value.size() ? value.substr(classStart, value.find('\0', classStart) - classStart) : "";
    Focus focus;
    focus.application = className.empty() ? instance : className;
    focus.terminal = TerminalApplications::includes(instance) || TerminalApplications::includes(className);
    return focus;
}

}  // namespace velko
