#!/usr/bin/env bash
# A session bus that accepts connections and never answers them: the helper does not wait on it
# for good, says why the link is off, and does what needs no bus (here: expanding what is typed).
source "$(dirname "$0")/lib.sh"
start_x
focus_key_window
sig_trigger
silent_listener "$WORK/silent-bus"
export DBUS_SESSION_BUS_ADDRESS="unix:path=$WORK/silent-bus"
start_helper
wait_for "the launch summary" grep -q 'auto-paste rules' "$HELPER_LOG"
check "it says that the bus does not answer" grep -q "the session bus (unix:path=$WORK/silent-bus) does not answer" \
  "$HELPER_LOG"
xdotool type --delay 40 'x;sig'
check "a typed abbreviation is still expanded: erased, then pasted" wait_for "the paste" grep -q 'state 0x4, keycode 55 ' "$WORK/xev.log"
finish
