#include "Core/TerminalApplications.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace velko {
namespace {

// Lower case. X11 windows give an instance and a class (xterm, XTerm); Wayland clients a desktop
// file name, often reverse-DNS (org.gnome.Terminal), sometimes the program's name.
constexpr std::string_view terminals[]{"xterm",
                                       "uxterm",
                                       "urxvt",
                                       "rxvt",
                                       "gnome-terminal",
                                       "gnome-terminal-server",
                                       "org.gnome.terminal",
                                       "org.gnome.console",
                                       "kgx",
                                       "org.gnome.ptyxis",
                                       "ptyxis",
                                       "xfce4-terminal",
                                       "konsole",
                                       "org.kde.konsole",
                                       "yakuake",
                                       "alacritty",
                                       "kitty",
                                       "foot",
                                       "footclient",
                                       "org.wezfurlong.wezterm",
                                       "wezterm",
                                       "wezterm-gui",
                                       "terminator",
                                       "tilix",
                                       "com.gexperts.tilix",
                                       "st",
                                       "st-256color",
                                       "lxterminal",
                                       "mate-terminal",
                                       "qterminal",
                                       "terminology",
                                       "sakura"};

bool sameIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
           });
}

}  // namespace

bool TerminalApplications::includes(std::string_view identity) {
    return std::any_of(std::begin(terminals), std::end(terminals),
                       [identity](std::string_view name) { return sameIgnoringCase(identity, name); });
}

}  // namespace velko
