#!/usr/bin/env bash
# In headless sway, an abbreviation typed into a native Wayland text field (GTK) becomes its snippet
# through the real expansion engine, the virtual keyboard and the data-control clipboard; the clipboard
# the user had comes back with every type it offered, and a copy made right after the paste stays.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/sway_session.sh"
sig_trigger
# GTK does not try Wayland without a runtime directory: the private session gives one.
start_sway_session

# The user's clipboard: an image with a caption, owned by another client.
red_png "$WORK/red.png"
printf 'a red square' >"$WORK/caption.txt"
mkfifo "$WORK/owner.in"
"$VELKO_BIN_DIR/velko-test-wayland-clipboard" <"$WORK/owner.in" >"$WORK/owner.out" 2>&1 &
pids+=($!)
exec {OWNER}>"$WORK/owner.in"
echo "own image/png=$WORK/red.png text/plain;charset=utf-8=$WORK/caption.txt" >&"$OWNER"
wait_for "the image on the clipboard" grep -qx ok "$WORK/owner.out"

mkfifo "$WORK/typed"
"$VELKO_BIN_DIR/velko-test-wayland-expansion" <"$WORK/typed" >>"$HELPER_LOG" 2>&1 &
pids+=($!)
exec {TYPED}>"$WORK/typed"
wait_for "expansion to start" grep -q 'text expansion on, 1 abbreviations' "$HELPER_LOG"
check "the clipboard is the compositor's data-control" grep -q 'Clipboard: Wayland data-control' "$HELPER_LOG"

focus_field() { swaymsg "[title=\"^$FIELD\$\"] focus" >/dev/null 2>&1; }
# open_field NAME: a zenity entry, a native Wayland window, with the keyboard focus.
open_field() {
  FIELD="$1"
  GDK_BACKEND=wayland NO_AT_BRIDGE=1 zenity --entry --title "$FIELD" >"$WORK/$FIELD.out" 2>/dev/null &
  FIELD_PID=$!
  pids+=("$FIELD_PID")
  wait_for "the $FIELD field" focus_field
  sleep 0.5  # the entry takes keys once GTK has mapped it
}
type_text() { echo "$1" >&"$TYPED"; }
# close_field: Return makes zenity print the field's text and exit.
close_field() {
  type_text Return
  wait "$FIELD_PID" 2>/dev/null || true
}

clipboard_is() { [ "$(wl-paste -n 2>/dev/null)" == "$1" ]; }
offers_image() { wl-paste -l 2>/dev/null | grep -qx image/png; }
open_field velko-image
type_text 'x;sig'
wait_for "the paste step" clipboard_is "$EXPANDED"
wait_for "the clipboard to come back" offers_image
check_eq "the image and its caption are offered again" "image/png;text/plain;charset=utf-8;" \
  "$(wl-paste -l | tr '\n' ';')"
check "the image bytes are back unchanged" cmp -s "$WORK/red.png" <(wl-paste -t image/png)
check_eq "the caption is back" "a red square" "$(wl-paste -n -t 'text/plain;charset=utf-8')"
close_field
check_eq "the abbreviation became the snippet" "x$EXPANDED" "$(cat "$WORK/$FIELD.out")"

open_field velko-copy
type_text ';sig'
wait_for "the paste step" clipboard_is "$EXPANDED"
printf 'fresh copy' | wl-copy 2>/dev/null
sleep 1
check_eq "a copy made meanwhile stays" "fresh copy" "$(wl-paste -n)"
close_field
check_eq "the snippet went into the field" "$EXPANDED" "$(cat "$WORK/$FIELD.out")"

# An owner that takes 0.6-0.8 s for each type: the loop answers meanwhile, and both types come back.
"$VELKO_BIN_DIR/velko-test-wayland-slow-owner" 600-800 image/png="$WORK/red.png" \
  "text/plain;charset=utf-8=$WORK/caption.txt" >"$WORK/slow.out" 2>&1 &
SLOW_PID=$!
pids+=("$SLOW_PID")
wait_for "the slow owner" grep -qs owned "$WORK/slow.out"
open_field velko-slow
type_text ';sig'
sleep 0.3  # while the clipboard is read
pongs="$(grep -c pong "$HELPER_LOG" || true)"
type_text ping
check "a ping is answered within 0.6 s while the clipboard is read" \
  bash -c "for _ in \$(seq 12); do [ \$(grep -c pong '$HELPER_LOG') -gt $pongs ] && exit 0; sleep 0.05; done; exit 1"
# wl-paste would queue behind the helper's reads: the owner ending says the snippet took its place.
wait_for "the paste step" bash -c "! kill -0 $SLOW_PID 2>/dev/null"
wait_for "the clipboard to come back" offers_image
check "the slow owner's image is back" cmp -s "$WORK/red.png" <(wl-paste -t image/png)
check_eq "and its caption" "a red square" "$(wl-paste -n -t 'text/plain;charset=utf-8')"
close_field
check_eq "the snippet went into the field" "$EXPANDED" "$(cat "$WORK/$FIELD.out")"
finish
