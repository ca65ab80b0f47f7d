#!/usr/bin/env bash
# A paste request and an expansion land in a GTK field, and a paste request in Chromium's address
# bar, whatever layout is in use: applications read Ctrl+V by the letter the layout gives, not by
# where V sits on a US keyboard.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
sig_trigger
start_helper
wait_for "expansion to start" grep -q 'text expansion on, 1 abbreviations' "$HELPER_LOG"

# lock_group N: the keymap's group N becomes the active one, as a layout switch makes it.
lock_group() {
  python3 -c 'import ctypes, sys; x = ctypes.CDLL("libX11.so.6"); x.XOpenDisplay.restype = ctypes.c_void_p
d = ctypes.c_void_p(x.XOpenDisplay(None)); x.XkbLockGroup(d, 0x100, int(sys.argv[1])); x.XSync(d, 0)' "$1"
}

for layout in "us dvorak 0" "fr bepo 0" "fr - 0" "us,ru dvorak, 1"; do
  read -r names variant group <<<"$layout"
  setxkbmap -layout "$names" -variant "${variant#-}" -option ''
  lock_group "$group"
  printf 'pasted in %s' "$layout" | xclip -selection clipboard
  wait_for "the clipboard for $layout" clipboard_is "pasted in $layout"
  open_field "velko-${names//,/-}${variant//,/}"
  sleep 0.3  # the rate limit's period since the last stroke
  post velko.paste.now
  sleep 0.5
  xdotool type --delay 40 ' ;sig'
  sleep 1.2  # the snippet's paste and the clipboard's return
  close_field
  check_eq "paste request and expansion on $names ${variant#-} group $group" "pasted in $layout $EXPANDED" "$(field_text)"
done
# Chromium reads its shortcuts by keysym too; its address bar takes the helper's strokes as they come.
setxkbmap -layout us -variant dvorak -option ''
chromium --no-sandbox --user-data-dir="$WORK/chromium" --no-first-run --disable-gpu about:blank >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 600); do xdotool search --onlyvisible --class chromium >/dev/null && break; sleep 0.05; done
# Chromium maps and drops windows of its own while it starts: focus the one that stays.
for _ in $(seq 100); do
  window="$(xdotool search --onlyvisible --class chromium | tail -1)"
  [ -n "$window" ] && xdotool windowfocus --sync "$window" 2>/dev/null && break
  sleep 0.1
done
sleep 2  # the address bar takes keys some time after the window shows
printf 'pasted in Chromium' | xclip -selection clipboard
xdotool key ctrl+l
sleep 0.3
post velko.paste.now
sleep 1  # the paste reads the clipboard before it is overwritten below
# What the address bar holds, copied out of it; the clipboard keeps "-" when it is empty.
printf -- - | xclip -selection clipboard
xdotool key ctrl+a ctrl+c
sleep 0.3
check_eq "a paste request in Chromium's address bar on Dvorak" "pasted in Chromium" "$(clipboard)"
check "the helper is still running" helper_alive
finish
