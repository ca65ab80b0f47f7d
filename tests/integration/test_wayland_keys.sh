#!/usr/bin/env bash
# In a Wayland session the helper asks the desktop portal for its hotkeys when one is on the bus,
# and watches typed keys only where it can read a keyboard; its bus name reports each choice.
source "$(dirname "$0")/lib.sh"
# A bus that starts no service on demand: the machine's own portal must not answer for the stand-in.
cat >"$WORK/bus.conf" <<EOF
<busconfig><type>session</type><listen>unix:path=$WORK/bus</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>
EOF
pids+=("$(dbus-daemon --config-file="$WORK/bus.conf" --fork --nopidfile --print-pid)")
export DBUS_SESSION_BUS_ADDRESS="unix:path=$WORK/bus"
unset DISPLAY WAYLAND_DISPLAY
export XDG_SESSION_TYPE=wayland

backends() {
  dbus-send --session --print-reply=literal --dest=app.velko.HelperInstance /app/velko/Helper \
    app.velko.Helper.Backends 2>/dev/null
}
choice() { backends | sed "s/   */\n/g" | grep "^$1:"; }

start_helper
wait_for "the helper's bus name" eval 'backends >/dev/null'
check_eq "without a portal the hotkeys are off" "Hotkeys: off" "$(choice Hotkeys)"
check "and the log says why" grep -q 'Hotkeys: off (no desktop portal on the session bus)' "$HELPER_LOG"
if [ -z "$(ls /dev/input/event* 2>/dev/null)" ]; then
  check_eq "without a readable keyboard typed keys are off" "Typed keys: off" "$(choice 'Typed keys')"
  check "and the log says why" grep -q 'Typed keys: off (no keyboard in /dev/input is readable)' "$HELPER_LOG"
fi
kill "$HELPER_PID"; wait "$HELPER_PID" 2>/dev/null || true

/usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/portal_standin.py" >"$WORK/portal.log" 2>&1 &
pids+=($!)
wait_for "the stand-in portal" grep -q ready "$WORK/portal.log"
start_helper
wait_for "the helper's bus name" eval 'backends >/dev/null'
check_eq "with a portal on the bus the hotkeys go through it" "Hotkeys: desktop portal" "$(choice Hotkeys)"
check "the helper keeps running" helper_alive
finish
