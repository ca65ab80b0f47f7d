#!/usr/bin/env bash
# Abbreviations typed into a real GTK text field become their snippets, and the clipboard the
# user had comes back with every type it offered; a copy made right after the paste survives.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
sig_trigger

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

# pong_within SECONDS: a ping is answered that soon.
pong_within() {
  local pongs start=$SECONDS
  pongs="$(count velko.helper.pong)"
  post velko.helper.ping
  for _ in $(seq $(($1 * 20))); do at_least $((pongs + 1)) velko.helper.pong && return 0; sleep 0.05; done
  return 1
}

# An owner that takes 0.6-0.8 s for each type it gives: the helper goes on answering, nothing is
# erased before every type is in, and what was typed meanwhile stays after the snippet.
"$VELKO_BIN_DIR/velko-test-clipboard-owner" --slow=600-800 image/png="$WORK/red.png" text/plain="$WORK/caption.txt" \
  >"$WORK/slow.out" 2>&1 &
pids+=($!)
wait_for "the slow owner" grep -q owned "$WORK/slow.out"
open_field velko-slow
xdotool type --delay 40 'Hi ;sig and more' &
typing=$!
sleep 0.4  # past ";sig", while the helper reads the clipboard
check "a ping is answered within 1 s while the clipboard is read" pong_within 1
wait "$typing"
sleep 2.5
close_field
check_eq "the typing after the abbreviation is kept" "Hi $EXPANDED and more" "$(field_text)"
check "the image is back" cmp -s "$WORK/red.png" <(clipboard -t image/png)
check_eq "the caption is back" "a red square" "$(clipboard -t UTF8_STRING)"

# SIGTERM between the paste and the restore: the restore is done before the helper ends, and the
# clipboard manager takes what the helper owns at exit, so the person's copy outlives the helper.
cc -o "$WORK/clipboard_manager" "$VELKO_SOURCE_DIR/tests/integration/clipboard_manager.c" $(pkg-config --cflags --libs xcb)
"$WORK/clipboard_manager" >"$WORK/manager.out" 2>&1 &
pids+=($!)
wait_for "the clipboard manager" grep -q managing "$WORK/manager.out"
printf 'keep me' | xclip -selection clipboard
open_field velko-term
xdotool type --delay 40 ';sig'
wait_for "the paste step" clipboard_is "$EXPANDED"
kill -TERM "$HELPER_PID"
wait "$HELPER_PID" 2>/dev/null || true
check "the helper handed its clipboard to the manager" grep -q 'saved [1-9]' "$WORK/manager.out"
check_eq "the person's copy is on the clipboard after the helper ended" "keep me" "$(clipboard)"
close_field
check_eq "the snippet was pasted before the helper ended" "$EXPANDED" "$(field_text)"
finish
