#!/usr/bin/env bash
# A session bus that goes away does not take the helper with it; a new bus is picked up.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
helper_up

kill "$BUS_PID"
sleep 3
check "the helper survives the loss of the bus" helper_alive
check_eq "the loss is said once" 1 "$(grep -c 'lost the session bus' "$HELPER_LOG")"

start_bus  # same address, fresh daemon
wait_for "the helper to reconnect" grep -q 'session bus reached' "$HELPER_LOG"
ping_answered
finish
