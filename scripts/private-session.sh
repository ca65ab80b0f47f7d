# Sourced, never run: a private X server, session bus and home for scripts/run, scripts/demo,
# the integration tests and the benchmarks, and an environment that nothing else installed on
# the machine or set by the caller's desktop can change.
#
#   session_begin NAME   a private folder, $SESSION_DIR; at exit everything below goes with it
#   session_home         HOME and the XDG folders inside that folder
#   session_pin          locale, time zone, fonts, themes, no display or bus from the caller
#   session_x            a private Xvfb with the US keyboard layout; sets DISPLAY
#   session_bus          a private session bus that starts no services; sets DBUS_SESSION_BUS_ADDRESS
#   session_track PID... stopped by session_end;  session_stop PID...: stopped and waited for now
#   session_end          the exit trap; a script with its own trap calls it last
#   session_wait SECONDS COMMAND...   polls until COMMAND succeeds; says so and fails when time runs out
#   session_has_display / session_has_bus   whether the current DISPLAY / bus answers

SESSION_PIDS=()

session_begin() {
  SESSION_DIR="$(mktemp -d "/tmp/velko-$1.XXXXXX")"
  trap session_end EXIT
}

session_home() {
  export HOME="$SESSION_DIR/home"
  export XDG_CONFIG_HOME="$HOME/.config" XDG_DATA_HOME="$HOME/.local/share" \
    XDG_CACHE_HOME="$HOME/.cache" XDG_STATE_HOME="$HOME/.local/state"
  mkdir -p "$HOME"
}

session_pin() {
  local name
  # What a desktop session exports reaches toolkits and the helper directly: a Wayland socket,
  # Qt's platform, scale and style, input methods, a session manager to register with.
  for name in $(compgen -e); do
    case "$name" in
      DISPLAY | XAUTHORITY | WAYLAND_* | DBUS_SESSION_BUS_* | SESSION_MANAGER | XDG_SESSION_* | XDG_SEAT | \
        XDG_VTNR | XDG_CURRENT_DESKTOP | DESKTOP_SESSION | GNOME_* | KDE_* | QT_* | GTK_* | GDK_* | \
        XMODIFIERS | XKB_DEFAULT_* | LC_* | LANGUAGE) unset "$name" ;;
    esac
  done
  # Dates, times and translated folder names as C.UTF-8 gives them, which always exists.
  export LANG=C.UTF-8 TZ=UTC
  # A runtime folder of its own, so no socket of the caller's (wayland-0, bus) is found there.
  export XDG_RUNTIME_DIR="$SESSION_DIR/runtime"
  mkdir -m 700 "$XDG_RUNTIME_DIR"
  # Machine-wide Qt, GTK and KDE settings live in XDG_CONFIG_DIRS: an empty one keeps them out.
  export XDG_CONFIG_DIRS="$SESSION_DIR/xdg" XDG_DATA_DIRS=/usr/local/share:/usr/share
  mkdir -p "$XDG_CONFIG_DIRS"
  export QT_QPA_PLATFORMTHEME=generic GTK_THEME=Adwaita GTK_IM_MODULE=gtk-im-context-simple \
    GSETTINGS_BACKEND=memory NO_AT_BRIDGE=1
  # Qt takes its default font from fontconfig, which would pick whichever sans-serif font was
  # installed last. Only DejaVu Sans (fonts-dejavu-core), with the rendering Debian sets up.
  export FONTCONFIG_FILE="$SESSION_DIR/fonts.conf"
  cat >"$FONTCONFIG_FILE" <<XML
<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "urn:fontconfig:fonts.dtd">
<fontconfig>
  <dir>/usr/share/fonts/truetype/dejavu</dir>
  <cachedir>$SESSION_DIR/fontconfig</cachedir>
  <selectfont>
    <rejectfont><glob>*</glob></rejectfont>
    <acceptfont>
      <glob>/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf</glob>
      <glob>/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf</glob>
    </acceptfont>
  </selectfont>
  <match target="pattern">
    <edit name="antialias" mode="assign"><bool>true</bool></edit>
    <edit name="hinting" mode="assign"><bool>true</bool></edit>
    <edit name="hintstyle" mode="assign"><const>hintslight</const></edit>
    <edit name="lcdfilter" mode="assign"><const>lcddefault</const></edit>
  </match>
</fontconfig>
XML
}

session_x() {
  local displayfile="$SESSION_DIR/display"
  rm -f "$displayfile"
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$displayfile" >"$SESSION_DIR/xvfb.log" 2>&1 &
  SESSION_X_PID=$!
  session_track "$SESSION_X_PID"
  session_wait 10 test -s "$displayfile" || return 1
  DISPLAY=":$(cat "$displayfile")"
  export DISPLAY
  # Typed text and key positions in the tests assume this layout, whatever the machine's.
  setxkbmap -rules evdev -model pc105 -layout us -variant '' -option ''
}

session_bus() {
  # Only services in SESSION_SERVICES (empty unless a script puts one there) can be started on
  # demand: no portal, notification daemon, tray watcher or accessibility bus from the machine.
  SESSION_SERVICES="$SESSION_DIR/dbus-services"
  mkdir -p "$SESSION_SERVICES"
  cat >"$SESSION_DIR/bus.conf" <<XML
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <keep_umask/>
  <listen>unix:path=$SESSION_DIR/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>$SESSION_SERVICES</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_message_size">1000000000</limit>
  <limit name="max_connections_per_user">100000</limit>
  <limit name="max_match_rules_per_connection">50000</limit>
  <limit name="max_replies_per_connection">50000</limit>
</busconfig>
XML
  rm -f "$SESSION_DIR/bus"
  SESSION_BUS_PID="$(dbus-daemon --config-file="$SESSION_DIR/bus.conf" --fork --nopidfile --print-pid \
    2>>"$SESSION_DIR/bus.log")" || { echo "private-session: dbus-daemon did not start" >&2; return 1; }
  session_track "$SESSION_BUS_PID"
  export DBUS_SESSION_BUS_ADDRESS="unix:path=$SESSION_DIR/bus"
}

session_track() { SESSION_PIDS+=("$@"); }

session_stop() {
  local pid
  for pid in "$@"; do kill "$pid" 2>/dev/null || true; done
  for pid in "$@"; do wait "$pid" 2>/dev/null || true; done
}

session_end() {
  local i reversed=()
  # Clients first, then the bus and X server they use.
  for ((i = ${#SESSION_PIDS[@]} - 1; i >= 0; i--)); do reversed+=("${SESSION_PIDS[i]}"); done
  session_stop "${reversed[@]}"
  [ -n "${SESSION_DIR:-}" ] && rm -rf "$SESSION_DIR"
  return 0
}

session_wait() {
  local seconds="$1"
  shift
  for _ in $(seq $((seconds * 20))); do "$@" >/dev/null 2>&1 && return 0; sleep 0.05; done
  echo "private-session: still not true after $seconds s: $*" >&2
  return 1
}

session_has_display() { [ -n "${DISPLAY:-}" ] && xdpyinfo >/dev/null 2>&1; }
session_has_bus() {
  [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ] && dbus-send --session --dest=org.freedesktop.DBus \
    --type=method_call --print-reply / org.freedesktop.DBus.GetId >/dev/null 2>&1
}
