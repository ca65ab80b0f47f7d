#!/usr/bin/env bash
# The Wayland clipboard through data-control in headless sway, against wl-copy, wl-paste and a second
# client that owns it with several types: a snapshot keeps every type byte for byte and comes back
# after our own text; each copy, another's or ours, counts once; an owner that never answers makes
# the clipboard unreadable instead of a hang; once the compositor is gone calls fail and we carry on.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/sway_session.sh"
CLIP="$VELKO_BIN_DIR/velko-test-wayland-clipboard"

check_eq "without a compositor there is no clipboard, and it says why" \
  "unavailable: no Wayland compositor at $WORK/none: No such file or directory" \
  "$(WAYLAND_DISPLAY="$WORK/none" "$CLIP" </dev/null)"
start_sway_session

# client NAME: a clipboard client reading commands from fd $CLIENT_FD, answering into $WORK/NAME.out.
client() {
  mkfifo "$WORK/$1.in"
  "$CLIP" <"$WORK/$1.in" >"$WORK/$1.out" 2>"$WORK/$1.err" &
  CLIENT_PID=$!
  pids+=("$CLIENT_PID")
  exec {CLIENT_FD}>"$WORK/$1.in"
  wait_for "the $1 client" grep -q connected "$WORK/$1.out"
}
# ask COMMAND...: our client's answer to one command, in $ANSWER.
asked=1
ask() {
  asked=$((asked + 1))
  echo "$*" >&"$OURS"
  wait_for "an answer to $1" bash -c "[ \$(wc -l <'$WORK/ours.out') -ge $asked ]"
  ANSWER="$(sed -n "${asked}p" "$WORK/ours.out")"
}
count_is() { ask count && [ "$ANSWER" == "$1" ]; }
# answers DESCRIPTION EXPECTED COMMAND...: asks, and checks the answer.
answers() { local what="$1" want="$2"; shift 2; ask "$@"; check_eq "$what" "$want" "$ANSWER"; }
# same_bytes DIR TYPE...: DIR/i holds what wl-paste reads now as type i.
same_bytes() {
  local dir="$1" i=0; shift
  for type in "$@"; do cmp -s "$dir/$i" <(wl-paste -n -t "$type") || return 1; i=$((i + 1)); done
}

client ours
OURS=$CLIENT_FD
OURS_PID=$CLIENT_PID
answers "nothing copied since we started" 0 count

red_png "$WORK/red.png"
printf '<b>red</b>' >"$WORK/page.html"
printf 'a red square' >"$WORK/caption.txt"
printf 'red\0\377\r\n' >"$WORK/raw.bin"
TYPES=(text/html image/png 'text/plain;charset=utf-8' application/x-velko-raw)

wl-copy -t image/png <"$WORK/red.png"
wait_for "wl-copy's image to count once" count_is 1
mkdir "$WORK/png"
answers "wl-copy's image is one type" "types 1" snapshot "$WORK/png"
check "its bytes are kept exactly" cmp -s "$WORK/red.png" "$WORK/png/0"
answers "an image is no text" "no text" string

client owner
OWNER=$CLIENT_FD
echo "own text/html=$WORK/page.html image/png=$WORK/red.png text/plain;charset=utf-8=$WORK/caption.txt" \
  "application/x-velko-raw=$WORK/raw.bin" >&"$OWNER"
wait_for "another client's copy to count once" count_is 2
check_eq "wl-paste sees the other client's four types" "$(printf '%s\n' "${TYPES[@]}")" "$(wl-paste -l)"
mkdir "$WORK/snap"
answers "the snapshot has every type" "types 4" snapshot "$WORK/snap"
check_eq "in the owner's order" "$(printf '%s\n' "${TYPES[@]}")" "$(cat "$WORK/snap/types")"
check "with their bytes exactly" same_bytes "$WORK/snap" "${TYPES[@]}"

ask write Best regards
answers "our own write counts once" 3 count
check_eq "wl-paste reads our text" "Best regards" "$(wl-paste -n)"
exec {OWNER}>&-
wait_for "the other client to end" bash -c "! kill -0 $CLIENT_PID 2>/dev/null"
answers "a paste served and an old owner gone do not count" 3 count

ask restore
answers "putting the snapshot back counts once" 4 count
check_eq "wl-paste lists every type again" "$(printf '%s\n' "${TYPES[@]}")" "$(wl-paste -l)"
check "with the same bytes, served by us alone" same_bytes "$WORK/snap" "${TYPES[@]}"

printf theirs | wl-copy
wait_for "a copy over ours to count once" count_is 5
answers "and its text to be read" "text: theirs" string
ask clear
answers "clearing counts once" 6 count
check "wl-paste finds nothing" bash -c '! wl-paste -l 2>/dev/null'
answers "an empty clipboard is no types, not unreadable" "types 0" snapshot "$WORK/snap"

client frozen
echo "own text/plain;charset=utf-8=$WORK/caption.txt" >&"$CLIENT_FD"
wait_for "the frozen client's copy" count_is 7
kill -STOP "$CLIENT_PID"
answers "an owner that never answers makes the clipboard unreadable" unreadable snapshot "$WORK/snap"
answers "and gives no text" "no text" string
check "it is said once" test "$(grep -c 'owner does not answer' "$WORK/ours.err")" -eq 1
kill -CONT "$CLIENT_PID"
printf thawed | wl-copy 2>/dev/null
wait_for "the next copy" count_is 8
answers "the next owner is asked again" "text: thawed" string
check "the frozen owner survived requests nobody waits for any more" kill -0 "$CLIENT_PID"
kill "$CLIENT_PID"  # it holds our client's input open too

stop_sway_session
answers "without the compositor the count stays" 8 count
ask write gone
answers "and the clipboard is unreadable" unreadable snapshot "$WORK/snap"
check "which is said" grep -q 'compositor went away' "$WORK/ours.err"
exec {OURS}>&-
check "our client ends cleanly" wait "$OURS_PID"
finish
