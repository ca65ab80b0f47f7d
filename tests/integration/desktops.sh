# Debian's own desktops, headless, on the test's private bus (start_bus first): KWin with Xwayland,
# xdg-desktop-portal-kde and xdg-desktop-portal (start_kwin_session); mutter with Xwayland, and on
# request xdg-desktop-portal-gnome and xdg-desktop-portal (start_mutter_session). Each exports
# WAYLAND_DISPLAY, DISPLAY (its Xwayland) and XDG_CURRENT_DESKTOP; their processes are stopped
# with the test's. Sourced after lib.sh.

# bus_has NAME: whether NAME has an owner on the session bus.
bus_has() {
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
    "string:$1" 2>/dev/null | grep -q 'boolean true'
}

# The portal frontend, started by the bus on its first call as in a desktop session. It picks its
# backends from the .portal files it finds: only this desktop's, or it borrows another installed
# desktop's.
start_portal_frontend() {
  local dir="$WORK/portals"
  mkdir -p "$dir"
  for name in "$@"; do cp "/usr/share/xdg-desktop-portal/portals/$name.portal" "$dir/"; done
  cat >"$SESSION_SERVICES/org.freedesktop.portal.Desktop.service" <<EOF
[D-BUS Service]
Name=org.freedesktop.portal.Desktop
Exec=/bin/sh -c 'XDG_DESKTOP_PORTAL_DIR=$dir XDG_CURRENT_DESKTOP=$XDG_CURRENT_DESKTOP exec /usr/libexec/xdg-desktop-portal >>$WORK/portal.log 2>&1'
EOF
  dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ReloadConfig >/dev/null
}

# wait_for_x: Xwayland answers on $DISPLAY (the first client may be what starts it).
wait_for_x() { wait_for "Xwayland on $DISPLAY" bash -c 'xdpyinfo >/dev/null 2>&1'; }

# kwin_wayland carries a file capability that this container refuses to exec (EPERM): a plain copy runs.
start_kwin_session() {
  export XDG_CURRENT_DESKTOP=KDE
  cp /usr/bin/kwin_wayland "$WORK/kwin_wayland"
  # KWin hands its privileged interfaces (fake input, screencast) only to programs whose desktop
  # file says so, and finds desktop files through the machine's menu in /etc/xdg/menus.
  XDG_CONFIG_DIRS=/etc/xdg "$WORK/kwin_wayland" --virtual --socket velko-kwin --xwayland --no-lockscreen --width 1280 --height 800 \
    >"$WORK/kwin.log" 2>&1 &
  KWIN_PID=$!
  pids+=("$KWIN_PID")
  wait_for "KWin's socket" test -S "$XDG_RUNTIME_DIR/velko-kwin" || { cat "$WORK/kwin.log"; return 1; }
  export WAYLAND_DISPLAY=velko-kwin
  local xwayland=""
  wait_for "KWin's Xwayland" bash -c "pgrep -P $KWIN_PID -x Xwayland >/dev/null" || { cat "$WORK/kwin.log"; return 1; }
  xwayland="$(pgrep -P "$KWIN_PID" -x Xwayland)"
  export DISPLAY="$(tr '\0' '\n' <"/proc/$xwayland/cmdline" | sed -n 2p)"
  wait_for_x
  wait_for "kglobalaccel in KWin" bus_has org.kde.kglobalaccel
  start_portal_kde
  start_portal_frontend kde
}

# start_portal_kde: KDE's portal backend, whose pid is $PORTAL_KDE_PID.
start_portal_kde() {
  XDG_CONFIG_DIRS=/etc/xdg QT_QPA_PLATFORM=wayland /usr/lib/x86_64-linux-gnu/libexec/xdg-desktop-portal-kde \
    >>"$WORK/portal-kde.log" 2>&1 &
  PORTAL_KDE_PID=$!
  pids+=("$PORTAL_KDE_PID")
  wait_for "KDE's portal backend" bus_has org.freedesktop.impl.portal.desktop.kde
}

# start_gnome_shell_session: gnome-shell headless (mutter inside) with Xwayland, on a second private
# bus that stands in for the system bus (without one it dies looking for logind), its overview
# hidden, since windows opened under it get no focus.
start_gnome_shell_session() {
  export XDG_CURRENT_DESKTOP=GNOME
  sed "s#<type>session</type>#<type>system</type>#; s#unix:path=$WORK/bus#unix:path=$WORK/system-bus#" \
    "$WORK/bus.conf" >"$WORK/system-bus.conf"
  local system
  system="$(dbus-daemon --config-file="$WORK/system-bus.conf" --fork --nopidfile --print-pid)"
  pids+=("$system")
  DBUS_SYSTEM_BUS_ADDRESS="unix:path=$WORK/system-bus" gnome-shell --headless --wayland \
    --wayland-display=velko-shell --virtual-monitor 1280x800 >>"$WORK/mutter.log" 2>&1 &
  MUTTER_PID=$!
  pids+=("$MUTTER_PID")
  wait_for "gnome-shell" bus_has org.gnome.Shell || { cat "$WORK/mutter.log"; return 1; }
  wait_for "gnome-shell's start" grep -q 'GNOME Shell started' "$WORK/mutter.log"
  dbus-send --session --print-reply --dest=org.gnome.Shell /org/gnome/Shell org.freedesktop.DBus.Properties.Set \
    string:org.gnome.Shell string:OverviewActive variant:boolean:false >/dev/null
  export WAYLAND_DISPLAY=velko-shell
  mutter_display
}

# start_mutter_session [portal|no-x11]: with "portal", also GNOME's portal backend and the frontend;
# with "no-x11", no Xwayland and DISPLAY unset (the helper then outlives the compositor).
start_mutter_session() {
  export XDG_CURRENT_DESKTOP=GNOME
  local x11=()
  [ "${1:-}" = no-x11 ] && x11=(--no-x11)
  mutter --headless --wayland --wayland-display=velko-mutter --virtual-monitor 1280x800 "${x11[@]}" \
    >>"$WORK/mutter.log" 2>&1 &
  MUTTER_PID=$!
  pids+=("$MUTTER_PID")
  wait_for "mutter's remote desktop" bus_has org.gnome.Mutter.RemoteDesktop || { cat "$WORK/mutter.log"; return 1; }
  export WAYLAND_DISPLAY=velko-mutter
  if [ "${1:-}" = no-x11 ]; then unset DISPLAY; return 0; fi
  mutter_display
  [ "${1:-}" = portal ] || return 0
  GDK_BACKEND=wayland /usr/libexec/xdg-desktop-portal-gnome >"$WORK/portal-gnome.log" 2>&1 &
  pids+=($!)
  wait_for "GNOME's portal backend" bus_has org.freedesktop.impl.portal.desktop.gnome
  start_portal_frontend gnome gtk
}

# mutter_display: DISPLAY and XAUTHORITY of mutter's Xwayland, once it answers.
mutter_display() {
  wait_for "mutter's X display" grep -q 'Using public X11 display' "$WORK/mutter.log"
  export DISPLAY="$(sed -n 's/.*Using public X11 display \(:[0-9]*\),.*/\1/p' "$WORK/mutter.log" | tail -1)"
  local auth=("$XDG_RUNTIME_DIR"/.mutter-Xwaylandauth.*)
  export XAUTHORITY="${auth[-1]}"
  wait_for_x
}

# start_wev: a native Wayland window that logs every key and modifier it gets to $WORK/wev.log,
# focused and with the seat's keyboard entered.
start_wev() {
  stdbuf -oL wev >"$WORK/wev.log" 2>&1 &
  pids+=($!)
  wait_for "wev's window to be focused" grep -q activated "$WORK/wev.log"
}

# v_strokes [SKIP]: each press and release of the V key after the first SKIP, with the modifiers
# depressed then, one per line ("press Control v"). wev takes a new wl_keyboard each time the seat
# gains one and logs an event once per object: the serial tells them apart.
v_strokes() {
  awk -v skip="${1:-0}" '/depressed:/ {mods = ""; for (i = 3; i <= NF; i++) mods = mods " " $i}
       /wl_keyboard\] key: .*key: 55;/ {kind = /state: 1/ ? "press" : "release";
                                        match($0, /serial: [0-9]+/); serial = substr($0, RSTART, RLENGTH); getline;
                                        if (!seen[serial]++ && ++n > skip) print kind mods, $2}' "$WORK/wev.log"
}
# v_count: V events so far, each once.
v_count() { v_strokes | wc -l; }
# depressed_now: the modifiers wev saw depressed last (00000000 when none).
depressed_now() { grep 'depressed:' "$WORK/wev.log" | tail -1 | awk '{print $2}'; }

# first_paste: a paste request that gives the seat its keyboard where it had none (its keys may reach
# no one), a second one that must reach wev, then the count of V events so far, to skip ($FIRST_V).
first_paste() {
  post velko.paste.now
  wait_for "wev's keyboard" grep -q 'wl_keyboard\] enter' "$WORK/wev.log"
  sleep 0.3
  post velko.paste.now
  wait_for "a V press at wev" bash -c "grep -q 'key: 55; state: 1' '$WORK/wev.log'"
  sleep 0.3
  FIRST_V="$(v_count)"
}

# check_pastes ROUNDS MODS-OF-ALT: ROUNDS times paste, paste-plain and paste-match, one per rate
# limit period; each must reach wev as V under exactly its modifiers (Alt as the desktop's keymap
# names it), and nothing may be left down.
check_pastes() {
  local rounds="$1" alt="$2" expected="" i seen="$FIRST_V"
  for i in $(seq "$rounds"); do
    # Each request once the last one's V is in: on a loaded machine two posts can reach the
    # helper closer than its rate limit, which drops the second, as it should.
    for request in velko.paste.now velko.paste.plain velko.paste.match; do
      post "$request"
      seen=$((seen + 2))
      wait_for "the V of $request" bash -c "source '$VELKO_SOURCE_DIR/tests/integration/desktops.sh'; WORK='$WORK'; [ \$(v_count) -ge $seen ]"
      sleep 0.21
    done
    expected+="press Control v;release Control v;press Shift Control $alt V;release Shift Control $alt V;"
    expected+="press Shift Control V;release Shift Control V;"
  done
  wait_for "$((rounds * 3)) strokes" bash -c "source '$VELKO_SOURCE_DIR/tests/integration/desktops.sh'; WORK='$WORK'; [ \$(v_count) -ge $((FIRST_V + rounds * 6)) ]"
  sleep 0.3
  check_eq "$((rounds * 3)) requests: V under exactly Ctrl, Ctrl+Alt+Shift, Ctrl+Shift, in order" \
    "$expected" "$(v_strokes "$FIRST_V" | tr '\n' ';')"
  check_eq "no key is left down" 00000000 "$(depressed_now)"
}
