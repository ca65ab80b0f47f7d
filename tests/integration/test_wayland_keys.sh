#!/usr/bin/env bash
# In a Wayland session (headless sway) the helper answers its hotkeys through the desktop portal
# (the stand-in on the private bus): each activation becomes helper.hotkey.activated with the
# shortcut's identifier, on a session bus started again as well; without a portal, and once the
# desktop closes the session, hotkeys are off and the log says why. Typed keys are watched only where a keyboard can be read.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/sway_session.sh"

start_bus
SWAY_XWAYLAND=disable start_sway_session
export XDG_SESSION_TYPE=wayland

backends() {
  dbus-send --session --print-reply=literal --dest=app.velko.HelperInstance /app/velko/Helper \
    app.velko.Helper.Backends 2>/dev/null
}
choice() { backends | sed "s/   */\n/g" | grep "^$1:"; }
portal() { dbus-send --session --print-reply --dest=org.freedesktop.portal.Desktop /control "app.velko.PortalStandIn.$@" >/dev/null; }

helper_up
check_eq "without a portal the hotkeys are off" "Hotkeys: off" "$(choice Hotkeys)"
check "and the log says why" grep -q 'Hotkeys: off (no desktop portal on the session bus)' "$HELPER_LOG"
if [ -z "$(ls /dev/input/event* 2>/dev/null)" ]; then
  check_eq "without a readable keyboard typed keys are off" "Typed keys: off" "$(choice 'Typed keys')"
  check "and the log says why" grep -q 'Typed keys: off (no keyboard in /dev/input is readable)' "$HELPER_LOG"
fi
stop_helper

/usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/portal_standin.py" >"$WORK/portal.log" 2>&1 &
PORTAL_PID=$!
pids+=("$PORTAL_PID")
wait_for "the stand-in portal" grep -q ready "$WORK/portal.log"
start_helper
wait_for "the shortcuts to be bound" grep -q 'bind_shortcuts' "$WORK/portal.log"
check_eq "the helper binds its three shortcuts under their identifiers" \
  "bind_shortcuts open_popover,spotlight_launcher,save_snippet" "$(grep bind_shortcuts "$WORK/portal.log")"
wait_for "the binding to be answered" grep -q 'hotkeys through the desktop portal: ' "$HELPER_LOG"
check "nothing is claimed before the portal binds the shortcuts" \
  grep -q 'Hotkeys: off (.*until the desktop portal binds the shortcuts)' "$HELPER_LOG"
check_eq "once bound the hotkeys go through the portal" "Hotkeys: desktop portal" "$(choice Hotkeys)"
portal Activate string:spotlight_launcher
portal Deactivate string:spotlight_launcher
portal Activate string:save_snippet
wait_for "two hotkey notifications" at_least 2 helper.hotkey.activated
check_eq "each activation is posted once with its identifier" "spotlight_launcher save_snippet" \
  "$(objects_line helper.hotkey.activated)"
portal ChangeTrigger string:save_snippet string:Ctrl+Alt+S
wait_for "the new keys to be taken" grep -q 'the desktop changed the hotkeys: .*save_snippet Ctrl+Alt+S' "$HELPER_LOG"

# The session bus starts again at the same address, the portal after the helper is back on it.
kill "$BUS_PID" "$PORTAL_PID"
wait_for "the helper to lose the bus" grep -q 'lost the session bus' "$HELPER_LOG"
start_bus
wait_for "the helper to reach the new bus" grep -q 'session bus reached' "$HELPER_LOG"
/usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/portal_standin.py" >"$WORK/portal-2.log" 2>&1 &
pids+=($!)
wait_for "the shortcuts to be bound on the new bus" grep -q 'bind_shortcuts' "$WORK/portal-2.log"
wait_for "that binding to be answered" \
  bash -c "[ \$(grep -c 'hotkeys through the desktop portal: ' '$HELPER_LOG') -ge 2 ]"
portal Activate string:spotlight_launcher
wait_for "a hotkey on the new bus" at_least 1 helper.hotkey.activated

portal CloseSessions
wait_for "the closed session to be noticed" grep -q 'the desktop closed the shortcuts session' "$HELPER_LOG"
portal Activate string:open_popover
sleep 0.3
ping_answered
check_eq "a closed session fires nothing" 1 "$(count helper.hotkey.activated)"
finish
