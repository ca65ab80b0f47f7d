#!/usr/bin/env bash
# The tray item in an XEmbed tray (trayer), which starts after the helper as a slow panel does:
# the icon is embedded, drawn at the slot's size, and a click opens its menu.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
helper_up
wait_for "the helper to notice there is no tray" grep -q 'no system tray yet' "$HELPER_LOG"

trayer --edge top --align right --widthtype pixel --width 120 --height 24 >"$WORK/trayer.log" 2>&1 &
pids+=($!)
icon_window() {
  xwininfo -root -tree | awk '/\("panel" "trayer"\)/ {inside = 1; next}
    inside && /"Velko Helper": \("velko-helper"/ {print $1; exit}'
}
embedded() { [ -n "$(icon_window)" ]; }
wait_for "the icon to be embedded in the tray" embedded
ICON="$(icon_window)"
check "the helper uses the XEmbed tray" grep -q 'tray item shown through XEmbed' "$HELPER_LOG"

sleep 0.5  # let the first paint reach the server
size="$(xwininfo -id "$ICON" | awk '/Width:/ {w=$2} /Height:/ {h=$2} END {print w "x" h}')"
import -window "$ICON" "$WORK/icon.png"
ink="$(/usr/bin/convert "$WORK/icon.png" -colorspace gray -threshold 50% -format '%[fx:round((1-mean)*w*h)]' info:)"
check "the icon is drawn in its ${size} slot ($ink dark pixels)" test "$ink" -ge 30

# A left click opens the menu, an override-redirect popup like the icon's own window. Its entries and
# what they do are the StatusNotifierItem test's: both trays show the same menu.
menu_open() {
  local w
  for w in $(xdotool search --onlyvisible --class velko-helper 2>/dev/null); do
    [ "$w" -eq "$((ICON))" ] && continue
    xwininfo -id "$w" | grep -q 'Override Redirect State: yes' && return 0
  done
  return 1
}
xdotool mousemove --window "$ICON" 10 10 click 1
wait_for "the menu to open on a click" menu_open
check "the helper keeps running" helper_alive
finish
