#!/usr/bin/env bash
# Hostile shared data never stops the helper: each case leaves empty lists and a running link.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
mkdir -p "$GROUP" && touch "$GROUP/Velko.store"

run_case() {  # run_case DESCRIPTION: prepares nothing itself, checks the outcome
  launch_helper
  ping_answered
  check_eq "$1: empty lists" "0 snippet triggers; 0 auto-paste rules" \
    "$(grep -o '[0-9]* snippet triggers; [0-9]* auto-paste rules' "$HELPER_LOG")"
  stop_helper
}

mkdir -p "$(dirname "$SUITE")"
printf '<?xml version="1.0"?><plist><dict><key>helperSnippetTriggers</key><data>AAAA' >"$SUITE"
run_case "a truncated plist"
check "a truncated plist is reported" grep -q 'property list' "$HELPER_LOG"

cat >"$SUITE" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>helperSnippetTriggers</key><string>[{"abbreviation":";a","expansion":"b","format":"plain","appScope":[]}]</string>
<key>helperAutoRules</key><integer>7</integer>
</dict></plist>
PLIST
run_case "a string where data is expected"

python3 - "$WORK/big.json" <<'PY'
import json, sys
item = {"abbreviation": ";x", "expansion": "y" * 200, "format": "plain", "appScope": []}
items = [item] * 48000 + [{"abbreviation": ";bad"}]
open(sys.argv[1], "w").write(json.dumps(items))
PY
echo '[{"bundleId":"a","action":"Lowercase"}]' >"$WORK/rules.json"
write_suite helperSnippetTriggers "$WORK/big.json" helperAutoRules "$WORK/rules.json"
check "the suite holds over 10 MB of JSON" test "$(stat -c %s "$WORK/big.json")" -gt 10000000
run_case "10 MB of JSON with one bad element"

# A directory there takes the same way as the FIFO, which could also hang a careless read.
rm -f "$SUITE" && mkfifo "$SUITE"
run_case "a FIFO in place of the suite"
finish
