#!/usr/bin/env bash
# On GNOME's own compositor (mutter 43 headless with Xwayland), the helper pastes into a native
# Wayland window through mutter's remote desktop, which shows no dialog: every request arrives as V
# under exactly its modifiers, in order, and no key stays down.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
start_mutter_session
start_wev
XDG_SESSION_TYPE=wayland helper_up
wait_for "mutter's keyboard" grep -q 'Input: GNOME remote desktop now' "$HELPER_LOG"
# The keyboard became usable only after launch: it counts as access at launch all the same.
wait_for "the keyboard services" grep -q 'input access at launch: hotkeys and text expansion started' "$HELPER_LOG"
check "the portal, which would show its dialog, is not asked" bash -c "! grep -q 'keys through the desktop portal\\|asking the desktop portal' '$HELPER_LOG'"
first_paste
check_pastes 10 "Mod1 Meta"
check_eq "no degraded notice while mutter serves" 0 "$(count velko.helper.degraded)"
finish
