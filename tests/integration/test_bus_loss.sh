#!/usr/bin/env bash
# A session bus that goes away does not take the helper with it; a new bus is picked up.
source "$(dirname "$0")/lib.sh"
start_x
start_bus
start_helper
wait_for "the unasked pong" at_least 1 velko.helper.pong

kill "$BUS_PID"
sleep 3
check "the helper survives the loss of the bus" helper_alive
check_eq "the loss is said once" 1 "$(grep -c 'lost the session bus' "$HELPER_LOG")"

start_bus  # same address, fresh daemon
wait_for "the helper to reconnect" grep -q 'session bus reached' "$HELPER_LOG"
post velko.helper.ping
wait_for "a pong on the new bus" at_least 1 velko.helper.pong
check "pings are answered again" test "$(count velko.helper.pong)" -ge 1
finish
