#include "wayland/WaylandVirtualKeyboard.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "wayland/WaylandConnection.h"
#include "wayland/virtual-keyboard-unstable-v1-client-protocol.h"
#include "xkb/KeyTable.h"
#include "xkb/XkbHandles.h"

namespace velko {
namespace {

std::uint32_t maskOf(xkb_keymap* keymap, const char* name) {
    const xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap, name);
    return index == XKB_MOD_INVALID ? 0 : 1u << index;
}

// The compositor maps the keymap from an fd; -1 when no memory file can be made.
int keymapFile(const std::string& text) {
    const int fd = memfd_create("velko-keymap", MFD_CLOEXEC);
    if (fd < 0) return -1;
    // The terminating NUL is part of a wl_keyboard keymap.
    const char* data = text.c_str();
    std::size_t left = text.size() + 1;
    while (left > 0) {
        const ssize_t written = write(fd, data, left);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            close(fd);
            return -1;
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    return fd;
}

// One clock for every key request of a keyboard, as the protocol asks; its 32-bit milliseconds wrap.
std::uint32_t keyTime() {
    const auto now =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch());
    return static_cast<std::uint32_t>(now.count());
}

// How long the compositor may take to answer while the keyboard is made.
constexpr std::chrono::milliseconds replyTimeout{1000};

}  // namespace

std::string WaylandVirtualKeyboard::compileUsKeymap(ModifierMasks& masks, std::string& layoutName) {
    const xkb::Context context{xkb_context_new(XKB_CONTEXT_NO_ENVIRONMENT_NAMES)};
    if (!context) return {};
    const xkb_rule_names names{"evdev", "pc105", "us", "", ""};
    const xkb::Keymap keymap{xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)};
    if (!keymap) return {};
    masks = {maskOf(keymap.get(), XKB_MOD_NAME_CTRL), maskOf(keymap.get(), XKB_MOD_NAME_ALT),
             maskOf(keymap.get(), XKB_MOD_NAME_SHIFT), maskOf(keymap.get(), XKB_MOD_NAME_LOGO),
             maskOf(keymap.get(), XKB_MOD_NAME_CAPS)};
    if (const char* name = xkb_keymap_layout_get_name(keymap.get(), 0)) layoutName = name;
    return xkb::text(keymap.get());
}

Result<std::unique_ptr<WaylandVirtualKeyboard>> WaylandVirtualKeyboard::connect() {
    std::unique_ptr<WaylandVirtualKeyboard> self(new WaylandVirtualKeyboard);
    auto connection = WaylandConnection::open(replyTimeout);
    if (!connection) return connection.failure();
    self->connection_ = std::move(*connection);
    self->manager_ = static_cast<zwp_virtual_keyboard_manager_v1*>(
        self->connection_->bind(zwp_virtual_keyboard_manager_v1_interface, 1));
    if (!self->manager_) return Failure{"the compositor offers no zwp_virtual_keyboard_manager_v1"};

    self->keymap_ = compileUsKeymap(self->masks_, self->layoutName_);
    if (self->keymap_.empty()) return Failure{"xkbcommon cannot compile the us keymap (is xkb-data installed?)"};
    self->keyboard_ =
        zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(self->manager_, self->connection_->seat());
    if (!self->uploadKeymap())
        return Failure{std::string("no memory file for the keymap: ") + std::strerror(errno), errno};
    // A compositor that refuses the keyboard says so with a protocol error, seen only after a round trip.
    if (!self->connection_->roundtrip(replyTimeout))
        return Failure{"the compositor refused a virtual keyboard: " + self->connection_->errorText()};
    self->alive_ = true;
    return self;
}

WaylandVirtualKeyboard::WaylandVirtualKeyboard() = default;

bool WaylandVirtualKeyboard::uploadKeymap() {
    const int fd = keymapFile(keymap_);
    if (fd < 0) return false;
    // The request carries a duplicate of the fd.
    zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                   static_cast<std::uint32_t>(keymap_.size() + 1));
    close(fd);
    return true;
}

bool WaylandVirtualKeyboard::restoreKeymap() {
    return alive_ && uploadKeymap() && connection_->flush(replyTimeout) && dispatch();
}

WaylandVirtualKeyboard::~WaylandVirtualKeyboard() {
    if (keyboard_) zwp_virtual_keyboard_v1_destroy(keyboard_);
    if (manager_) zwp_virtual_keyboard_manager_v1_destroy(manager_);
}

bool WaylandVirtualKeyboard::hasFrontmostApplication() { return dispatch(); }

bool WaylandVirtualKeyboard::postKeyEvent(KeyCode keyCode, EventFlags flags, bool keyDown) {
    const auto key = KeyTable::evdevCode(keyCode);
    // A compositor that went away since the last stroke shows in what is waiting on the socket.
    if (!key || !dispatch()) return false;

    std::uint32_t depressed = 0;
    if (flags & Flags::command) depressed |= masks_.control;
    if (flags & Flags::option) depressed |= masks_.mod1;
    if (flags & Flags::shift) depressed |= masks_.shift;
    if (flags & Flags::control) depressed |= masks_.mod4;
    const std::uint32_t locked = (flags & Flags::capsLock) ? masks_.lock : 0;
    zwp_virtual_keyboard_v1_modifiers(keyboard_, depressed, 0, locked, 0);
    zwp_virtual_keyboard_v1_key(keyboard_, keyTime(), *key,
                                keyDown ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
    // Nothing stays held on this keyboard between strokes.
    if (!keyDown) zwp_virtual_keyboard_v1_modifiers(keyboard_, 0, 0, 0, 0);
    return alive_ && connection_->flush(replyTimeout) && dispatch();
}

int WaylandVirtualKeyboard::fd() const { return connection_ ? connection_->fd() : -1; }

bool WaylandVirtualKeyboard::dispatch() { return alive_ && (alive_ = connection_->pump(std::chrono::milliseconds(0))); }

}  // namespace velko
