#!/usr/bin/env bash
# Steered to the desktop portal (VELKO_STROKES=portal), on mutter 43 with GNOME's own portal
# backend, the helper waits for the person's answer to GNOME's "Remote desktop" dialog, answered
# here over the accessibility bus as a screen reader would; then every request arrives at a native
# Wayland window as V under exactly its modifiers, in order, and no key stays down.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
# GTK finds the accessibility bus through org.a11y.Bus, started on demand as in a desktop session.
cp /usr/share/dbus-1/services/org.a11y.Bus.service "$SESSION_SERVICES/"
dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ReloadConfig >/dev/null
unset NO_AT_BRIDGE
start_mutter_session portal
start_wev
VELKO_STROKES=portal XDG_SESSION_TYPE=wayland helper_up
check "the log names the override" grep -q 'VELKO_STROKES=portal: strokes through the desktop portal only' "$HELPER_LOG"
check "the dialog answered" /usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/answer_remote_desktop.py" --dump
wait_for "the portal's keyboard" grep -q 'Input: desktop portal now' "$HELPER_LOG"
# Answered while the helper starts: counted as access at launch.
wait_for "the keyboard services" grep -q 'input access at launch: starting hotkeys and text expansion' "$HELPER_LOG"
check "mutter's own interface is not used" bash -c "! grep -q 'GNOME remote desktop' '$HELPER_LOG'"
# No request beforehand: the first one after start must arrive too.
FIRST_V=0
check_pastes 3 "Mod1 Meta"
check_eq "no degraded notice while the portal serves" 0 "$(count velko.helper.degraded)"
finish
