#!/usr/bin/env bash
# Paste strokes through the compositor's virtual keyboard reach a native Wayland window (wev in
# headless sway) as V with exactly their modifiers, on a Dvorak desktop and while another keyboard
# holds Alt+Shift; once the compositor is gone a stroke fails and the poster carries on.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/sway_session.sh"
STROKE="$VELKO_BIN_DIR/velko-test-wayland-stroke"

check_eq "without a compositor there is no keyboard, and it says why" \
  "unavailable: no Wayland compositor at $WORK/none: No such file or directory" \
  "$(WAYLAND_DISPLAY="$WORK/none" "$STROKE" </dev/null)"

# On Dvorak the V position types K: a stroke that followed the desktop's layout would show k.
start_sway_session 'input type:keyboard xkb_variant dvorak'
stdbuf -oL wev >"$WORK/wev.log" 2>&1 &
pids+=($!)
wait_for "wev's window to be focused" grep -q activated "$WORK/wev.log"

mkfifo "$WORK/requests"
"$STROKE" <"$WORK/requests" >"$WORK/stroke.log" 2>&1 &
STROKE_PID=$!
pids+=("$STROKE_PID")
exec 5>"$WORK/requests"
# Before a seat has a keyboard, windows have nothing to receive keys with.
wait_for "wev's keyboard" grep -q 'wl_keyboard] enter' "$WORK/wev.log"

# "press Control v" for each press and release of the V key, with the modifiers then depressed.
v_events() {
  awk '/depressed:/ {mods = ""; for (i = 3; i <= NF; i++) mods = mods " " $i}
       /wl_keyboard\] key: .*key: 55;/ {kind = /state: 1/ ? "press" : "release"; getline; print kind mods, $2}' \
    "$WORK/wev.log" | tr '\n' ';'
}

printf 'now\nplain\nmatch\n' >&5
wait_for "three strokes" bash -c "[ \$(grep -c 'key: 55;' '$WORK/wev.log') -ge 6 ]"

# Another keyboard (the user's) holds Alt+Shift during the next stroke.
wtype -M alt -M shift -s 5000 -m shift -m alt &
HOLD_PID=$!
pids+=("$HOLD_PID")
wait_for "Alt+Shift held" grep -q 'depressed: 00000009' "$WORK/wev.log"
echo now >&5
wait_for "the fourth stroke" bash -c "[ \$(grep -c 'key: 55;' '$WORK/wev.log') -ge 8 ]"
check "Alt+Shift were still held during the stroke" kill -0 "$HOLD_PID"
kill "$HOLD_PID"

check_eq "now, plain, match and now under held keys are V with Ctrl, Ctrl+Alt+Shift, Ctrl+Shift, Ctrl" \
  "press Control v;release Control v;press Shift Control Mod1 V;release Shift Control Mod1 V;press Shift Control V;release Shift Control V;press Control v;release Control v;" \
  "$(v_events)"
check_eq "each stroke was posted" "connected;posted now;posted plain;posted match;posted now;" \
  "$(tr '\n' ';' <"$WORK/stroke.log")"

stop_sway_session
echo now >&5
wait_for "the stroke without a compositor" grep -q 'now (compositor gone)' "$WORK/stroke.log"
check_eq "without the compositor a stroke fails" "failed now (compositor gone)" "$(tail -1 "$WORK/stroke.log")"
exec 5>&-
check "the poster carries on and ends cleanly" wait "$STROKE_PID"
finish
