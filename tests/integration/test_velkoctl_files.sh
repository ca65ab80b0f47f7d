#!/usr/bin/env bash
# velkoctl's files: the shared settings it writes are what the helper reads at launch, a list
# with one bad element writes nothing, the store marker, the staged screenshots, and what each
# says when a file cannot be used.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/velkoctl_lib.sh"
start_bus  # the helper serves the link without a display

cat >"$WORK/snippets.json" <<'JSON'
[{"abbreviation": ";sig", "expansion": "Best,\nAda – été", "format": "plain", "appScope": []},
 {"abbreviation": ";addr", "expansion": "1 Main St", "format": "rtf", "appScope": ["org.gnome.gedit"], "color": "red"}]
JSON
cat >"$WORK/bad.json" <<'JSON'
[{"abbreviation": ";a", "expansion": "b", "format": "plain", "appScope": []},
 {"abbreviation": ";c", "expansion": "d", "format": "plain", "appScope": []},
 {"abbreviation": ";e", "expansion": "f", "format": "plain"}]
JSON
echo '[{"bundleId": "org.mozilla.firefox", "action": "stripTrackingParams"}]' >"$WORK/rules.json"
echo '{"theme": "dark"}' >"$WORK/velko-own.json"
stored() {  # stored KEY: the bytes of the suite's data value, as Python's plistlib reads them
  python3 -c 'import plistlib, sys; sys.stdout.buffer.write(plistlib.load(open(sys.argv[1], "rb"))[sys.argv[2]])' \
    "$SUITE" "$1"
}

# --- a bad list with no suite yet creates nothing
refuses "a bad element is named by its index" 1 "bad.json: element 2: missing \"appScope\"; nothing was written" \
  snippets set "$WORK/bad.json"
check "and no suite appears" test ! -e "$SUITE"
succeeds "a first list creates the suite" rules set "$WORK/rules.json"
check_eq "as a private XML property list" "600 <?xml" "$(stat -c %a "$SUITE") $(head -c 5 "$SUITE")"
check_eq "holding the list" "$(cat "$WORK/rules.json")" "$(stored helperAutoRules)"
rm "$SUITE"

# --- Velko's suite, binary, with a key of its own: velkoctl adds to it
write_suite velkoTheme "$WORK/velko-own.json"
plistutil -i "$SUITE" -o "$SUITE.bin" -f bin && mv "$SUITE.bin" "$SUITE"
succeeds "store connect" store connect
succeeds "snippets set from a file" snippets set "$WORK/snippets.json"
check "it says how many it stored" grep -q '^stored 2 snippet triggers in .*group.app.velko.plist' <(out)
CTL_INPUT="$WORK/rules.json" succeeds "rules set from standard input" rules set -
check "one rule, said in the singular" grep -q '^stored 1 auto-paste rule in ' <(out)
check_eq "the suite stays binary" "bplist00" "$(head -c 8 "$SUITE")"
check_eq "Velko's own key is kept" "$(cat "$WORK/velko-own.json")" "$(stored velkoTheme)"
check_eq "the triggers are stored as the file's bytes" "$(cat "$WORK/snippets.json")" "$(stored helperSnippetTriggers)"
check_eq "the rules are stored as given" "$(cat "$WORK/rules.json")" "$(stored helperAutoRules)"

launch_helper
check_eq "the helper reads at launch what velkoctl wrote" "Velko connected; 2 snippet triggers; 1 auto-paste rules" \
  "$(grep -o 'Velko [a-z ]*; [0-9]* snippet triggers; [0-9]* auto-paste rules' "$HELPER_LOG")"

succeeds "snippets list" snippets list
check_eq "snippets list shows one trigger per line, escaped" \
  "$(printf ';sig\tBest,\\nAda – été\tplain\t\n;addr\t1 Main St\trtf\torg.gnome.gedit')" "$(out)"
succeeds "rules list --json" rules list --json
check_eq "rules list --json" '[{"bundleId":"org.mozilla.firefox","action":"stripTrackingParams"}]' "$(out)"
"$CTL" snippets list --json >"$WORK/listed.json"
succeeds "what snippets list --json prints can be set again" snippets set "$WORK/listed.json"

# --- a bad list leaves the suite as it was, byte for byte and file for file
before="$(stat -c '%i %s %Y' "$SUITE") $(sha256sum <"$SUITE")"
echo '[{"bundleId": "a", "action": "alwaysPlainText"}, {"bundleId": "b", "action": "Lowercase"}]' >"$WORK/rules-bad.json"
CTL_INPUT="$WORK/rules-bad.json" refuses "a rule with an unknown action" 1 \
  "standard input: element 1: \"action\" \"Lowercase\" is not one of the six actions; nothing was written" rules set -
printf '[{"bundleId": "a",' >"$WORK/notjson.txt"
refuses "a list that is not JSON" 1 "notjson.txt: not valid JSON; nothing was written" rules set "$WORK/notjson.txt"
refuses "an object from a pipe instead of a list" 1 "/dev/fd/[0-9]+: not a JSON array" \
  snippets set <(echo '{"abbreviation": ";a"}')
refuses "empty standard input" 1 "standard input: not valid JSON" snippets set -
check_eq "the suite is untouched" "$before" "$(stat -c '%i %s %Y' "$SUITE") $(sha256sum <"$SUITE")"

# --- files that cannot be read
refuses "a missing file" 1 "cannot read .*nope.json: No such file or directory" snippets set "$WORK/nope.json"
refuses "a directory" 1 "cannot read .*: it is a directory" rules set "$WORK"
if [ "$(id -u)" -ne 0 ]; then
  install -m 000 /dev/null "$WORK/locked.json"
  refuses "a file without read permission" 1 "cannot read .*locked.json: Permission denied" snippets set "$WORK/locked.json"
fi

# --- shared settings that velkoctl cannot keep are left alone
cp "$SUITE" "$WORK/suite.good"
printf 'not a property list' >"$SUITE"
refuses "set over a broken suite" 1 "is not shared settings velkoctl can keep \(.*\); left it untouched" \
  snippets set "$WORK/snippets.json"
check_eq "the broken suite is left as it was" "not a property list" "$(cat "$SUITE")"
refuses "list over a broken suite" 1 "cannot use the shared settings .*group.app.velko.plist" rules list
write_suite helperSnippetTriggers "$WORK/bad.json"
refuses "list of a stored list the helper ignores" 1 \
  "stored snippet triggers are unusable \(element 2: missing \"appScope\"\); the helper ignores them all" snippets list
cp "$WORK/suite.good" "$SUITE"
CTL_ENV=(env HOME="$WORK/blocked")
mkdir -p "$WORK/blocked" && touch "$WORK/blocked/Library"
refuses "set where the group container cannot be" 1 "Not a directory" rules set "$WORK/rules.json"
refuses "store connect where the group container cannot be" 1 "cannot create .*blocked/Library" store connect
CTL_ENV=()

# --- the store marker
succeeds "store status" store status
check "connected while the marker is there" grep -q '^connected: .*Velko.store is there' <(out)
succeeds "store disconnect" store disconnect
check "the marker is gone" test ! -e "$GROUP/Velko.store"
succeeds "store status again" store status
check "not connected without it" grep -q '^not connected: no .*Velko.store' <(out)
succeeds "disconnecting twice is fine" store disconnect
echo "Velko's real data" >"$GROUP/Velko.store"
refuses "a store with content is not removed" 1 "is not an empty marker file .*left it in place" store disconnect
check_eq "and it keeps its content" "Velko's real data" "$(cat "$GROUP/Velko.store")"
succeeds "connecting over an existing store is fine" store connect
check_eq "and leaves it as it was" "Velko's real data" "$(cat "$GROUP/Velko.store")"
rm "$GROUP/Velko.store" && mkdir "$GROUP/Velko.store"
refuses "a store directory is not removed" 1 "is not an empty marker file" store disconnect
check "the directory is still there" test -d "$GROUP/Velko.store"
rm -r "$GROUP/Velko.store"

# --- staged screenshots, written here by hand as the helper writes them
staging="$GROUP/pending_screenshots"
succeeds "screenshots before anything is staged" screenshots
check_eq "an empty list" "" "$(out)"
mkdir -p "$staging"
pair() {  # pair ID JSON: a staged pair whose data file holds a few bytes
  printf 'PNG' >"$staging/$1.data"
  printf '%s' "$2" >"$staging/$1.json"
}
pair 1B4E28BA-2FA1-11D2-883F-0016D3CCA427 \
  '{"filename":"Screenshot 2024-05-01 at 08.30.12.png","timestamp":"2024-05-01T08:30:12Z","ocrText":"Hello from Velko\nsecond line","isVideo":"false","fileSize":"3171"}'
pair 6F9619FF-8B86-D011-B42D-00C04FC964FF \
  '{"isVideo":"true","fileSize":"0","ocrText":"","timestamp":"2024-04-30T10:00:00Z","filename":"Screen Recording \u00e9t\u00e9\/x.mov"}'
pair BROKEN '{"filename":"a.png",'
pair NO-TEXT '{"filename":"b.png","timestamp":"2024-05-01T09:00:00Z","isVideo":"false","fileSize":"1"}'
printf '%s' '{"filename":"c.png","timestamp":"2024-05-01T09:00:00Z","ocrText":"","isVideo":"false","fileSize":"1"}' \
  >"$staging/NO-DATA.json"
printf 'still being written' >"$staging/IN-PROGRESS.data"
ctl screenshots
check_eq "screenshots lists the good pairs" 0 "$ctl_status"
check_eq "oldest first, tab-separated, first line of text" \
  "$(printf '6F9619FF-8B86-D011-B42D-00C04FC964FF\t2024-04-30T10:00:00Z\t0\tScreen Recording été/x.mov\t\n1B4E28BA-2FA1-11D2-883F-0016D3CCA427\t2024-05-01T08:30:12Z\t3171\tScreenshot 2024-05-01 at 08.30.12.png\tHello from Velko')" \
  "$(out)"
check_eq "one warning per unusable metadata file" \
  "velkoctl: skipping BROKEN.json: not valid JSON
velkoctl: skipping NO-DATA.json: no NO-DATA.data beside it
velkoctl: skipping NO-TEXT.json: missing \"ocrText\"" "$(sort "$WORK/ctl.err")"
rm -r "$staging" && touch "$staging"
refuses "a staging folder that is a file" 1 "cannot read the staging folder .*pending_screenshots: Not a directory" \
  screenshots

# --- usage mistakes and help: their texts are the command line's unit test
refuses "an unknown subcommand" 2 "store: unknown subcommand 'open' \(see 'velkoctl store --help'\)" store open
succeeds "help" store --help
finish
