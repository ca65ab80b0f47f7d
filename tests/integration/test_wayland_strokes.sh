#!/usr/bin/env bash
# In a Wayland session (headless sway, a Dvorak desktop) the helper pastes into a native Wayland
# window (wev) through the compositor's virtual keyboard: the three requests arrive as V with exactly
# their modifiers, once each, also while another keyboard holds Alt+Shift. When the compositor goes
# away, input access is gone: a paste request gets the degraded notice and the helper carries on.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/sway_session.sh"

start_bus
# On Dvorak the V position types K: a stroke that followed the desktop's layout would show k.
start_sway_session 'input type:keyboard xkb_variant dvorak'
stdbuf -oL wev >"$WORK/wev.log" 2>&1 &
pids+=($!)
wait_for "wev's window to be focused" grep -q activated "$WORK/wev.log"

XDG_SESSION_TYPE=wayland helper_up
check "the helper says which stroke backend it took" grep -q 'Input: Wayland virtual keyboard' "$HELPER_LOG"
check "Xwayland's XTEST is not taken for input access" bash -c "! grep -q 'X11 (XTEST)' '$HELPER_LOG'"
# Before the seat has a keyboard, windows have nothing to receive keys with: the first request makes one.
post velko.paste.now
wait_for "wev's keyboard" grep -q 'wl_keyboard] enter' "$WORK/wev.log"
sleep 0.3
first_v="$(grep -c 'key: 55;' "$WORK/wev.log" || true)"

# "press Control v" for each press and release of the V key after the first request, with the
# modifiers depressed then.
v_events() {
  awk -v skip="$first_v" '/depressed:/ {mods = ""; for (i = 3; i <= NF; i++) mods = mods " " $i}
       /wl_keyboard\] key: .*key: 55;/ {kind = /state: 1/ ? "press" : "release"; getline;
                                        if (++n > skip) print kind mods, $2}' \
    "$WORK/wev.log" | tr '\n' ';'
}

for request in velko.paste.now velko.paste.plain velko.paste.match; do
  post "$request"
  sleep 0.3  # one request per rate-limit period
done
wait_for "three strokes" bash -c "[ \$(grep -c 'key: 55;' '$WORK/wev.log') -ge \$(( $first_v + 6 )) ]"

# Another keyboard (the user's) holds Alt+Shift during the next stroke.
wtype -M alt -M shift -s 5000 -m shift -m alt &
HOLD_PID=$!
pids+=("$HOLD_PID")
wait_for "Alt+Shift held" grep -q 'depressed: 00000009' "$WORK/wev.log"
post velko.paste.now
wait_for "the fourth stroke" bash -c "[ \$(grep -c 'key: 55;' '$WORK/wev.log') -ge \$(( $first_v + 8 )) ]"
check "Alt+Shift were still held during the stroke" kill -0 "$HOLD_PID"
kill "$HOLD_PID"
sleep 0.3

check_eq "now, plain, match and now under held keys are V with Ctrl, Ctrl+Alt+Shift, Ctrl+Shift, Ctrl" \
  "press Control v;release Control v;press Shift Control Mod1 V;release Shift Control Mod1 V;press Shift Control V;release Shift Control V;press Control v;release Control v;" \
  "$(v_events)"
check_eq "no degraded notice while the compositor is there" 0 "$(count velko.helper.degraded)"

stop_sway_session
stop_helper  # it ends with Xwayland, as Qt does

# Qt ends a process whose X server dies, and Xwayland dies with the compositor; so the compositor
# going away is shown in a session without Xwayland, where the helper runs on no X server at all.
SWAY_XWAYLAND=disable start_sway_session
stdbuf -oL wev >"$WORK/wev2.log" 2>&1 &
pids+=($!)
wait_for "wev's window to be focused again" grep -q activated "$WORK/wev2.log"
XDG_SESSION_TYPE=wayland helper_up
post velko.paste.now
wait_for "a stroke without Xwayland" grep -q 'key: 55;' "$WORK/wev2.log"
stop_sway_session
sleep 0.3
post velko.paste.now
wait_for "the degraded notice" at_least 1 velko.helper.degraded
check_eq "without a compositor input access is missing" "accessibility_revoked" \
  "$(objects velko.helper.degraded | tail -1)"
ping_answered
check "the log says input is off now" grep -q 'Input: off now' "$HELPER_LOG"
check "without Xwayland only the tray is said to be missing" grep -q 'no X display; running without tray$' "$HELPER_LOG"
finish
