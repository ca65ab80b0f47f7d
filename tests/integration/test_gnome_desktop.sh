#!/usr/bin/env bash
# On GNOME's own compositor and portal (mutter 43 headless with Xwayland, xdg-desktop-portal with its
# GNOME backend), the helper pastes into a native Wayland window through mutter's remote desktop,
# which shows no dialog, not through the portal's, which would at every start: every request
# arrives as V under exactly its modifiers, in order, and no key stays down. GNOME 43 has no
# global shortcuts portal: hotkeys are off, and the helper says why. When mutter goes away the next
# request gets the degraded notice, and a mutter that comes back is used again, on a session bus
# started again as well. gnome-shell, mutter
# inside GNOME's own shell, serves the strokes the same way, and on a list of input sources set
# while the helper runs.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
start_mutter_session portal
start_wev
XDG_SESSION_TYPE=wayland helper_up
wait_for "mutter's keyboard" grep -q 'Input: GNOME remote desktop now' "$HELPER_LOG"
# The keyboard became usable only after launch: it counts as access at launch all the same.
wait_for "the keyboard services" grep -q 'input access at launch: starting hotkeys and text expansion' "$HELPER_LOG"
check "the portal, which would show its dialog, is not asked" bash -c "! grep -q 'no keys through the desktop portal\\|asking the desktop portal' '$HELPER_LOG'"
FIRST_V=0 # the first request after start counts
check_pastes 10 "Mod1 Meta"
check_eq "no degraded notice while mutter serves" 0 "$(count velko.helper.degraded)"
wait_for "the hotkeys' answer" grep -q 'Hotkeys: off now' "$HELPER_LOG"
check "the log says why hotkeys are off" grep -q 'no hotkeys through the desktop portal: the desktop portal offers no global shortcuts' "$HELPER_LOG"
check_eq "velkoctl status says they are off" "Hotkeys: off" "$("$VELKO_BIN_DIR/velkoctl" status | grep '^Hotkeys')"
stop_helper

# Without Xwayland the helper does not end with the compositor, so mutter can go and come back.
kill "$MUTTER_PID"
wait "$MUTTER_PID" 2>/dev/null || true
start_mutter_session no-x11
mv "$WORK/wev.log" "$WORK/wev-before.log"
start_wev
: >"$HELPER_LOG"
XDG_SESSION_TYPE=wayland helper_up
wait_for "mutter's keyboard" grep -q 'Input: GNOME remote desktop now' "$HELPER_LOG"
kill "$MUTTER_PID"
wait_for "mutter's leaving noticed" grep -q 'Input: off now' "$HELPER_LOG"
degraded="$(count velko.helper.degraded)"
post velko.paste.now
wait_for "the degraded notice" at_least $((degraded + 1)) velko.helper.degraded
start_mutter_session no-x11
mv "$WORK/wev.log" "$WORK/wev-gone.log"
start_wev
wait_for "mutter taken up again" bash -c "grep 'Input:' '$HELPER_LOG' | tail -1 | grep -q 'GNOME remote desktop now'"
first_paste
check_pastes 1 "Mod1 Meta"

# The session bus starts again at the same address, and mutter with it: the helper takes up its
# remote desktop on the new bus.
taken="$(grep -c 'Input: GNOME remote desktop now' "$HELPER_LOG")"
kill "$MUTTER_PID" "$BUS_PID"
wait "$MUTTER_PID" 2>/dev/null || true
wait_for "the helper to lose the bus" grep -q 'lost the session bus' "$HELPER_LOG"
start_bus
start_mutter_session no-x11
mv "$WORK/wev.log" "$WORK/wev-bus.log"
start_wev
# The line before the bus went says the same: count them.
wait_for "mutter taken up on the new bus" \
  bash -c "[ \$(grep -c 'Input: GNOME remote desktop now' '$HELPER_LOG') -gt $taken ]"
ping_answered
first_paste
check_pastes 1 "Mod1 Meta"
stop_helper
kill "$MUTTER_PID"
wait "$MUTTER_PID" 2>/dev/null || true

# GNOME's settings in the private home, so that gsettings reaches gnome-shell and the helper.
cp /usr/share/dbus-1/services/ca.desrt.dconf.service "$SESSION_SERVICES/"
dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ReloadConfig >/dev/null
export GSETTINGS_BACKEND=dconf
start_gnome_shell_session
mv "$WORK/wev.log" "$WORK/wev-mutter.log"
start_wev
: >"$HELPER_LOG"
XDG_SESSION_TYPE=wayland helper_up
wait_for "gnome-shell's keyboard" grep -q 'Input: GNOME remote desktop now' "$HELPER_LOG"
FIRST_V=0 # the first request after start counts
check_pastes 3 "Mod1 Meta"

# Input sources set while the helper runs: its V goes out on the key that types v in Dvorak.
dvorak_paste() {
  post velko.paste.now
  sleep 0.3
  awk '/depressed:/ {mods = $0} /wl_keyboard\] key: .*key: 60; state: 1/ {getline; if ($2 == "v" && mods ~ /Control/) n++}
       END {exit !n}' "$WORK/wev.log"
}
gsettings set org.gnome.desktop.input-sources sources "[('xkb', 'us+dvorak')]"
wait_for "a paste as Ctrl+v on Dvorak's V key" dvorak_paste
finish
