#!/usr/bin/env bash
# On KDE Plasma's own compositor and portals (KWin 5.27 headless with Xwayland, xdg-desktop-portal
# with its KDE backend), the helper pastes into a native Wayland window through the RemoteDesktop
# portal: every request arrives as V under exactly its modifiers, in order, and no key stays down,
# also when the helper is stopped in the middle of a stroke.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
start_kwin_session
start_wev
XDG_SESSION_TYPE=wayland helper_up
wait_for "the portal's keyboard" grep -q 'Input: desktop portal now' "$HELPER_LOG"
first_paste
check_pastes 10 Mod1
check_eq "no degraded notice while the portal serves" 0 "$(count velko.helper.degraded)"

post velko.paste.plain
kill "$HELPER_PID"  # most likely with some of the stroke's keys down
wait "$HELPER_PID" 2>/dev/null || true
sleep 0.5
check_eq "nothing is left down after the helper stopped mid-stroke" 00000000 "$(depressed_now)"
finish
