#!/usr/bin/env bash
# On Debian 13's GNOME 48, steered to the desktop portal's keyboard (VELKO_STROKES=portal, what a
# person gets where mutter's own interface is not offered): the portal asks GNOME for the keyboard
# under the helper's registered application id, GNOME shows its "Allow Remote Interaction" dialog,
# and until the person answers, the helper claims no input: a paste request types nothing, and the
# helper keeps answering.
# Headless, GNOME 48's dialog takes the switch over the accessibility bus but not its Share button
# (nor Return on mutter's own keyboard): the portal's Start never returns, so strokes through it are
# not tried here.
export VELKO_ROOT_CACHE="${VELKO_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velko-helper}"
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"
source "$(dirname "$0")/trixie_desktops.sh"

enter_trixie
start_gnome48
start_trixie_wev
dbus-monitor --session "interface='org.freedesktop.impl.portal.RemoteDesktop'" >"$WORK/portal-calls.log" 2>&1 &
pids+=($!)
wait_for "the portal monitor" grep -q NameAcquired "$WORK/portal-calls.log"
VELKO_STROKES=portal XDG_SESSION_TYPE=wayland helper_up
dialog_shown() { answer_dialog 20 "Allow Remote Interaction" >"$WORK/dialog.log" 2>&1; }
check "GNOME's dialog asks for remote interaction" dialog_shown
check_eq "GNOME is asked on behalf of the helper's application id" 'string "app.velko.Helper"' \
  "$(grep -A3 'member=Start$' "$WORK/portal-calls.log" | grep -o 'string "app[^"]*"')"
check "no input is claimed before the person answers" grep -q 'Input: off (VELKO_STROKES=portal; asking the desktop portal' "$HELPER_LOG"
post velko.paste.now
ping_answered
check_eq "the paste request typed nothing" 0 "$(v_count)"
check "the keyboard is not taken for granted" bash -c "! grep -q 'Input: desktop portal now' '$HELPER_LOG'"
finish
