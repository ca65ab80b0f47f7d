#!/usr/bin/env bash
# The three hotkeys reach the bus and never the focused window (xev); everything else reaches
# the window untouched; a combination held by another client turns the hotkeys off cleanly.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
focus_key_window
helper_up

# X key codes of V, Space, S; Ctrl+Shift is state 0x5.
V=55 SPACE=65 S=39
# The states of every KeyPress of one key that the window received, one per line.
presses() {
  awk -v k="keycode $1 " '/^Key(Press|Release) event/ {kind=$1}
       index($0, k) && kind == "KeyPress" {match($0, /state 0x[0-9a-f]+/); print substr($0, RSTART + 6, RLENGTH - 6)}' \
    "$WORK/xev.log"
}
hotkeys() { count helper.hotkey.activated; }
xev_has_press() { [ -n "$(presses "$1")" ]; }

xdotool key --delay 30 ctrl+shift+v ctrl+shift+space ctrl+shift+s ctrl+shift+alt+v
# Caps Lock and Num Lock on (state 0x2 and 0x10) are extras like any other modifier.
xdotool key --delay 30 Caps_Lock Num_Lock ctrl+shift+v Caps_Lock Num_Lock
wait_for "five hotkeys" at_least 5 helper.hotkey.activated
check_eq "each combination posts its binding's id" \
  "open_popover spotlight_launcher save_snippet open_popover open_popover" \
  "$(objects_line helper.hotkey.activated)"

xdotool key --delay 30 ctrl+v
xdotool type --delay 30 hello
wait_for "typed text in the window" xev_has_press 32  # o, the last letter
check_eq "Ctrl+V reaches the window once, with Ctrl only" "0x4" "$(presses $V | paste -sd' ')"
check_eq "no hotkey reaches the window as a key press" "" "$(presses $SPACE)$(presses $S)"
check_eq "plain typing posts nothing" 5 "$(hotkeys)"

# A long burst: every press is answered and released, so the keyboard never stays frozen.
xdotool key --repeat 1000 --delay 1 ctrl+shift+v
for _ in $(seq 600); do [ "$(hotkeys)" -ge 1005 ] && break; sleep 0.1; done  # up to a minute
check_eq "1,000 presses in a row give 1,000 notifications" 1005 "$(hotkeys)"
xdotool type --delay 30 ok
wait_for "typing after the burst" xev_has_press 45  # k
check_eq "after the burst V never reached the window" "0x4" "$(presses $V | paste -sd' ')"

# The helper's own Ctrl+Shift+V (a paste-match request) is a paste, not a hotkey.
post velko.paste.match
two_v_presses() { [ "$(presses $V | wc -l)" -ge 2 ]; }
wait_for "the pasted V in the window" two_v_presses
check_eq "a paste-match stroke reaches the window with Ctrl+Shift" "0x4 0x5" "$(presses $V | paste -sd' ')"
sleep 0.3
check_eq "and posts no hotkey" 1005 "$(hotkeys)"

# A stopped helper (SIGSTOP) takes the hotkey's press but holds up nothing: what is typed after it
# arrives at once, with no modifier left down; the press is answered on SIGCONT.
A=38 B=56 C=54
kill -STOP "$HELPER_PID"
xdotool key --delay 30 ctrl+shift+v
xdotool type --delay 30 abc
xev_has_press_c() { xev_has_press $C; }
wait_for "typing while the helper is stopped" xev_has_press_c
check_eq "a, b and c reach the window plain" "0x0 0x0 0x0" "$(presses $A) $(presses $B) $(presses $C)"
kill -CONT "$HELPER_PID"
wait_for "the stopped press's notification" at_least 1006 helper.hotkey.activated
check_eq "the press itself never reached the window" "0x4 0x5" "$(presses $V | paste -sd' ')"

# Another client already holds Ctrl+Shift+S: the helper prints the failure line, grabs nothing
# (Ctrl+Shift+V goes to the window) and still answers pings.
stop_helper
cc -o "$WORK/grab_key" "$VELKO_SOURCE_DIR/tests/integration/grab_key.c" $(pkg-config --cflags --libs xcb)
"$WORK/grab_key" "$S" 0x5 >"$WORK/grabber.log" 2>&1 &
pids+=($!)
wait_for "the other client's grab" grep -q grabbed "$WORK/grabber.log"
: >"$HELPER_LOG"
helper_up
wait_for "the failure line" grep -q 'Failed to create event tap' "$HELPER_LOG"
check_eq "the failure line is exact" "Failed to create event tap — Accessibility permission may be missing" \
  "$(grep 'Failed to create event tap' "$HELPER_LOG")"
xdotool key --delay 30 ctrl+shift+v
three_v_presses() { [ "$(presses $V | wc -l)" -ge 3 ]; }
wait_for "Ctrl+Shift+V in the window" three_v_presses
check_eq "no grab is left behind: Ctrl+Shift+V reaches the window" "0x4 0x5 0x5" "$(presses $V | paste -sd' ')"
ping_answered  # the helper keeps running without hotkeys
check_eq "no hotkey was posted without the tap" 1006 "$(hotkeys)"
finish
