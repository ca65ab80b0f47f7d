#!/usr/bin/env bash
# Abbreviations typed into a real GTK text field become their snippets, and the clipboard the
# user had comes back with every type it offered; a copy made right after the paste survives.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
sig_trigger

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

start_helper
wait_for "expansion to start" grep -q 'text expansion on, 1 abbreviations' "$HELPER_LOG"

# An image with a caption: both types come back a second later, byte for byte.
red_png "$WORK/red.png"
printf 'a red square' >"$WORK/caption.txt"
"$VELKO_BIN_DIR/velko-test-clipboard-owner" image/png="$WORK/red.png" text/plain="$WORK/caption.txt" >"$WORK/owner.out" 2>&1 &
pids+=($!)
wait_for "the image on the clipboard" grep -q owned "$WORK/owner.out"
open_field velko-image
xdotool type --delay 40 'x;sig'
sleep 1
targets="$(clipboard -t TARGETS)"
check "the image type is offered again" grep -qx 'image/png' <<<"$targets"
check "a text type is offered again" grep -qx 'UTF8_STRING' <<<"$targets"
check "the image bytes are back unchanged" cmp -s "$WORK/red.png" <(clipboard -t image/png)
check_eq "the caption is back" "a red square" "$(clipboard -t UTF8_STRING)"
close_field
check_eq "the abbreviation at the end of the typed text became the snippet" "x$EXPANDED" "$(field_text)"

# A copy made right after the paste step is not overwritten by the restore.
open_field velko-copy
xdotool type --delay 40 ';sig'
wait_for "the paste step" clipboard_is "$EXPANDED"
printf 'fresh copy' | xclip -selection clipboard
sleep 1
check_eq "the copy made meanwhile stays" "fresh copy" "$(clipboard)"
close_field
check_eq "the snippet went into the field" "$EXPANDED" "$(field_text)"
check "the helper is still running" helper_alive
finish
