#!/usr/bin/env bash
# On KDE Plasma's own compositor and portals (KWin 5.27 headless with Xwayland, xdg-desktop-portal
# with its KDE backend), the helper pastes into a native Wayland window through the RemoteDesktop
# portal: every request arrives as V under exactly its modifiers, in order, and no key stays down,
# also when the helper is stopped in the middle of a stroke. When the portal's KDE backend restarts,
# the next request gets the degraded notice and the helper takes the portal up again.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
start_kwin_session
start_wev
XDG_SESSION_TYPE=wayland helper_up
wait_for "the portal's keyboard" grep -q 'Input: desktop portal now' "$HELPER_LOG"
# The keyboard became usable only after launch: it counts as access at launch all the same.
wait_for "the keyboard services" grep -q 'input access at launch: hotkeys and text expansion started' "$HELPER_LOG"
first_paste
check_pastes 10 Mod1
check_eq "no degraded notice while the portal serves" 0 "$(count velko.helper.degraded)"

kill "$PORTAL_KDE_PID"
wait_for "the helper to notice" grep -q 'Input: off now' "$HELPER_LOG"
post velko.paste.now
wait_for "the degraded notice" at_least 1 velko.helper.degraded
start_portal_kde
wait_for "the portal taken up again" bash -c "grep 'Input:' '$HELPER_LOG' | tail -1 | grep -q 'desktop portal now'"
first_paste  # the count of V events so far
check_pastes 1 Mod1

post velko.paste.plain
kill "$HELPER_PID"  # most likely with some of the stroke's keys down
wait "$HELPER_PID" 2>/dev/null || true
sleep 0.5
check_eq "nothing is left down after the helper stopped mid-stroke" 00000000 "$(depressed_now)"
finish
