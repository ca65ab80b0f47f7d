#!/usr/bin/env bash
# velkoctl against the real helper on a private bus: ping, paste, watch, status and hotkey, and
# what each says when no helper answers or there is no bus at all.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/velkoctl_lib.sh"
start_x_and_bus

# Two watches from the start, so they see everything below.
"$CTL" watch >"$WORK/watch.out" 2>"$WORK/watch.err" &
WATCH_PID=$!
pids+=("$WATCH_PID")
"$CTL" watch --json >"$WORK/watch.json" 2>"$WORK/watch-json.err" &
pids+=($!)
wait_for "both watches in place" bash -c "grep -q watching '$WORK/watch.err' && grep -q watching '$WORK/watch-json.err'"

# --- nobody answers
refuses "ping without a helper" 3 "no helper answered within 0.5 s" ping --timeout 0.5
refuses "paste without a helper" 3 "no helper answered within 0.5 s" paste --timeout 0.5
check_eq "the paste request went out all the same, then a ping" "velko.paste.now velko.helper.ping" \
  "$(notifications | cut -f1 | tail -2 | paste -sd' ')"
refuses "status without a helper" 3 "no helper on this session bus" status
# A compositor binding needs no helper: Velko takes the notification from whoever posts it.
succeeds "hotkey without a helper" hotkey save_snippet
wait_for "the posted hotkey on the bus" bash -c "grep -q '\"save_snippet\"' '$MONITOR_LOG'"
check_eq "the hotkey went out as the helper posts it" "helper.hotkey.activated	save_snippet" "$(notifications | tail -1)"

# --- no bus at all
nobus="unix:path=$WORK/no-bus-here"
CTL_ENV=(env DBUS_SESSION_BUS_ADDRESS="$nobus")
for args in ping "paste plain" "watch --json" status; do
  refuses "$args without a bus" 3 "cannot reach the session bus \(.*no-bus-here" $args
done
CTL_ENV=(env -u DBUS_SESSION_BUS_ADDRESS -u DISPLAY XDG_RUNTIME_DIR="$WORK/no-runtime-dir")
refuses "ping with no bus address" 3 "cannot reach the session bus.*DBUS_SESSION_BUS_ADDRESS is not set" ping
CTL_ENV=()

# --- a helper with input access, pasting into a focused window
focus_key_window
mkdir -p "$HOME/Desktop"  # no pictures folder here: the helper watches the desktop
helper_up

succeeds "ping is answered" ping
check_eq "ping prints two lines" 2 "$(out | wc -l)"
check_eq "the first line is the helper's pong record, as posted on the bus" \
  "$(objects velko.helper.pong | tail -1 | sed 's/\\"/"/g')" "$(out | head -1)"
check "the second line is the round-trip time" grep -qE '^round trip: [0-9]+\.[0-9]{2} ms$' <(out | tail -1)

succeeds "status is answered" status
check_eq "status prints the helper's own lines" "$(dbus-send --session --print-reply \
  --dest=app.velko.HelperInstance /app/velko/Helper app.velko.Helper.Backends | sed -n 's/^ *string "\(.*\)"$/\1/p')" "$(out)"
check "status names the input backend" grep -qx 'Input: X11 (XTEST)' <(out)
plain_status="$(out)"
succeeds "status --json is answered" status --json
check_eq "status --json holds the same lines" "$plain_status" "$(python3 -c 'import json, sys
print("\n".join(b["capability"] + ": " + b["backend"] for b in json.load(sys.stdin)))' <"$WORK/ctl.out")"

succeeds "paste now is taken" paste
check "paste now says what the helper presses" grep -q '^velko.paste.now taken: the helper presses Ctrl+V' <(out)
wait_for "V with Ctrl in the window" grep -q 'state 0x4, keycode 55 ' "$WORK/xev.log"
check_eq "no degraded notice with input access" 0 "$(count velko.helper.degraded)"

# Notifications the helper itself posts, for the watches below: a hotkey and a screenshot.
xdotool key ctrl+shift+space
convert -size 200x80 xc:white "$WORK/shot.png"
cp "$WORK/shot.png" "$HOME/Desktop/.part" && mv "$HOME/Desktop/.part" "$HOME/Desktop/Screenshot from helper.png"
wait_for "the helper's hotkey notification" at_least 2 helper.hotkey.activated
wait_for "the helper's screenshot notification" at_least 1 velko.screenshot.captured

# --- a helper without input access (no X display)
stop_helper
(unset DISPLAY && exec "$HELPER" >>"$HELPER_LOG" 2>&1) &
HELPER_PID=$!
pids+=("$HELPER_PID")
wait_for "the second helper" grep -q 'no X display' "$HELPER_LOG"
refuses "paste without input access" 1 "the helper has no input access \(accessibility_revoked\); nothing was pasted" \
  paste plain

# --- what the watches saw, including names the helper posts for hotkeys and screenshots
post helper.hotkey.activated open_popover
post velko.screenshot.captured "Screenshot 2024-05-01 at 08.30.12 été.png"
wait_for "the watch to see the screenshot" grep -q '^velko.screenshot.captured.Screenshot 2024' "$WORK/watch.out"
wait_for "the JSON watch to see it" grep -q 'Screenshot 2024' "$WORK/watch.json"
check "every watched line is name, object and UTC time" \
  bash -c "! grep -vP '^[^\t]+\t[^\t]*\t\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$' '$WORK/watch.out'"
# The helper's own pong, degraded notice, hotkey and screenshot among them.
check_eq "the watch saw every notification the bus carried, in order" "$(notifications | cut -f1)" \
  "$(cut -f1 "$WORK/watch.out")"
check_eq "both watches saw the same notifications, in the same order" \
  "$(cut -f1,2 "$WORK/watch.out")" \
  "$(python3 -c 'import json, sys
for line in open(sys.argv[1]):
    n = json.loads(line); print(n["name"] + "\t" + n["object"].replace("\t", "\\t"))' "$WORK/watch.json")"
check_eq "the JSON watch keeps the object exactly" "Screenshot 2024-05-01 at 08.30.12 été.png" \
  "$(python3 -c 'import json, sys
lines = [json.loads(l) for l in open(sys.argv[1])]
print([n["object"] for n in lines if n["name"] == "velko.screenshot.captured"][-1])' "$WORK/watch.json")"

kill -INT "$WATCH_PID"
watch_status=0
wait "$WATCH_PID" || watch_status=$?
check_eq "Ctrl+C ends a watch with status 0" 0 "$watch_status"
check_eq "a watch says nothing on stderr but that it is watching" 1 "$(wc -l <"$WORK/watch.err")"
finish
