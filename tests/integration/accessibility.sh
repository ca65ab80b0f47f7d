# Sourced after lib.sh: the accessibility bus (at-spi2-core) as a desktop session starts it, and
# zenity's GTK password field on it.

# start_accessibility_bus: org.a11y.Bus started on demand on the private session bus, and toolkits
# that report to it.
start_accessibility_bus() {
  cp /usr/share/dbus-1/services/org.a11y.Bus.service "$SESSION_SERVICES/"
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ReloadConfig >/dev/null
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
