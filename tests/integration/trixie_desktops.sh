# Debian 13's desktops, started inside the root trixie_root.sh makes, driven by the helper built on
# the host: the test's folder (runtime folder, bus socket, HOME) is bind-mounted at the same path
# inside the root, and the session bus runs there too, so that it starts the root's portals.
# Sourced after lib.sh and desktops.sh, instead of start_bus.

TRIXIE_SCRIPTS="$(dirname "${BASH_SOURCE[0]}")"

# enter_trixie: $TRIXIE, the root, made or reused, with how long that took; without it the test
# fails, saying why.
enter_trixie() {
  local start=$SECONDS
  if ! TRIXIE="$("$TRIXIE_SCRIPTS/trixie_root.sh")"; then
    fail "Debian 13's root could not be made, so its desktops were not tried"
    finish
  fi
  echo "time: Debian 13's root ready in $((SECONDS - start)) s"
  mkdir -p "$TRIXIE$WORK"
  cp "$TRIXIE_SCRIPTS/answer_dialog.py" "$WORK/"
  # The helper's desktop file, as installed, so that the portal finds the application id. The portal
  # takes it only if the program it names is there: a copy of the host's binary, in the shared folder.
  mkdir -p "$XDG_DATA_HOME/applications" "$WORK/bin"
  cp "$HELPER" "$WORK/bin/velko-helper"
  sed "s#^\(Try\)\?Exec=velko-helper#\1Exec=$WORK/bin/velko-helper#" "$VELKO_SOURCE_DIR/packaging/velko-helper.desktop" \
    >"$XDG_DATA_HOME/applications/app.velko.Helper.desktop"
  # The test's folder, /proc and /dev in the root, in a mount namespace held by a process of the test;
  # /run empty, as no systemd runs (what the packages left there makes gnome-shell wait for logind).
  unshare -m --propagation private sh -c 'r="$1" w="$2"
    mount --bind "$w" "$r$w" && mount -t proc proc "$r/proc" && mount --rbind /dev "$r/dev" &&
    mount -t tmpfs run "$r/run" && exec sleep infinity' \
    trixie "$TRIXIE" "$WORK" &
  TRIXIE_NS=$!
  pids+=("$TRIXIE_NS")
  trap 'stop_trixie; cleanup' EXIT
  wait_for "the root's mounts" nsenter -t "$TRIXIE_NS" -m -- test -d "$TRIXIE/proc/self"
}

# in_root COMMAND...: COMMAND inside the root, in the mount namespace that enter_trixie made. One
# namespace for all: KWin tells its privileged clients by the path of their executable, which a
# namespace apart would show otherwise.
in_root() { nsenter -t "$TRIXIE_NS" -m -- chroot "$TRIXIE" "$@"; }
# root_start LOG COMMAND...: in_root in the background, its output to LOG; $ROOT_PID is COMMAND's.
root_start() {
  local log="$1"
  shift
  nsenter -t "$TRIXIE_NS" -m -- chroot "$TRIXIE" "$@" >>"$log" 2>&1 &
  ROOT_PID=$!
  pids+=("$ROOT_PID")
}

# stop_trixie: every process in the test's namespace, the ones the bus started too, then the test's.
stop_trixie() {
  local ns p mine=()
  ns="$(readlink "/proc/$TRIXIE_NS/ns/mnt" 2>/dev/null)" || return 0
  for p in /proc/[0-9]*; do
    [ "${p#/proc/}" != "$TRIXIE_NS" ] && [ "$(readlink "$p/ns/mnt" 2>/dev/null)" = "$ns" ] && mine+=("${p#/proc/}")
  done
  session_stop "${mine[@]}"
  rmdir "$TRIXIE$WORK" 2>/dev/null || true
}

# start_trixie_bus [NAME=VALUE...]: the session bus, run by the root's dbus-daemon so that it
# activates the root's services (portals, the accessibility bus) with the environment exported so
# far and these variables besides.
start_trixie_bus() {
  unset NO_AT_BRIDGE
  export XDG_CONFIG_DIRS=/etc/xdg
  SESSION_SERVICES="$WORK/dbus-services"
  mkdir -p "$SESSION_SERVICES"
  cat >"$WORK/trixie-bus.conf" <<XML
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$WORK/bus</listen>
  <auth>EXTERNAL</auth>
  <standard_session_servicedirs/>
  <servicedir>$SESSION_SERVICES</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
XML
  root_start "$WORK/bus.log" env "$@" dbus-daemon --config-file="$WORK/trixie-bus.conf" --nofork --nopidfile
  BUS_PID=$ROOT_PID
  export DBUS_SESSION_BUS_ADDRESS="unix:path=$WORK/bus"
  wait_for "the root's session bus" test -S "$WORK/bus"
  dbus-monitor --session "type='signal',interface='app.velko.Notifications'" >"$MONITOR_LOG" 2>&1 &
  pids+=($!)
  wait_for "bus monitor" grep -q NameAcquired "$MONITOR_LOG"
}

# start_plasma6: KWin 6.3 headless (kglobalaccel inside) after pipewire, its portal started by the bus.
start_plasma6() {
  local start=$SECONDS
  export XDG_CURRENT_DESKTOP=KDE XDG_MENU_PREFIX=plasma- QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1
  start_trixie_bus WAYLAND_DISPLAY=velko-kwin QT_QPA_PLATFORM=wayland
  root_start "$WORK/pipewire.log" pipewire
  # The file capability that kwin_wayland carries is refused here; a plain copy runs.
  cp "$TRIXIE/usr/bin/kwin_wayland" "$WORK/kwin_wayland"
  root_start "$WORK/kwin.log" env QT_QPA_PLATFORM=wayland "$WORK/kwin_wayland" --virtual --socket velko-kwin \
    --no-lockscreen --width 1280 --height 800
  KWIN_PID=$ROOT_PID
  wait_for "KWin's socket" test -S "$XDG_RUNTIME_DIR/velko-kwin" || { cat "$WORK/kwin.log"; return 1; }
  export WAYLAND_DISPLAY=velko-kwin
  wait_for "kglobalaccel in KWin" bus_has org.kde.kglobalaccel
  echo "time: Plasma 6.3 ready in $((SECONDS - start)) s"
}

# start_trixie_wev: wev from the root, as start_wev.
start_trixie_wev() {
  root_start "$WORK/wev.log" stdbuf -oL wev
  wait_for "wev's window to be focused" grep -q activated "$WORK/wev.log"
}

# answer_dialog SECONDS CONTROL...: a person's clicks on the desktop's dialog, from inside the root.
answer_dialog() { in_root /usr/bin/python3 "$WORK/answer_dialog.py" "$@"; }

# start_gnome48: gnome-shell 48 headless without X11 (without systemd its Xwayland never answers)
# on a stand-in system bus, its overview hidden so that new windows get the focus; its portal is
# started by the bus. Without XDG_SESSION_TYPE GNOME's portal backend offers its settings only (no
# GlobalShortcuts, no dialogs).
start_gnome48() {
  local start=$SECONDS
  export XDG_CURRENT_DESKTOP=GNOME DBUS_SYSTEM_BUS_ADDRESS="unix:path=$WORK/system-bus"
  start_trixie_bus WAYLAND_DISPLAY=velko-shell GDK_BACKEND=wayland XDG_SESSION_TYPE=wayland
  sed "s#<type>session</type>#<type>system</type>#; s#unix:path=$WORK/bus#unix:path=$WORK/system-bus#" \
    "$WORK/trixie-bus.conf" | grep -v standard_session_servicedirs >"$WORK/system-bus.conf"
  root_start "$WORK/system-bus.log" dbus-daemon --config-file="$WORK/system-bus.conf" --nofork --nopidfile
  wait_for "the stand-in system bus" test -S "$WORK/system-bus"
  root_start "$WORK/shell.log" gnome-shell --headless --no-x11 --wayland --wayland-display=velko-shell \
    --virtual-monitor 1280x800
  wait_for "gnome-shell's start" grep -q 'GNOME Shell started' "$WORK/shell.log" || { cat "$WORK/shell.log"; return 1; }
  dbus-send --session --print-reply --dest=org.gnome.Shell /org/gnome/Shell org.freedesktop.DBus.Properties.Set \
    string:org.gnome.Shell string:OverviewActive variant:boolean:false >/dev/null
  export WAYLAND_DISPLAY=velko-shell
  echo "time: GNOME 48 ready in $((SECONDS - start)) s"
}
