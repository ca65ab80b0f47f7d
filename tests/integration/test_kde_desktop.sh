#!/usr/bin/env bash
# On KDE Plasma's own compositor and portals (KWin 5.27 headless with Xwayland, xdg-desktop-portal
# with its KDE backend), the helper pastes into a native Wayland window through the RemoteDesktop
# portal: every request arrives as V under exactly its modifiers, in order, and no key stays down,
# also when the helper is stopped in the middle of a stroke, which leaves KDE's shortcuts working.
# The three hotkeys are KWin's global shortcuts under the helper's name, fired by kglobalaccel and by
# real key presses, never by the helper's own paste-match (Ctrl+Shift+V), which reaches the window. When the portal's KDE backend
# restarts, the next request gets the degraded notice and the helper takes the portal up again.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
start_kwin_session
start_wev
XDG_SESSION_TYPE=wayland helper_up
wait_for "the portal's keyboard" grep -q 'Input: desktop portal now' "$HELPER_LOG"
# The keyboard became usable only after launch: it counts as access at launch all the same.
wait_for "the keyboard services" grep -q 'input access at launch: starting hotkeys and text expansion' "$HELPER_LOG"
wait_for "the hotkeys bound" grep -q 'Hotkeys: desktop portal now' "$HELPER_LOG"
check "KWin lists no windows to other clients: the focus is unknown, and the log says why" \
  grep -q 'Focus: unknown (.*the compositor offers no zwlr_foreign_toplevel_manager_v1)' "$HELPER_LOG"
FIRST_V=0 # the first request after start counts
check_pastes 10 Mod1
check_eq "no degraded notice while the portal serves" 0 "$(count velko.helper.degraded)"
check_eq "the helper's own strokes fire none of its hotkeys" 0 "$(count helper.hotkey.activated)"

component=/component/velko_helper
check_eq "the three shortcuts are in kglobalaccel under the helper's name" \
  "open_popover save_snippet spotlight_launcher" \
  "$(dbus-send --session --print-reply --dest=org.kde.kglobalaccel $component \
      org.kde.kglobalaccel.Component.shortcutNames | sed -n 's/.*string "\(.*\)"/\1/p' | sort | paste -sd' ')"
for id in open_popover spotlight_launcher save_snippet; do
  dbus-send --session --print-reply --dest=org.kde.kglobalaccel $component \
    org.kde.kglobalaccel.Component.invokeShortcut "string:$id" >/dev/null
done
wait_for "three activations" at_least 3 helper.hotkey.activated
# Ctrl+Shift+S pressed on a keyboard of another program's, as KWin sees a person's.
/usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/portal_keys.py" 29 42 31
wait_for "the pressed hotkey" at_least 4 helper.hotkey.activated
check_eq "each activation is posted with its identifier" \
  "open_popover spotlight_launcher save_snippet save_snippet" "$(objects_line helper.hotkey.activated)"

kill "$PORTAL_KDE_PID"
wait_for "the helper to notice" grep -q 'Input: off now' "$HELPER_LOG"
post velko.paste.now
wait_for "the degraded notice" at_least 1 velko.helper.degraded
start_portal_kde
wait_for "the portal taken up again" bash -c "grep 'Input:' '$HELPER_LOG' | tail -1 | grep -q 'desktop portal now'"
first_paste  # the count of V events so far
check_pastes 1 Mod1

dbus-monitor --session "type='signal',member='globalShortcutPressed'" >"$WORK/shortcuts.log" 2>&1 &
pids+=($!)
wait_for "the shortcut monitor" grep -q NameAcquired "$WORK/shortcuts.log"
post velko.paste.match
kill "$HELPER_PID"  # most likely with some of the stroke's keys down and KDE's shortcuts held back
wait "$HELPER_PID" 2>/dev/null || true
sleep 0.5
check_eq "nothing is left down after the helper stopped mid-stroke" 00000000 "$(depressed_now)"
/usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/portal_keys.py" 56 15  # Alt+Tab, one of KWin's
wait_for "KDE's shortcuts to answer again" grep -q 'member=globalShortcutPressed' "$WORK/shortcuts.log"
finish
