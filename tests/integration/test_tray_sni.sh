#!/usr/bin/env bash
# The tray item on a StatusNotifierItem host (KDE, GNOME with the AppIndicator extension), here a
# small host on the private bus that starts after the helper, as a slow panel does. The menu is
# read over com.canonical.dbusmenu with GDBus and used with dbus-send.
source "$(dirname "$0")/lib.sh"
HERE="$(dirname "$0")"
start_x_and_bus
focus_key_window
mkdir -p "$HOME/Desktop"  # where screenshots are picked up: while that works, the menu says nothing of it

helper_up
/usr/bin/python3 "$HERE/sni_host.py" >"$WORK/host.log" 2>&1 &
pids+=($!)
wait_for "the host" grep -q '^ready' "$WORK/host.log"
wait_for "the item to register once the host is there" grep -q '^item' "$WORK/host.log"
ITEM="$(awk '/^item/ {print $2; exit}' "$WORK/host.log")"
check "the helper said it waited for a tray" grep -q 'no system tray yet' "$HELPER_LOG"
check "the helper uses the StatusNotifierItem host" grep -q 'tray item shown through StatusNotifierItem' "$HELPER_LOG"

item_property() {
  dbus-send --session --print-reply --dest="$ITEM" /StatusNotifierItem org.freedesktop.DBus.Properties.Get \
    string:org.kde.StatusNotifierItem "string:$1"
}
MENU_PATH="$(item_property Menu | awk '/object path/ {gsub(/"/, "", $NF); print $NF}')"
layout() { /usr/bin/python3 "$HERE/dbusmenu_layout.py" "$ITEM" "$MENU_PATH" 2>/dev/null; }
entries() { layout | cut -f2; }
entry_id() { layout | awk -F'\t' -v t="$1" 'index($2, t) == 1 {print $1; exit}'; }
click() {
  dbus-send --session --print-reply --dest="$ITEM" "$MENU_PATH" com.canonical.dbusmenu.Event \
    "int32:$(entry_id "$1")" string:clicked variant:int32:0 uint32:0 >/dev/null
}
visible_windows() { xdotool search --onlyvisible --name '^Velko Helper$' 2>/dev/null || true; }
one_visible_window() { [ "$(visible_windows | wc -l)" -eq 1 ]; }
no_visible_window() { [ -z "$(visible_windows)" ]; }

check_eq "the item is named after the program, the same in every session" "velko-helper" \
  "$(item_property Id | awk -F'"' '/variant/ {print $2}')"
sizes="$(item_property IconPixmap | awk '/int32/ {print $2}' | paste -d x - - | sort -un | tr '\n' ' ')"
check_eq "the icon is drawn at every size a panel asks for, none scaled up later" \
  "16x16 22x22 24x24 32x32 48x48 64x64 " "$sizes"

expected_menu() {
  printf '%s\n' "$1 [disabled]" "Accessibility granted [disabled]" "---" "Preferences... <Control+,>" \
    "Permissions..." "---" "Quit Velko Helper <Control+Q>"
}
check_eq "seven entries: Velko absent, access granted" "$(expected_menu 'Velko not detected')" "$(entries)"
mkdir -p "$GROUP" && touch "$GROUP/Velko.store"
menu_shows_connected() { [ "$(entries | head -1)" = "Connected to Velko [disabled]" ]; }
wait_for "the heartbeat to rebuild the menu" menu_shows_connected
check_eq "seven entries: Velko present, access granted" "$(expected_menu 'Connected to Velko')" "$(entries)"
# The screenshot folder gone: a line says what the helper waits for, until it is back.
rmdir "$HOME/Desktop"
waiting_line() { entries | grep -qxF "Screenshots: waiting for ~/Desktop to exist again [disabled]"; }
no_screenshots_line() { ! entries | grep -q '^Screenshots'; }
wait_for "the menu to say screenshots wait for their folder" waiting_line
mkdir "$HOME/Desktop"
wait_for "the line to go once the folder is back" no_screenshots_line

# Preferences... opens the window without taking the keyboard from the user's window.
click "Preferences..."
wait_for "the preferences window" one_visible_window
WINDOW="$(visible_windows)"  # its size and looks are the render test's
check "the window floats above normal windows" bash -c "xprop -id $WINDOW _NET_WM_STATE | grep -q ABOVE"
check_eq "the user's window keeps the keyboard" "$FOCUS_WINDOW" "$(xdotool getwindowfocus)"

# Chosen again while open: the same window, not a second one.
click "Preferences..."
sleep 0.5
check_eq "choosing it again keeps one window, the same one" "$WINDOW" "$(visible_windows)"

# Closed the way a window manager closes it, then chosen again: a window is there once more.
python3 "$HERE/close_window.py" "$WINDOW"
wait_for "the window to close" no_visible_window
click "Preferences..."
wait_for "the window shown again after closing" one_visible_window

click "Quit Velko Helper"
wait_for "the helper to quit" bash -c "! kill -0 $HELPER_PID 2>/dev/null"
finish
