#!/usr/bin/env bash
# Posted signals with the wrong arguments, as any program on the bus may send them: a name is
# enough for a notification, anything without one is dropped, and the helper runs on.
source "$(dirname "$0")/lib.sh"
signal() { dbus-send --session --type=signal /app/velko/Notifications app.velko.Notifications.Posted "$@"; }
# Counted on the monitor's lines: lib.sh's parser expects two arguments to every signal.
pongs() { grep -c '^ *string "velko.helper.pong"$' "$MONITOR_LOG"; }
pongs_at_least() { [ "$(pongs)" -ge "$1" ]; }

start_x_and_bus
start_helper
wait_for "the unasked pong" pongs_at_least 1

signal string:velko.helper.ping
wait_for "the pong to a ping without an object" pongs_at_least 2
signal string:velko.helper.ping int32:7
wait_for "the pong to a ping with a number for object" pongs_at_least 3
signal string:velko.helper.ping array:string:a,b string:extra
wait_for "the pong to a ping with an array for object" pongs_at_least 4

signal
signal int32:7 string:velko.helper.ping
signal objpath:/velko/helper/ping
signal variant:string:velko.helper.ping
signal "string:$(head -c 100000 /dev/zero | tr '\0' x)"
post velko.helper.ping
wait_for "the pong to a well-formed ping" pongs_at_least 5
sleep 0.3
check_eq "nothing without a string name is taken for a ping" 5 "$(pongs)"
check "the helper still runs" helper_alive
finish
