#!/usr/bin/env bash
# A session bus that goes away does not take the helper with it: on a new bus it is back with
# everything it had there (link, name, status object, tray item), and a helper started then
# still finds it and leaves.
source "$(dirname "$0")/lib.sh"
HERE="$(dirname "$0")"
# start_host N: a tray host on the current bus, logging to host-N.log.
start_host() {
  /usr/bin/python3 "$HERE/sni_host.py" >"$WORK/host-$1.log" 2>&1 &
  pids+=($!)
  wait_for "tray host $1" grep -q '^ready' "$WORK/host-$1.log"
}
v_events() { grep -c 'keycode 55 ' "$WORK/xev.log" || true; }
# second_leaves WHEN: a helper started now ends at once, successfully, saying which one runs.
second_leaves() {
  local second status=0
  "$HELPER" >"$WORK/second.log" 2>&1 &
  second=$!
  pids+=("$second")
  wait_for "the second helper to leave" bash -c "! kill -0 $second 2>/dev/null" || return 0
  wait "$second" || status=$?
  check_eq "a helper $1 leaves at once, successfully" 0 "$status"
  check "and says that one already runs" grep -q 'already running in this session (process [0-9]* holds ' \
    "$WORK/second.log"
}
status_answers() { "$VELKO_BIN_DIR/velkoctl" status --timeout 5 >/dev/null; }
start_x_and_bus
# The helper's log stands in for the journal, so each of its lines carries its priority.
: >"$HELPER_LOG"
export JOURNAL_STREAM="$(stat -c %d:%i "$HELPER_LOG")"
focus_key_window
start_host 1
helper_up
wait_for "the tray item on the first bus" grep -q '^item' "$WORK/host-1.log"

kill "$BUS_PID"
sleep 3
check "the helper survives the loss of the bus" helper_alive
check_eq "the loss is said once, as a warning" 1 "$(grep -c '^<4>velko-helper: lost the session bus' "$HELPER_LOG")"
second_leaves "while the bus is gone"

start_bus  # same address, fresh daemon
start_host 2
wait_for "the helper to reconnect" grep -q '^<6>velko-helper: session bus reached' "$HELPER_LOG"
ping_answered
check "the tray item registers with the host on the new bus" wait_for "the tray item" grep -q '^item' "$WORK/host-2.log"
check "velkoctl status finds the helper on the new bus" status_answers

second_leaves "started on the new bus"
check "the first one keeps running" helper_alive
check_eq "one owner of the helper's name" 1 "$(dbus-send --session --print-reply --dest=org.freedesktop.DBus \
  /org/freedesktop/DBus org.freedesktop.DBus.ListQueuedOwners string:app.velko.HelperInstance | grep -c 'string ":')"
before="$(v_events)"
post velko.paste.now
wait_for "the paste" bash -c "[ \$(grep -c 'keycode 55 ' '$WORK/xev.log') -gt $before ]"
sleep 1
check_eq "one paste request gives one V press and release" 2 "$(($(v_events) - before))"
finish
