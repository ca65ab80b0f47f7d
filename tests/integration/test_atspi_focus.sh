#!/usr/bin/env bash
# The focus as the accessibility bus reports it, followed by the helper's own tracker: a GTK entry,
# GTK 3's and GTK 4's password fields and a VTE terminal are told apart by their roles (GTK 4
# reports its first focus before it answers for its widgets); a focused application
# that quits and an accessibility bus that goes away leave the focus unknown, never stale.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/accessibility.sh"
start_x_and_bus
start_accessibility_bus
watch_focus

open_field velko-entry
focus_window velko-entry zenity
open_password velko-password
focus_window velko-password "zenity password"
xfce4-terminal --disable-server --title velko-terminal >/dev/null 2>&1 &
pids+=($!)
wait_for "the terminal" bash -c "xdotool search --onlyvisible --name velko-terminal >/dev/null"
focus_window velko-terminal "xfce4-terminal terminal"
focus_window velko-password "zenity password"
/usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/gtk4_password.py" >/dev/null 2>&1 &
pids+=($!)
wait_for "the GTK 4 password field's focus" focus_is "velko-gtk4-password password"
focus_window velko-password "zenity password"

kill "$PASSWORD_PID"
wait_for "the focus to be unknown once the password field's application quit" focus_is unknown
focus_window velko-entry zenity
stop_accessibility_bus
wait_for "the bus's loss" grep -q '^bus: the accessibility bus went away' "$WORK/focus.log"
check_eq "the focus is unknown without the bus" "focus: unknown" "$(last_focus)"
finish
