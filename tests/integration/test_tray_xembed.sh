#!/usr/bin/env bash
# The tray item in an XEmbed tray (trayer), which starts after the helper as a slow panel does:
# the icon is embedded, drawn at the slot's size, and its menu opens the preferences window.
source "$(dirname "$0")/lib.sh"
start_x
start_bus
start_helper
wait_for "the helper" at_least 1 velko.helper.pong
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

# The icon's own window bears the name too; the preferences window is told apart by its size.
preferences_open() {
  local w
  for w in $(xdotool search --onlyvisible --name '^Velko Helper$' 2>/dev/null); do
    xwininfo -id "$w" | grep -q 'Width: 380' && return 0
  done
  return 1
}
no_preferences() { ! preferences_open; }
# The menu is an override-redirect popup, like the icon's own window.
menu_open() {
  local w
  for w in $(xdotool search --onlyvisible --class velko-helper 2>/dev/null); do
    [ "$w" -eq "$((ICON))" ] && continue
    xwininfo -id "$w" | grep -q 'Override Redirect State: yes' && return 0
  done
  return 1
}

check "no preferences window before it is chosen" no_preferences
# A left click opens the menu; the first entry that can be chosen is Preferences...
xdotool mousemove --window "$ICON" 10 10 click 1
wait_for "the menu" menu_open
sleep 0.3
xdotool key Down Return
wait_for "the preferences window" preferences_open
check "choosing Preferences... in the tray menu opens the window" preferences_open
check "the helper keeps running" helper_alive
finish
