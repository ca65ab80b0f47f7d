#!/usr/bin/env bash
# The focus as the accessibility bus reports it, followed by the helper's own tracker: a GTK entry,
# a GTK password field and a VTE terminal are told apart by their roles; a focused application
# that quits and an accessibility bus that goes away leave the focus unknown, never stale.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/accessibility.sh"
start_x_and_bus
start_accessibility_bus

"$VELKO_BIN_DIR/velko-test-focus-watch" >"$WORK/focus.log" 2>&1 &
pids+=($!)
wait_for "the accessibility bus" grep -q '^bus: reached' "$WORK/focus.log"
last_focus() { grep '^focus:' "$WORK/focus.log" | tail -1; }
focus_is() { [ "$(last_focus)" == "focus: $1" ]; }

open_field velko-entry
wait_for "the entry's focus" focus_is zenity
open_password velko-password
wait_for "the password field's focus" focus_is "zenity password"
xfce4-terminal --disable-server --title velko-terminal >/dev/null 2>&1 &
pids+=($!)
wait_for "the terminal" bash -c "xdotool search --onlyvisible --name velko-terminal >/dev/null"
xdotool search --onlyvisible --name velko-terminal windowfocus --sync
wait_for "the terminal's focus" focus_is "xfce4-terminal terminal"
xdotool search --onlyvisible --name velko-password windowfocus --sync
wait_for "the password field's focus again" focus_is "zenity password"

kill "$PASSWORD_PID"
wait_for "the focus to be unknown once the password field's application quit" focus_is unknown
xdotool search --onlyvisible --name velko-entry windowfocus --sync
wait_for "the entry's focus again" focus_is zenity
stop_accessibility_bus
wait_for "the bus's loss" grep -q '^bus: the accessibility bus went away' "$WORK/focus.log"
check_eq "the focus is unknown without the bus" "focus: unknown" "$(last_focus)"
finish
