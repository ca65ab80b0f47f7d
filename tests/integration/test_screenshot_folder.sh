#!/usr/bin/env bash
# The screenshot folder deleted and made again, or moved away and replaced, is watched again; the
# helper says it is waiting meanwhile (velkoctl status), and what the folder holds when it comes
# back counts as already there. A PNG declaring 10000x10000 pixels is staged without text and
# named in the log, and the next capture is read as usual by a velko-ocr under a memory limit.
source "$(dirname "$0")/lib.sh"
SHOTS="$HOME/Pictures/Screenshots"
STAGING="$GROUP/pending_screenshots"
mkdir -p "$SHOTS" "$XDG_CONFIG_HOME"
echo 'XDG_PICTURES_DIR="$HOME/Pictures"' >"$XDG_CONFIG_HOME/user-dirs.dirs"
convert -size 900x210 xc:white -font DejaVu-Sans -pointsize 72 -fill black -annotate +40+100 Hello "$WORK/hello.png"
# 10000x10000 white pixels in about 300 kB: what it declares, not what it weighs, is the danger.
python3 - "$WORK/huge.png" <<'PY'
import struct, sys, zlib
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
z = zlib.compressobj(9)
rows = b"".join(z.compress(b"\0" + b"\xff" * 30000) for _ in range(10000)) + z.flush()
open(sys.argv[1], "wb").write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", 10000, 10000, 8, 2, 0, 0, 0))
                              + chunk(b"IDAT", rows) + chunk(b"IEND", b""))
PY

status_says() { "$VELKO_BIN_DIR/velkoctl" status | grep -qxF "Screenshots: $1"; }
logged() { grep -cF -- "$1" "$HELPER_LOG" || true; }
watched_again() { [ "$(logged "watching $SHOTS for screenshots again")" -ge "$1" ]; }

start_bus
start_helper
wait_for "the watcher" grep -q "watching $SHOTS for screenshots" "$HELPER_LOG"
check "status says screenshots are on" status_says "on, watching ~/Pictures/Screenshots"

# --- deleted, then made again
rm -rf "$SHOTS"
wait_for "the folder to be missed" status_says "off, waiting for ~/Pictures/Screenshots to exist again"
check_eq "one line when it goes" 1 "$(logged "$SHOTS was deleted or moved away")"
mkdir "$SHOTS"
wait_for "the folder to be watched again" watched_again 1
check "status says on again" status_says "on, watching ~/Pictures/Screenshots"
cp "$WORK/hello.png" "$SHOTS/Screenshot after delete.png"
wait_for "a capture in the new folder" staged "Screenshot after delete.png"
check_eq "and its text is read" Hello "$(text_of "Screenshot after delete.png")"

# --- moved away and replaced by a folder that already holds a capture
mv "$SHOTS" "$HOME/Pictures/Old screenshots"
mkdir "$WORK/replacement"
cp "$WORK/hello.png" "$WORK/replacement/Screenshot from before.png"
mv "$WORK/replacement" "$SHOTS"
wait_for "the replacement to be watched" watched_again 2
cp "$WORK/hello.png" "$HOME/Pictures/Old screenshots/Screenshot in the old folder.png"
cp "$WORK/hello.png" "$SHOTS/Screenshot after move.png"
wait_for "a capture in the replacement" staged "Screenshot after move.png"
check_eq "what the replacement held, or the old folder got, is not staged" 0 \
  "$(grep -cE 'staged "Screenshot (from before|in the old folder).png"' "$HELPER_LOG" || true)"
check_eq "one line each time it went" 2 "$(logged "$SHOTS was deleted or moved away")"

# --- an image too large to read, then a normal one
cp "$WORK/huge.png" "$SHOTS/Screenshot huge.png"
wait_for "the huge capture" staged "Screenshot huge.png"
check_eq "it is staged without text" "" "$(text_of "Screenshot huge.png")"
check_eq "one line names it" 1 "$(logged '"Screenshot huge.png" is 10000x10000 pixels')"
reader="$(pgrep -P "$HELPER_PID" -x velko-ocr || true)"
check "velko-ocr runs with a memory limit" grep -qE '^Max address space +2147483648 ' "/proc/$reader/limits"
cp "$WORK/hello.png" "$SHOTS/Screenshot after huge.png"
wait_for "the next capture" staged "Screenshot after huge.png"
check_eq "the next capture is read" Hello "$(text_of "Screenshot after huge.png")"
check "the helper keeps running" helper_alive
finish
