#!/usr/bin/env bash
# Posted signals of any size, as any program on the bus may send them: the helper drops what is
# too large for a notification, keeps answering, and gives the memory back.
source "$(dirname "$0")/lib.sh"
# Only pongs are recorded: the monitor would write every byte of the large signals to its log.
session_x
session_bus
dbus-monitor --session "type='signal',interface='app.velko.Notifications',arg0='velko.helper.pong'" \
  >"$MONITOR_LOG" 2>&1 &
pids+=($!)
wait_for "bus monitor" grep -q NameAcquired "$MONITOR_LOG"
# send MIB [COUNT]: COUNT pings (1 by default), each with an object of MIB MiB.
send() {
  /usr/bin/python3 - "$@" <<'PY'
import dbus, sys
bus = dbus.SessionBus()
for _ in range(int(sys.argv[2]) if len(sys.argv) > 2 else 1):
    message = dbus.lowlevel.SignalMessage("/app/velko/Notifications", "app.velko.Notifications", "Posted")
    message.append(dbus.String("velko.helper.ping"), dbus.String("x" * int(float(sys.argv[1]) * 2**20)))
    bus.send_message(message)
bus.flush()
PY
}
pongs() { grep -c '^ *string "velko.helper.pong"$' "$MONITOR_LOG"; }
pongs_above() { [ "$(pongs)" -gt "$1" ]; }
answered() {  # answered WHAT: a plain ping after WHAT gets its pong
  local before
  before="$(pongs)"
  post velko.helper.ping
  wait_for "the answer to a ping after $1" pongs_above "$before"
}
kib() { awk -v f="$1" '$1 == f ":" {print $2}' "/proc/$HELPER_PID/status"; }

start_helper
wait_for "the unasked pong" bash -c "grep -q 'velko.helper.pong' '$MONITOR_LOG'"
start="$(kib VmRSS)"
before="$(pongs)"
send 0.03
check "a ping with an object of 31457 characters is still answered" wait_for "its pong" pongs_above "$before"
for mib in 66 100; do
  send "$mib"
  check "a ping after a ${mib} MiB ping is answered" answered "a $mib MiB ping"
  echo "resident after $mib MiB: $(($(kib VmRSS) / 1024)) MB (peak $(($(kib VmHWM) / 1024)) MB)"
done
# Small enough to be read, many enough to fill libdbus's 63 MiB of unhandled messages.
send 0.9 90
check "a ping after 90 pings of 0.9 MiB is answered" answered "90 pings of 0.9 MiB"
echo "resident after them: $(($(kib VmRSS) / 1024)) MB (peak $(($(kib VmHWM) / 1024)) MB)"
check "the helper still runs" helper_alive
check "it says what it dropped" grep -q "dropped a notification from .* with 69206033 characters" "$HELPER_LOG"
check "memory stays bounded: resident grew by less than 64 MB" [ $(($(kib VmRSS) - start)) -lt 65536 ]
finish
