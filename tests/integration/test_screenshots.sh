#!/usr/bin/env bash
# New screenshots in the XDG pictures folder are staged once, with the text Tesseract reads in
# them, and announced on the bus; odd files are skipped without stalling anything. No X display:
# the watcher does not need one.
source "$(dirname "$0")/lib.sh"
SHOTS="$HOME/Pictures/Screenshots"
STAGING="$GROUP/pending_screenshots"
mkdir -p "$SHOTS" "$XDG_CONFIG_HOME"
echo 'XDG_PICTURES_DIR="$HOME/Pictures"' >"$XDG_CONFIG_HOME/user-dirs.dirs"

# make_png FILE LINE...: black text on white, large enough to read reliably.
make_png() {
  local out="$1" y=100 args=()
  shift
  for line in "$@"; do args+=(-annotate "+40+$y" "$line"); y=$((y + 110)); done
  convert -size 900x$((y)) xc:white -font DejaVu-Sans -pointsize 72 -fill black "${args[@]}" "$out"
}

# records PATTERN: the staged records of the file names that match, one JSON object a line, each
# with the path of its data file added as "_data".
records() {
  python3 - "$STAGING" "$1" <<'PY'
import fnmatch, glob, json, sys
for path in sorted(glob.glob(sys.argv[1] + "/*.json")):
    record = json.load(open(path, encoding="utf-8"))
    if fnmatch.fnmatchcase(record["filename"], sys.argv[2]):
        print(json.dumps(dict(record, _data=path[:-5] + ".data")))
PY
}
field() { python3 -c 'import json,sys; print(json.loads(sys.stdin.readline()).get(sys.argv[1], ""), end="")' "$1"; }
data_size() { stat -c %s "$(field _data)"; }
announced() { objects velko.screenshot.captured | grep -cxF -- "$1" || true; }
announced_once() { [ "$(announced "$1")" -ge 1 ]; }

make_png "$WORK/hello.png" Hello World
make_png "$WORK/slow.png" Slowly Written
make_png "$WORK/burst.png" Burst
head -c 5000000 /dev/urandom >"$WORK/capture.mov"
cp "$WORK/hello.png" "$SHOTS/Screenshot old.png"

start_bus
start_helper
wait_for "the watcher" grep -q "watching $SHOTS for screenshots" "$HELPER_LOG"

# --- one image with two lines of text
name="Screenshot 2026-11-22 at 10.00.00.png"
cp "$WORK/hello.png" "$SHOTS/$name"
wait_for "the first capture" announced_once "$name"
record="$(records "$name")"
check_eq "one pair for the capture" 1 "$(printf '%s\n' "$record" | grep -c .)"
check_eq "its text is the two lines" $'Hello\nWorld' "$(field ocrText <<<"$record")"
check_eq "it is no video" false "$(field isVideo <<<"$record")"
check_eq "fileSize is the data file's size" "$(data_size <<<"$record")" "$(field fileSize <<<"$record")"
check "the data is the file, byte for byte" cmp -s "$WORK/hello.png" "$(field _data <<<"$record")"
check "the timestamp is UTC with whole seconds" \
  grep -qE '^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$' <<<"$(field timestamp <<<"$record")"

# --- a video
cp "$WORK/capture.mov" "$SHOTS/my capture.mov"
wait_for "the video" announced_once "my capture.mov"
record="$(records "my capture.mov")"
check "the video is staged byte for byte" cmp -s "$WORK/capture.mov" "$(field _data <<<"$record")"
check_eq "the video is marked" true "$(field isVideo <<<"$record")"
check_eq "the video has no text" "" "$(field ocrText <<<"$record")"
check_eq "a file there before the start is never staged" "0 0" \
  "$(announced "Screenshot old.png") $(records "Screenshot old.png" | wc -l)"

# --- a FIFO named like a screenshot stalls nothing
pongs="$(count velko.helper.pong)"
mkfifo "$SHOTS/Screenshot 1.png"
post velko.helper.ping
wait_for "a pong while the FIFO sits there" at_least $((pongs + 1)) velko.helper.pong
wait_for "the FIFO to be looked at" grep -q 'skipped "Screenshot 1.png": not a regular file' "$HELPER_LOG"
post velko.helper.ping
wait_for "a pong after it" at_least $((pongs + 2)) velko.helper.pong
check_eq "the FIFO is not staged" 0 "$(records "Screenshot 1.png" | wc -l)"

# --- hostile files: corrupt, empty, a directory, a non-ASCII name
head -c 4000 /dev/urandom >"$SHOTS/Screenshot corrupt.png"
: >"$SHOTS/Screenshot empty.png"
mkdir "$SHOTS/Screenshot folder.png"
cp "$WORK/hello.png" "$SHOTS/Bildschirmfoto äöü 東京.png"
wait_for "the corrupt capture" announced_once "Screenshot corrupt.png"
wait_for "the empty capture" announced_once "Screenshot empty.png"
wait_for "the non-ASCII name" announced_once "Bildschirmfoto äöü 東京.png"
check_eq "a corrupt PNG is staged without text" "" "$(records "Screenshot corrupt.png" | field ocrText)"
check_eq "an empty file is staged with size 0" "0 0" \
  "$(records "Screenshot empty.png" | field fileSize) $(records "Screenshot empty.png" | data_size)"
check_eq "the non-ASCII name is kept" 1 "$(records "Bildschirmfoto äöü 東京.png" | wc -l)"
check "a directory is skipped" grep -q 'skipped "Screenshot folder.png": not a regular file' "$HELPER_LOG"

# --- a capture written over two seconds is staged whole, once
python3 - "$WORK/slow.png" "$SHOTS/Screenshot slow.png" <<'PY' &
import sys, time
data = open(sys.argv[1], "rb").read()
with open(sys.argv[2], "wb") as out:
    for i in range(8):
        out.write(data[i * len(data) // 8:(i + 1) * len(data) // 8])
        out.flush()
        time.sleep(0.25)
PY
writer=$!
wait_for "the slow capture" announced_once "Screenshot slow.png"
wait "$writer"
record="$(records "Screenshot slow.png")"
check "the slow capture is staged whole" cmp -s "$WORK/slow.png" "$(field _data <<<"$record")"
check_eq "and read whole" $'Slowly\nWritten' "$(field ocrText <<<"$record")"
sleep 1.5  # a late second staging would show up here
check_eq "and staged once" "1 1" "$(records "Screenshot slow.png" | wc -l) $(announced "Screenshot slow.png")"

# --- 50 captures at once
mkdir "$WORK/burst"
for i in $(seq -w 1 50); do cp "$WORK/burst.png" "$WORK/burst/Screenshot burst $i.png"; done
mv "$WORK/burst/"* "$SHOTS/"
burst_names() { objects velko.screenshot.captured | grep '^Screenshot burst '; }
burst_done() { [ "$(burst_names | wc -l)" -ge 50 ]; }
wait_long "50 notifications" 120 burst_done
check_eq "50 notifications, no name twice" "50 50" "$(burst_names | wc -l) $(burst_names | sort -u | wc -l)"
burst="$(records "Screenshot burst *")"
distinct="$(grep -o '"filename": "[^"]*"' <<<"$burst" | sort -u | wc -l)"
check_eq "50 pairs, one per capture, each with its text" "50 50 50" \
  "$(wc -l <<<"$burst") $distinct $(grep -c '"ocrText": "Burst"' <<<"$burst")"

# --- velko-ocr reads the text: it ends once idle, and one that dies costs only its captures' text
reader() { pgrep -P "$HELPER_PID" -x velko-ocr >/dev/null; }
no_reader() { ! reader; }
wait_long "velko-ocr to end once idle" 30 no_reader
check "it ended because it was idle" grep -q 'text recognition idle' "$HELPER_LOG"
cp "$WORK/hello.png" "$SHOTS/Screenshot killed.png"
wait_for "velko-ocr to start again" reader
kill -KILL "$(pgrep -P "$HELPER_PID" -x velko-ocr)"
wait_for "the capture whose reader died" announced_once "Screenshot killed.png"
check_eq "a capture whose reader died is staged without text" "" "$(records "Screenshot killed.png" | field ocrText)"
cp "$WORK/hello.png" "$SHOTS/Screenshot after.png"
wait_for "the next capture" announced_once "Screenshot after.png"
check_eq "the next one is read by a fresh velko-ocr" $'Hello\nWorld' "$(records "Screenshot after.png" | field ocrText)"

# --- nothing half-written or readable by others
check_eq "the staging folder is private" 700 "$(stat -c %a "$STAGING")"
check_eq "every staged file is private" "" "$(find "$STAGING" -type f ! -perm 600)"
check_eq "no temporary copy is left" "" "$(find "$STAGING" -name '.*' -type f)"
check_eq "every record has its data" "$(find "$STAGING" -name '*.json' | wc -l)" "$(find "$STAGING" -name '*.data' | wc -l)"
check "the helper keeps running" helper_alive

# --- velko-ocr's own line names it and, when stderr is the journal, carries its priority
ocr_log="$WORK/ocr.log"
: >"$ocr_log"
JOURNAL_STREAM="$(stat -c %d:%i "$ocr_log")" "$VELKO_BIN_DIR/velko-ocr" <<<'not a request' 2>"$ocr_log"
check "velko-ocr's warning reaches the journal as one" grep -qx '<4>velko-ocr: a request that is not one; ignored' "$ocr_log"
finish
