#!/usr/bin/env bash
# On Debian 13's KDE Plasma 6.3 (KWin 6.3 headless, xdg-desktop-portal 1.20 with its KDE backend),
# started in a root of its own: keyboard access is granted once through KDE's dialog, which names
# the helper by its installed desktop file; 30 paste requests reach a native Wayland window in
# order with nothing left down; the three hotkeys are bound at the first start and each fired by a
# real key press, and the helper's own paste-match fires none of them. Without the root (no Debian mirror) the test fails, saying so.
export VELKO_ROOT_CACHE="${VELKO_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velko-helper}"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"
source "$(dirname "$0")/trixie_desktops.sh"

enter_trixie
start_plasma6
start_trixie_wev
XDG_SESSION_TYPE=wayland helper_up
check "a person grants keyboard access in KDE's dialog" answer_dialog 20 Share >"$WORK/dialog.log" 2>&1
check "the dialog names the helper" grep -q 'Velko Helper requested access' "$WORK/dialog.log"
wait_for "the portal's keyboard" grep -q 'Input: desktop portal now' "$HELPER_LOG"
wait_for "the hotkeys bound" grep -q 'Hotkeys: desktop portal now' "$HELPER_LOG"
check "no hotkeys were claimed before they were bound" grep -q 'Hotkeys: off (.*until the desktop portal binds' "$HELPER_LOG"
# No request beforehand: the first one after start must arrive too.
FIRST_V=0
check_pastes 10 Mod1
check_eq "the helper's own strokes fire none of its hotkeys" 0 "$(count helper.hotkey.activated)"

# Each shortcut pressed on a keyboard of another program's, which KDE asks the person about too.
press() {
  answer_dialog 20 Share >>"$WORK/dialog-keys.log" 2>&1 &
  /usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/portal_keys.py" "$@" >>"$WORK/keys.log" 2>&1 ||
    { fail "keys $* were not pressed"; cat "$WORK/keys.log" "$WORK/dialog-keys.log"; }
  wait $!
}
press 29 42 47 # Ctrl+Shift+V
press 29 42 57 # Ctrl+Shift+Space
press 29 42 31 # Ctrl+Shift+S
wait_for "three pressed hotkeys" at_least 3 helper.hotkey.activated
check_eq "each key press fires its hotkey once" "open_popover spotlight_launcher save_snippet" \
  "$(objects_line helper.hotkey.activated)"
finish
