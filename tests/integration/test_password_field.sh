#!/usr/bin/env bash
# Keys typed into a GTK password field are neither kept nor matched: half an abbreviation typed
# there and finished in a normal field expands nothing, a whole one typed there stays as typed,
# and a whole one in a normal field still expands. The helper says which source tells it the
# focus, or that password fields are not recognised; it leaves no core file behind.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/accessibility.sh"
start_x_and_bus
sig_trigger
focus_line() { "$VELKO_BIN_DIR/velkoctl" status | grep '^Focus'; }

start_helper
wait_for "expansion to start" grep -q 'text expansion on' "$HELPER_LOG"
wait_for "the focus source's state" grep -q 'the focused widget is not known' "$HELPER_LOG"
check_eq "without an accessibility bus the focus is unknown" "Focus: unknown (no accessibility bus)" "$(focus_line)"
stop_helper

start_accessibility_bus
: >"$HELPER_LOG"
start_helper
wait_for "expansion to start" grep -q 'text expansion on' "$HELPER_LOG"
wait_for "the accessibility bus" grep -q 'following the focus on the accessibility bus' "$HELPER_LOG"
check_eq "velkoctl status names the accessibility bus" "Focus: accessibility bus (AT-SPI)" "$(focus_line)"

watch_focus  # reported to it, reported to the helper
open_password velko-password
focus_window velko-password "zenity password"
xdotool type --delay 40 ';si'
open_field velko-after
focus_window velko-after zenity
xdotool type --delay 40 'g'
sleep 1
close_field
check_eq "half typed in the password field, finished here: nothing expands" "g" "$(field_text)"
focus_window velko-password "zenity password"
xdotool type --delay 40 'g;sig'
sleep 1
xdotool key Return
wait_for "the password field to close" bash -c "! kill -0 $PASSWORD_PID 2>/dev/null"
check_eq "a whole abbreviation typed there stays as typed" ";sig;sig" "$(cat "$WORK/velko-password.out")"

open_field velko-normal
focus_window velko-normal zenity
xdotool type --delay 40 ';sig'
sleep 1
close_field
check_eq "a normal field still expands" "$EXPANDED" "$(field_text)"

# A crash writes no core file, even where the limit allows one and the pattern is a plain file.
if [ "$(cut -c1 /proc/sys/kernel/core_pattern)" != "|" ]; then
  stop_helper
  mkdir "$WORK/cores" && cd "$WORK/cores"
  ulimit -c unlimited
  : >"$HELPER_LOG"
  start_helper
  wait_for "expansion to start" grep -q 'text expansion on' "$HELPER_LOG"
  kill -SEGV "$HELPER_PID"
  wait "$HELPER_PID" 2>/dev/null || true
  check_eq "no core file" "" "$(ls "$WORK/cores")"
else
  echo "skip: core files go to $(cat /proc/sys/kernel/core_pattern)"
fi
finish
