#!/usr/bin/env bash
# Without any X display the helper still serves the link and answers pastes with the degraded notice.
source "$(dirname "$0")/lib.sh"
start_bus
start_helper
wait_for "the unasked pong" at_least 1 velko.helper.pong
post velko.paste.now
post velko.paste.match
wait_for "two degraded notices" at_least 2 velko.helper.degraded
check_eq "each request gets the degraded notice" "accessibility_revoked accessibility_revoked" \
  "$(objects velko.helper.degraded | tr '\n' ' ' | sed 's/ $//')"
post velko.helper.ping
wait_for "a pong" at_least 2 velko.helper.pong
check "the helper keeps running" helper_alive
check "it says why the keyboard features are off" grep -q 'no X display' "$HELPER_LOG"
finish
