#!/usr/bin/env bash
# The link as the main application sees it: pongs, pings, the defaults.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
mkdir -p "$GROUP" && touch "$GROUP/Velko.store"
helper_up
sleep 0.3
check_eq "exactly one pong arrives unasked" 1 "$(count velko.helper.pong)"

pong="$(objects velko.helper.pong | head -1)"
check "the pong is the record with four keys" python3 -c '
import json, sys
p = json.loads(sys.argv[1].replace("\\\"", "\""))
assert sorted(p) == ["capabilities", "minVelkoVersion", "protocolVersion", "version"], p
assert p["protocolVersion"] == 1 and p["minVelkoVersion"] == "2.8"
assert p["capabilities"] == ["paste", "hotkeys", "expansion", "screenshots", "actions"]
' "$pong"

for _ in 1 2 3; do post velko.helper.ping; done
wait_for "three answers" at_least 4 velko.helper.pong
sleep 0.3
check_eq "three pings give three more pongs" 4 "$(count velko.helper.pong)"
check_eq "all pongs are identical" 1 "$(objects velko.helper.pong | sort -u | wc -l)"

wait_for "the defaults file" test -s "$OWN_DEFAULTS"
check "onboardingComplete is true in the helper's defaults" \
  bash -c "plistutil -i '$OWN_DEFAULTS' -f xml 2>/dev/null | tr -d ' \t\n' | grep -q '<key>onboardingComplete</key><true/>' \
           || plistutil -i '$OWN_DEFAULTS' | tr -d ' \t\n' | grep -q '<key>onboardingComplete</key><true/>'"

kill -TERM "$HELPER_PID"
wait_for "a clean exit on SIGTERM" bash -c "! kill -0 $HELPER_PID 2>/dev/null"
finish
