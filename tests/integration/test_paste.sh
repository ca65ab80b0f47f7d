#!/usr/bin/env bash
# Paste requests arrive in the focused X window as V with the right modifiers, down and up,
# as seen by a separate X client (xev).
source "$(dirname "$0")/lib.sh"
start_x_and_bus
focus_key_window
helper_up

for request in velko.paste.now velko.paste.plain velko.paste.match; do
  post "$request"
  sleep 0.3  # one request per rate-limit period
done
wait_for "six key events of V" bash -c "[ \$(grep -c 'keycode 55 ' \"$WORK/xev.log\") -ge 6 ]"

# "state 0x4, keycode 55" for each KeyPress/KeyRelease of V, in order.
v_events="$(awk '/^Key(Press|Release) event/ {kind=$1} /keycode 55 / {match($0, /state 0x[0-9a-f]+/);
            print kind, substr($0, RSTART + 6, RLENGTH - 6)}' "$WORK/xev.log" | tr '\n' ';')"
check_eq "now, plain and match give Ctrl, Ctrl+Alt+Shift and Ctrl+Shift V" \
  "KeyPress 0x4;KeyRelease 0x4;KeyPress 0xd;KeyRelease 0xd;KeyPress 0x5;KeyRelease 0x5;" "$v_events"

# Nothing is left held: typing afterwards gives a bare letter.
xdotool type --delay 20 a
wait_for "the typed letter" grep -q 'keycode 38 ' "$WORK/xev.log"
check_eq "no modifier is left stuck" "0x0" \
  "$(grep -A2 '^KeyPress' "$WORK/xev.log" | grep 'keycode 38 ' | head -1 | grep -o 'state 0x[0-9a-f]*' | cut -c7-)"

post velko.paste.now
post velko.paste.now
sleep 0.5
check_eq "a second request within 0.2 s is dropped" 8 "$(grep -c 'keycode 55 ' "$WORK/xev.log")"
check_eq "no degraded notice with input access" 0 "$(count velko.helper.degraded)"
finish
