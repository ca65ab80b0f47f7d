# Shared harness of the integration tests: a private X server, session bus and HOME for each
# test, the real helper binary, and the real clients to drive and observe it. The environment is
# pinned (scripts/private-session.sh): there is no display or bus unless the test starts one.
set -euo pipefail

: "${VELKO_BIN_DIR:?set by CTest}"
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/private-session.sh"
session_begin it
session_home
session_pin
HELPER="$VELKO_BIN_DIR/velko-helper"
WORK="$SESSION_DIR"
GROUP="$HOME/Library/Group Containers/group.app.velko"
SUITE="$GROUP/Library/Preferences/group.app.velko.plist"
OWN_DEFAULTS="$XDG_CONFIG_HOME/velko-helper/app.velko.helper.plist"
MONITOR_LOG="$WORK/monitor.log"
HELPER_LOG="$WORK/helper.log"
pids=()
failures=0

cleanup() {
  session_stop "${pids[@]}"
  if [ "$failures" -ne 0 ]; then
    echo "--- helper log"; cat "$HELPER_LOG" 2>/dev/null || true
  fi
  session_end
}
trap cleanup EXIT

start_x() { session_x; }

start_bus() {
  session_bus
  BUS_PID="$SESSION_BUS_PID"
  dbus-monitor --session "type='signal',interface='app.velko.Notifications'" >"$MONITOR_LOG" 2>&1 &
  pids+=($!)
  wait_for "bus monitor" grep -q NameAcquired "$MONITOR_LOG"
}
start_x_and_bus() { start_x; start_bus; }

# focus_key_window: a focused window ($FOCUS_WINDOW) whose key events xev writes to
# $WORK/xev.log, the way a user's application would receive them.
focus_key_window() {
  xev -event keyboard -name velko-target >"$WORK/xev.log" 2>&1 &
  pids+=($!)
  wait_for "the target window" bash -c "xdotool search --name velko-target >/dev/null"
  FOCUS_WINDOW="$(xdotool search --name velko-target | head -1)"
  xdotool windowfocus --sync "$FOCUS_WINDOW"
}

start_helper() {
  "$HELPER" >>"$HELPER_LOG" 2>&1 &
  HELPER_PID=$!
  pids+=("$HELPER_PID")
}
# helper_up: a helper started and heard from (its unasked pong).
helper_up() {
  local pongs
  pongs="$(count velko.helper.pong)"
  start_helper
  wait_for "the helper's unasked pong" at_least $((pongs + 1)) velko.helper.pong
}
# launch_helper: helper_up on an empty log, then waits for the launch summary.
launch_helper() {
  : >"$HELPER_LOG"
  helper_up
  wait_for "the launch summary" grep -q 'auto-paste rules' "$HELPER_LOG"
}
stop_helper() { kill "$HELPER_PID" 2>/dev/null || true; wait "$HELPER_PID" 2>/dev/null || true; }
# ping_answered: one more pong follows a ping (a failed check when none comes).
ping_answered() {
  local pongs
  pongs="$(count velko.helper.pong)"
  post velko.helper.ping
  wait_for "the answer to a ping" at_least $((pongs + 1)) velko.helper.pong
}

# wait_for WHAT COMMAND...: polls for up to 10 s.
wait_for() { local what="$1"; shift; wait_long "$what" 10 "$@"; }
# wait_long WHAT SECONDS COMMAND...: the same, for work that takes longer than 10 s.
wait_long() {
  local what="$1" seconds="$2"; shift 2
  session_wait "$seconds" "$@" && return 0
  fail "timed out waiting for $what"
  return 1
}

post() { dbus-send --session --type=signal /app/velko/Notifications app.velko.Notifications.Posted "string:$1" "string:${2:-}"; }

# Every notification seen on the bus, one per line: name<TAB>object.
notifications() {
  awk '/member=Posted/ {getline a; getline b;
        sub(/^ *string "/, "", a); sub(/"$/, "", a); sub(/^ *string "/, "", b); sub(/"$/, "", b);
        print a "\t" b}' "$MONITOR_LOG"
}
count() { notifications | awk -F'\t' -v n="$1" '$1 == n' | wc -l; }
# at_least N NAME: true once N notifications called NAME were seen (re-counted on each poll).
at_least() { [ "$(count "$2")" -ge "$1" ]; }
objects() { notifications | awk -F'\t' -v n="$1" '$1 == n {print $2}'; }
objects_line() { objects "$1" | paste -sd' '; }

pass() { echo "ok: $*"; }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
check() {  # check DESCRIPTION COMMAND...
  local what="$1"; shift
  if "$@"; then pass "$what"; else fail "$what"; fi
}
check_eq() {  # check_eq DESCRIPTION EXPECTED ACTUAL
  if [ "$2" == "$3" ]; then pass "$1"; else fail "$1: expected [$2], got [$3]"; fi
}
helper_alive() { kill -0 "$HELPER_PID" 2>/dev/null; }

finish() {
  if [ "$failures" -ne 0 ]; then echo "$failures check(s) failed"; exit 1; fi
  echo "all checks passed"
}

# red_png FILE: a 2x2 red square, for clipboards with an image on them.
red_png() {
  base64 -d >"$1" <<<'iVBORw0KGgoAAAANSUhEUgAAAAIAAAACCAIAAAD91JpzAAAAFklEQVR4nGP8z8DAwMDAxMDAwMDAAAANHQEDasKb6QAAAABJRU5ErkJggg=='
}

# zenity text fields, as a user types into them.
clipboard() { xclip -o -selection clipboard "$@" 2>/dev/null; }
clipboard_is() { [ "$(clipboard)" == "$1" ]; }
field_shown() { xdotool search --onlyvisible --name "$FIELD" >/dev/null; }
# open_field NAME: a zenity entry that has the keyboard focus.
open_field() {
  FIELD="$1"
  zenity --entry --title "$FIELD" >"$WORK/$FIELD.out" 2>/dev/null &
  FIELD_PID=$!
  pids+=("$FIELD_PID")
  wait_for "the $FIELD field" field_shown
  xdotool search --onlyvisible --name "$FIELD" windowfocus --sync
}
# field_text: Return makes zenity print the field's text and exit.
field_closed() { [ ! -e "/proc/$FIELD_PID" ] || grep -q ') Z' "/proc/$FIELD_PID/stat"; }
close_field() {
  xdotool key Return
  wait_for "the $FIELD field to close" field_closed
  wait "$FIELD_PID" 2>/dev/null || true
}
field_text() { cat "$WORK/$FIELD.out"; }

# sig_trigger: Velko's store and one trigger, ";sig" for "Best regards, <login>!" ($EXPANDED).
# text_of NAME: the ocrText staged for the screenshot of that file name (empty when none).
text_of() {
  python3 - "$GROUP/pending_screenshots" "$1" <<'PY'
import glob, json, sys
for path in glob.glob(sys.argv[1] + "/*.json"):
    record = json.load(open(path, encoding="utf-8"))
    if record["filename"] == sys.argv[2]:
        print(record["ocrText"], end="")
PY
}
# staged NAME: the helper says it staged that screenshot.
staged() { grep -qF "staged \"$1\"" "$HELPER_LOG"; }

sig_trigger() {
  mkdir -p "$GROUP" && touch "$GROUP/Velko.store"
  echo '[{"abbreviation":";sig","expansion":"Best regards, {username}!","format":"plain","appScope":[]}]' \
    >"$WORK/triggers.json"
  write_suite helperSnippetTriggers "$WORK/triggers.json"
  EXPANDED="Best regards, $(id -un)!"
}

# Writes the shared suite with data values, as an XML property list: write_suite KEY FILE [KEY FILE ...]
write_suite() {
  mkdir -p "$(dirname "$SUITE")"
  python3 -c 'import plistlib, sys; a = sys.argv[2:]
plistlib.dump({k: open(f, "rb").read() for k, f in zip(a[::2], a[1::2])}, open(sys.argv[1], "wb"))' "$SUITE" "$@"
}

# silent_listener SOCKET: a server on a Unix socket that accepts every connection and never
# answers, as a hung X server or bus does.
silent_listener() {
  /usr/bin/python3 -c 'import socket, sys
server = socket.socket(socket.AF_UNIX)
server.bind(sys.argv[1])
server.listen(8)
print("ready", flush=True)
held = [server.accept()[0] for _ in iter(int, 1)]' "$1" >"$WORK/silent-${1##*/}.log" 2>&1 &
  pids+=($!)
  wait_for "a silent listener on $1" grep -q '^ready' "$WORK/silent-${1##*/}.log"
}
