#!/usr/bin/env bash
# In headless sway the helper knows the active window from the compositor's list of windows: a
# paste request into a native Wayland terminal (xfce4-terminal) arrives as its paste key, into wev
# as Ctrl+V; velkoctl status and the log say which window kind has the focus, and that it is
# unknown once the compositor has gone.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/sway_session.sh"

start_bus
SWAY_XWAYLAND=disable start_sway_session
export XDG_SESSION_TYPE=wayland NO_AT_BRIDGE=1
stdbuf -oL wev >"$WORK/wev.log" 2>&1 &
pids+=($!)
wait_for "wev's window to be focused" grep -q activated "$WORK/wev.log"
launch_helper
check_eq "velkoctl status says where the focus comes from" "Focus: Wayland foreign toplevels" \
  "$("$VELKO_BIN_DIR/velkoctl" status | grep '^Focus')"

: >"$WORK/terminal.txt"
GDK_BACKEND=wayland xfce4-terminal --disable-server -x sh -c "exec cat >'$WORK/terminal.txt'" \
  >"$WORK/terminal.log" 2>&1 &
pids+=($!)
wait_for "the helper to see the terminal focused" grep -q 'focus is on a terminal' "$HELPER_LOG"
sleep 1  # cat starts after the window maps
printf 'hello' | wl-copy
post velko.paste.now
sleep 0.5
wtype -k Return
wait_for "the terminal's line" grep -q . "$WORK/terminal.txt"
check_eq "the terminal got the paste" "hello" "$(cat "$WORK/terminal.txt")"

# Back to wev: the next paste is Ctrl+V again.
swaymsg '[app_id="wev"] focus' >/dev/null
sleep 0.3
first_v="$(grep -c 'key: 55;' "$WORK/wev.log" || true)"
post velko.paste.now
wait_for "a V in wev" bash -c "[ \$(grep -c 'key: 55;' '$WORK/wev.log') -gt $first_v ]"
# The modifiers wev was told of last before the press.
last_press_modifiers() { awk '/depressed:/ {held = $2} /key: 55; state: 1/ {at = held} END {print at}' "$WORK/wev.log"; }
check_eq "wev got it with Ctrl alone" "00000004:" "$(last_press_modifiers)"

stop_sway_session
wait_for "the focus to be unknown without the compositor" grep -q 'Focus: unknown.* now$' "$HELPER_LOG"
ping_answered
finish
