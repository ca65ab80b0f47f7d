#!/usr/bin/env bash
# On Debian 13's GNOME 48, steered to the desktop portal's keyboard (VELKO_STROKES=portal, what a
# person gets where mutter's own interface is not offered): the portal asks GNOME for the keyboard
# under the helper's registered application id, and nothing is claimed until the person allows
# remote interaction in GNOME's dialog; then 30 paste requests, the first after start included,
# reach a native Wayland window in order with nothing left down. At the next start the restore
# token brings the keyboard back with no dialog.
export VELKO_ROOT_CACHE="${VELKO_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velko-helper}"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"
source "$(dirname "$0")/trixie_desktops.sh"

answered() { answer_dialog 20 "$@" >>"$WORK/dialog.log" 2>&1; }
# portal_keyboard_up: the helper started on the portal's keyboard, GNOME's shortcuts dialog
# declined, and wev focused again.
portal_keyboard_up() {
  local focused
  focused="$(grep -c activated "$WORK/wev.log")"
  VELKO_STROKES=portal XDG_SESSION_TYPE=wayland helper_up
  "$@"
  wait_for "the portal's keyboard" bash -c "[ \$(grep -c 'Input: desktop portal now' '$HELPER_LOG') -ge $((++STARTS)) ]"
  check "GNOME's shortcuts dialog is declined" answered Cancel
  wait_for "wev's window to get the focus back" bash -c "[ \$(grep -c activated '$WORK/wev.log') -gt $focused ]"
}
grant() {
  check "no input is claimed before the person answers" grep -q 'Input: off (VELKO_STROKES=portal; asking the desktop portal' "$HELPER_LOG"
  check "a person allows remote interaction in GNOME's dialog" answered "Allow Remote Interaction" Share
}

enter_trixie
start_gnome48
start_trixie_wev
dbus-monitor --session "interface='org.freedesktop.impl.portal.RemoteDesktop',member='Start'" >"$WORK/starts.log" 2>&1 &
pids+=($!)
wait_for "the portal monitor" grep -q NameAcquired "$WORK/starts.log"
STARTS=0
portal_keyboard_up grant
check_eq "GNOME is asked on behalf of the helper's application id" 'string "app.velko.Helper"' \
  "$(grep -A3 'member=Start$' "$WORK/starts.log" | grep -o 'string "app[^"]*"')"
# No request beforehand: the first one after start must arrive too.
FIRST_V=0
check_pastes 10 "Mod1 Meta"

stop_helper
: >"$WORK/dialog.log"
portal_keyboard_up
check "no remote desktop dialog at the next start" bash -c "! grep -q 'Allow Remote Interaction' '$WORK/dialog.log'"
FIRST_V="$(v_count)"
check_pastes 1 "Mod1 Meta"
finish
