#!/usr/bin/env bash
# Under an EWMH window manager (openbox) the helper knows the active window: into a VTE terminal
# (xfce4-terminal) and Konsole a paste request and an expansion arrive as the terminal's own paste
# key, the clipboard comes back after the expansion, and the terminal's Ctrl+Shift+V still pastes
# without firing the hotkey. A zenity field beside them still gets Ctrl+V and the hotkey.
source "$(dirname "$0")/lib.sh"
start_x_and_bus
export NO_AT_BRIDGE=1
# openbox now and then fails to open a display that has just come up: it is started again.
start_openbox() {
  openbox --sm-disable >>"$WORK/openbox.log" 2>&1 &
  OPENBOX_PID=$!
  pids+=("$OPENBOX_PID")
}
window_manager_up() {
  xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id' && return 0
  # One that gave up is a zombie until reaped, which kill -0 does not tell.
  grep -qv ') Z' "/proc/$OPENBOX_PID/stat" 2>/dev/null || start_openbox
  return 1
}
start_openbox
wait_for "the window manager" window_manager_up
sig_trigger
launch_helper
wait_for "expansion to start" grep -q 'text expansion on' "$HELPER_LOG"
check_eq "velkoctl status says where the focus comes from" "Focus: X11 active window" \
  "$("$VELKO_BIN_DIR/velkoctl" status | grep '^Focus')"

# open_terminal NAME COMMAND...: a terminal whose shell writes each line typed into it to
# $WORK/NAME.txt, activated.
open_terminal() {
  local name="$1"; shift
  : >"$WORK/$name.txt"
  "$@" sh -c "stty -echoctl; exec cat >'$WORK/$name.txt'" >"$WORK/$name.log" 2>&1 &
  TERMINAL_PID=$!
  pids+=("$TERMINAL_PID")
  wait_for "the $name window" bash -c "xdotool search --onlyvisible --pid $TERMINAL_PID >/dev/null"
  sleep 1  # the shell inside starts after the window maps
  xdotool search --onlyvisible --pid "$TERMINAL_PID" | head -1 | xargs xdotool windowactivate --sync
}
hotkeys() { count helper.hotkey.activated; }

for terminal in ${TERMINALS:-xfce4-terminal konsole}; do
  case "$terminal" in
    xfce4-terminal) open_terminal "$terminal" xfce4-terminal --disable-server -x ;;
    konsole) open_terminal "$terminal" konsole --nofork --separate -e ;;
  esac
  wait_for "the helper to see a terminal focused" grep -qi "focus is on a terminal ($terminal)" "$HELPER_LOG"
  printf 'hello' | xclip -selection clipboard
  post velko.paste.now
  sleep 0.5
  xdotool key Return
  xdotool type --delay 40 ';sig'
  wait_for "the expansion to give the clipboard back" clipboard_is hello
  sleep 0.5
  xdotool key Return
  before="$(hotkeys)"
  printf 'own paste' | xclip -selection clipboard
  xdotool key ctrl+shift+v Return
  wait_for "$terminal's lines" bash -c "[ \$(wc -l <'$WORK/$terminal.txt') -ge 3 ]"
  check_eq "$terminal got the paste, the snippet and its own paste" "hello|$EXPANDED|own paste" \
    "$(paste -sd'|' "$WORK/$terminal.txt")"
  check_eq "its own Ctrl+Shift+V fired no hotkey" "$before" "$(hotkeys)"
  kill "$TERMINAL_PID"
done

# A text field beside them: Ctrl+V, and Ctrl+Shift+V is the hotkey again.
open_field velko-field
printf 'field text' | xclip -selection clipboard
post velko.paste.now
before="$(hotkeys)"
xdotool key ctrl+shift+v
wait_for "the hotkey in the field" at_least $((before + 1)) helper.hotkey.activated
close_field
check_eq "the field got Ctrl+V's paste and nothing from the hotkey" "field text" "$(field_text)"
check "the helper is still running" helper_alive
finish
