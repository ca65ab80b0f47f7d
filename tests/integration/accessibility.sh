# Sourced after lib.sh: the accessibility bus (at-spi2-core) as a desktop session starts it, and
# zenity's GTK password field on it.

# start_accessibility_bus: org.a11y.Bus started on demand on the private session bus, its registry
# running as in a desktop session, and toolkits that report to it. Started on demand by the bus,
# the registry often exited at once here, and GTK applications then reported nothing.
start_accessibility_bus() {
  cp /usr/share/dbus-1/services/org.a11y.Bus.service "$SESSION_SERVICES/"
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ReloadConfig >/dev/null
  A11Y_ADDRESS="$(dbus-send --session --print-reply=literal --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress |
    tr -d ' ')"
  DBUS_STARTER_ADDRESS="$A11Y_ADDRESS" /usr/libexec/at-spi2-registryd >"$WORK/registry.log" 2>&1 &
  pids+=($!)
  wait_for "the accessibility registry" dbus-send --bus="$A11Y_ADDRESS" --print-reply --dest=org.a11y.atspi.Registry \
    /org/a11y/atspi/registry org.a11y.atspi.Registry.GetRegisteredEvents
  unset NO_AT_BRIDGE
}
# stop_accessibility_bus: its launcher, found by its name on this session's bus, quits (its bus with it).
stop_accessibility_bus() {
  local pid
  pid="$(dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus / \
    org.freedesktop.DBus.GetConnectionUnixProcessID string:org.a11y.Bus | awk '{print $2}')"
  kill "$pid"
}
# open_password NAME: a zenity password field that has the keyboard focus; $PASSWORD_PID.
open_password() {
  zenity --password --title "$1" >"$WORK/$1.out" 2>/dev/null &
  PASSWORD_PID=$!
  pids+=("$PASSWORD_PID")
  wait_for "the $1 field" bash -c "xdotool search --onlyvisible --name '$1' >/dev/null"
  xdotool search --onlyvisible --name "$1" windowfocus --sync
}

# watch_focus: velko-test-focus-watch on the accessibility bus, writing $WORK/focus.log.
watch_focus() {
  "$VELKO_BIN_DIR/velko-test-focus-watch" >"$WORK/focus.log" 2>&1 &
  pids+=($!)
  wait_for "the accessibility bus" grep -q '^bus: reached' "$WORK/focus.log"
}
last_focus() { grep '^focus:' "$WORK/focus.log" | tail -1; }
focus_is() { [ "$(last_focus)" == "focus: $1" ]; }
# focus_window TITLE FOCUS: the window gets the keyboard focus until the bus reports FOCUS. An
# application that has just started may not yet send its events: the focus goes to the root
# window and back until it does.
focus_window() {
  local title="$1" expected="$2"
  refocus() {
    xdotool search --onlyvisible --name "$title" windowfocus --sync
    session_wait 1 focus_is "$expected" >/dev/null 2>&1 && return 0
    xdotool windowfocus "$(xwininfo -root | awk '/Window id/ {print $4}')"
    return 1
  }
  wait_for "$title's focus to be reported as $expected" refocus
}
