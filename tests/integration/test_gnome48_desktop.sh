#!/usr/bin/env bash
# On Debian 13's GNOME 48 (gnome-shell 48 headless, xdg-desktop-portal 1.20 with its GNOME backend),
# started in a root of its own. At the first start the person cancels GNOME's "Add Keyboard
# Shortcuts" dialog: no hotkeys are claimed, and 30 paste requests, the first after start included,
# reach a native Wayland window in order with nothing left down. At the next start the person adds
# them: each fires once on a real key press, and the helper's own paste-match fires none. Without the
# root (no Debian mirror) the test fails, saying so.
export VELKO_ROOT_CACHE="${VELKO_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velko-helper}"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"
source "$(dirname "$0")/trixie_desktops.sh"

dialog_answered() { answer_dialog 20 "$1" >"$WORK/dialog.log" 2>&1; }
# shortcuts_dialog ANSWER: the person's click in GNOME's dialog, which must name the three shortcuts.
shortcuts_dialog() {
  check "GNOME's shortcuts dialog is answered with $1" dialog_answered "$1"
  check "the dialog lists the helper's shortcuts" grep -q \
    'Open the Velko clipboard history.*Save the selection as a Velko snippet.*Search Velko' "$WORK/dialog.log"
}

enter_trixie
start_gnome48
start_trixie_wev
XDG_SESSION_TYPE=wayland helper_up
# mutter's own remote desktop answers without a dialog in GNOME 48 too.
wait_for "mutter's keyboard" grep -q 'Input: GNOME remote desktop now' "$HELPER_LOG"
shortcuts_dialog Cancel
wait_for "the hotkeys declined" grep -q 'Hotkeys: off now' "$HELPER_LOG"
check "no hotkeys were claimed before they were bound" grep -q 'Hotkeys: off (.*until the desktop portal binds' "$HELPER_LOG"
wait_for "wev's window to get the focus back" bash -c "[ \$(grep -c activated '$WORK/wev.log') -ge 2 ]"
# No request beforehand: the first one after start must arrive too.
FIRST_V=0
check_pastes 10 "Mod1 Meta"

stop_helper
XDG_SESSION_TYPE=wayland helper_up
shortcuts_dialog Add
wait_for "the hotkeys bound" grep -q 'Hotkeys: desktop portal now' "$HELPER_LOG"
check "the keys GNOME bound are the ones asked for" grep -q 'open_popover Press <Shift><Control>v, save_snippet Press <Shift><Control>s, spotlight_launcher Press <Shift><Control>space' "$HELPER_LOG"
# Each shortcut pressed on another keyboard of mutter's, as the person's own.
for key in 47 57 31; do # V, Space, S, each with Ctrl+Shift
  /usr/bin/python3 "$VELKO_SOURCE_DIR/tests/integration/mutter_keys.py" 29 42 "$key" >>"$WORK/keys.log" 2>&1 ||
    fail "Ctrl+Shift+$key was not pressed: $(cat "$WORK/keys.log")"
done
wait_for "three pressed hotkeys" at_least 3 helper.hotkey.activated
post velko.paste.match
sleep 1.5
check_eq "each key press fires its hotkey once, the helper's own paste-match none" \
  "open_popover spotlight_launcher save_snippet" "$(objects_line helper.hotkey.activated)"
finish
