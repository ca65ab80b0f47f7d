#!/usr/bin/env bash
# On Debian 13's GNOME 48 (gnome-shell 48 headless, xdg-desktop-portal 1.20 with its GNOME backend),
# started in a root of its own: 30 paste requests reach a native Wayland window in order with
# nothing left down, and the helper's strokes fire none of its hotkeys. Without the root (no Debian
# mirror) the test fails, saying so.
export VELKO_ROOT_CACHE="${VELKO_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velko-helper}"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"
source "$(dirname "$0")/trixie_desktops.sh"

enter_trixie
start_gnome48
start_trixie_wev
XDG_SESSION_TYPE=wayland helper_up
# mutter's own remote desktop answers without a dialog in GNOME 48 too.
wait_for "mutter's keyboard" grep -q 'Input: GNOME remote desktop now' "$HELPER_LOG"
check "no hotkeys were claimed before they were bound" grep -q 'Hotkeys: off (.*until the desktop portal binds' "$HELPER_LOG"
first_paste
check_pastes 10 "Mod1 Meta"
check_eq "the helper's own strokes fire none of its hotkeys" 0 "$(count helper.hotkey.activated)"
finish
