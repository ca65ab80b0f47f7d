#!/usr/bin/env bash
# Without an X display that answers, the helper still serves the link and answers pastes with the
# degraded notice: first with none at all, then with one that accepts connections and never
# answers them (the Xwayland of a GNOME session without systemd).
source "$(dirname "$0")/lib.sh"
start_bus
helper_up
post velko.paste.now
post velko.paste.match
wait_for "two degraded notices" at_least 2 velko.helper.degraded
check_eq "each request gets the degraded notice" "accessibility_revoked accessibility_revoked" \
  "$(objects_line velko.helper.degraded)"
ping_answered
check "it says why the keyboard features are off" grep -q 'no X display' "$HELPER_LOG"
stop_helper

number=$((600 + RANDOM % 300))
while [ -e "/tmp/.X11-unix/X$number" ]; do number=$((number + 1)); done
mkdir -p -m 1777 /tmp/.X11-unix  # as an X server makes it, should none have run yet
trap 'rm -f "/tmp/.X11-unix/X$number"; cleanup' EXIT
silent_listener "/tmp/.X11-unix/X$number"
export DISPLAY=":$number"
launch_helper
ping_answered
check "it says which display does not answer" grep -q "the X display :$number does not answer" "$HELPER_LOG"
degraded="$(count velko.helper.degraded)"
post velko.paste.now
check "a paste gets the degraded notice" wait_for "the degraded notice" at_least $((degraded + 1)) velko.helper.degraded
finish
