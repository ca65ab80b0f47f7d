#!/usr/bin/env bash
# Without any X display the helper still serves the link and answers pastes with the degraded notice.
source "$(dirname "$0")/lib.sh"
start_bus
helper_up
post velko.paste.now
post velko.paste.match
wait_for "two degraded notices" at_least 2 velko.helper.degraded
check_eq "each request gets the degraded notice" "accessibility_revoked accessibility_revoked" \
  "$(objects_line velko.helper.degraded)"
ping_answered
check "it says why the keyboard features are off" grep -q 'no X display' "$HELPER_LOG"
finish
