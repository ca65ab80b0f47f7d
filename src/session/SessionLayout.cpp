#include "session/SessionLayout.h"

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "dbus/SessionBusConnection.h"
#include "gnome/GnomeInputSources.h"
#include "plasma/PlasmaKeyboardLayouts.h"
#include "session/DesktopSession.h"
#include "xkb/EvdevStroke.h"

namespace velko {
namespace {

// The watch on a connection of its own, moved to each new bus.
template <typename Watch, typename... Arguments>
std::unique_ptr<QObject> onOwnBus(Arguments&&... arguments) {
    auto link = std::make_unique<SessionBusConnection>(QStringLiteral("layouts"), nullptr, false);
    auto watch = std::make_unique<Watch>(link->get(), std::forward<Arguments>(arguments)...);
    link->whenConnected([watch = watch.get(), first = true](QDBusConnection& bus) mutable {
        if (!std::exchange(first, false)) watch->moveTo(bus);
    });
    link.release()->setParent(watch.get());
    watch->start();
    return watch;
}

// GNOME and Plasma switch layouts themselves (Super+Space, Meta+Alt+K), and only the focused
// window hears of it; both also announce a new list of layouts. Their keymaps, Xwayland's included, have their
// layouts in the order of their settings. Keymaps from XKB_DEFAULT_* are none of theirs.
std::unique_ptr<QObject> followLayouts(SessionLayout& self, const SessionKeymap::SettingReader& gnomeSources) {
    const SessionKeymap::Found& keymap = self.keymap();
    const auto switched = [&self](std::uint32_t layout) { self.switched(layout); };
    const auto environment = [](const char* name) { return std::getenv(name); };
    if (keymap.source.rfind("XKB_DEFAULT_", 0) == 0) return nullptr;
    if (DesktopSession::runs("GNOME", environment)) {
        const auto sources = gnomeSources();
        // Followed with one source or none too: the person may add one while the helper runs.
        if (!sources) return nullptr;
        const auto replaced = [&self](const std::string& sources) {
            if (const auto names = SessionKeymap::fromGnomeSources(sources))
                self.replaced(SessionKeymap::fromNames(*names));
        };
        return onOwnBus<GnomeInputSources>(*sources, switched, replaced);
    }
    if (DesktopSession::runs("KDE", environment)) {
        const auto settings = SessionKeymap::plasmaSettings();
        // Followed with one layout too: KWin announces a new list of layouts when the person adds one.
        if (!settings || !SessionKeymap::fromPlasmaSettings(*settings)) return nullptr;
        // KWin has just read its settings, which Xwayland's keymap follows only later.
        const auto listChanged = [&self] {
            const auto settings = SessionKeymap::plasmaSettings();
            const auto names = settings ? SessionKeymap::fromPlasmaSettings(*settings) : std::nullopt;
            if (names) self.replaced(SessionKeymap::fromNames(*names));
        };
        return onOwnBus<PlasmaKeyboardLayouts>(switched, listChanged);
    }
    return nullptr;
}

}  // namespace

std::unique_ptr<SessionLayout> SessionLayout::find() {
    // gsettings answers once, for the keymap and for following GNOME's switches.
    std::optional<std::optional<std::string>> gnome;
    const SessionKeymap::SettingReader gnomeSources = [&gnome] {
        if (!gnome) gnome = SessionKeymap::gnomeSources();
        return *gnome;
    };
    auto self = std::make_unique<SessionLayout>(SessionKeymap::find([](const char* name) { return std::getenv(name); },
                                                                    gnomeSources, SessionKeymap::plasmaSettings));
    self->watch_ = followLayouts(*self, gnomeSources);
    return self;
}

SessionLayout::SessionLayout(SessionKeymap::Found keymap)
    : keymap_(std::move(keymap)), compiled_(EvdevStroke::compile(keymap_.text)) {}

void SessionLayout::listen(Listener listener) {
    listener(compiled_, layout_);
    listeners_.push_back(std::move(listener));
}

void SessionLayout::switched(std::uint32_t layout) {
    layout_ = layout;
    for (const auto& listener : listeners_) listener(compiled_, layout);
}

void SessionLayout::replaced(const SessionKeymap::Found& keymap) {
    compiled_ = EvdevStroke::compile(keymap.text);
    switched(layout_);
}

}  // namespace velko
