#!/usr/bin/env bash
# A paste request and an expansion land in a GTK field whatever layout is in use: applications
# read Ctrl+V by the letter the layout gives, not by where V sits on a US keyboard.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
sig_trigger
start_helper
wait_for "expansion to start" grep -q 'text expansion on, 1 abbreviations' "$HELPER_LOG"

# The Russian group is made the active one through the key the grp option gives it.
for layout in "us dvorak" "fr bepo" "fr" "us,ru dvorak, ru"; do
  read -r names variant group <<<"$layout"
  setxkbmap -layout "$names" -variant "${variant:-}" -option '' ${group:+-option grp:menu_toggle}
  [ -z "${group:-}" ] || xdotool key Menu
  printf 'pasted in %s' "$layout" | xclip -selection clipboard
  wait_for "the clipboard for $layout" clipboard_is "pasted in $layout"
  open_field "velko-${names//,/-}${variant//,/}"
  sleep 0.3  # the rate limit's period since the last stroke
  post velko.paste.now
  sleep 0.5
  xdotool type --delay 40 ' ;sig'
  sleep 1.2  # the snippet's paste and the clipboard's return
  close_field
  check_eq "paste request and expansion on $layout" "pasted in $layout $EXPANDED" "$(field_text)"
done
check "the helper is still running" helper_alive
finish
