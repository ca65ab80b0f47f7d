# A headless sway session with Xwayland, for tests and benchmarks. Source it, then call
# start_sway_session: it exports WAYLAND_DISPLAY (an absolute socket path) and DISPLAY (Xwayland)
# and stops the compositor when the shell exits (or at stop_sway_session).
#
# sway refuses to run as root, so under root it runs as the system user $SWAY_USER (created when
# missing). Root's clients reach it all the same: the Wayland socket is a path root can open
# whatever its directory's mode, and Xwayland, which only admits its own user, is told to admit
# root too (xhost).

SWAY_USER="${SWAY_USER:-velkosway}"

# as_sway_user COMMAND...: runs a client as the compositor's user, in its session.
as_sway_user() {
  if [ "$(id -u)" -eq 0 ]; then
    runuser -u "$SWAY_USER" -- env XDG_RUNTIME_DIR="$SWAY_DIR/runtime" WAYLAND_DISPLAY="$WAYLAND_DISPLAY" \
      DISPLAY="${DISPLAY:-}" HOME="$SWAY_DIR" "$@"
  else
    env XDG_RUNTIME_DIR="$SWAY_DIR/runtime" "$@"
  fi
}

# start_sway_session [CONFIG-LINE...]: waits up to 10 s for the compositor and up to 10 s more for
# Xwayland; on failure it prints sway's log and returns 1. With SWAY_XWAYLAND=disable there is no
# Xwayland and DISPLAY is unset: a purely Wayland session.
start_sway_session() {
  local as=()
  if [ "$(id -u)" -eq 0 ]; then
    id "$SWAY_USER" >/dev/null 2>&1 ||
      useradd --system --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$SWAY_USER"
    as=(runuser -u "$SWAY_USER" --)
  fi
  SWAY_DIR="$(mktemp -d /tmp/velko-sway.XXXXXX)"
  mkdir -m 0700 "$SWAY_DIR/runtime"
  # The session writes where it runs: the compositor says where it listens once it is up.
  cat >"$SWAY_DIR/config" <<EOF
xwayland ${SWAY_XWAYLAND:-enable}
exec printf '%s %s\n' "\$WAYLAND_DISPLAY" "\$DISPLAY" >"$SWAY_DIR/sockets.tmp" && mv "$SWAY_DIR/sockets.tmp" "$SWAY_DIR/sockets"
EOF
  printf '%s\n' "$@" >>"$SWAY_DIR/config"
  [ ${#as[@]} -eq 0 ] || chown -R "$SWAY_USER:" "$SWAY_DIR"
  # Xwayland would create the X socket directory with its user's mode 0755, shutting others out.
  [ -d /tmp/.X11-unix ] || { mkdir -p /tmp/.X11-unix && chmod 1777 /tmp/.X11-unix; }

  "${as[@]}" env -i PATH="$PATH" HOME="$SWAY_DIR" LANG=C.UTF-8 XDG_RUNTIME_DIR="$SWAY_DIR/runtime" \
    WLR_BACKENDS=headless WLR_HEADLESS_OUTPUTS=1 WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
    sway -c "$SWAY_DIR/config" >"$SWAY_DIR/sway.log" 2>&1 &
  SWAY_PID=$!
  # Ahead of the caller's own exit trap, which may remove what the session still uses.
  eval "set -- $(trap -p EXIT)"
  # shellcheck disable=SC2064
  trap "stop_sway_session; ${3:-}" EXIT

  local _
  for _ in $(seq 200); do [ -s "$SWAY_DIR/sockets" ] && break; sleep 0.05; done
  if [ ! -s "$SWAY_DIR/sockets" ]; then
    echo "sway did not start:"; cat "$SWAY_DIR/sway.log"; return 1
  fi
  local wayland x
  read -r wayland x <"$SWAY_DIR/sockets"
  export WAYLAND_DISPLAY="$SWAY_DIR/runtime/$wayland" DISPLAY="$x"
  local ipc=("$SWAY_DIR"/runtime/sway-ipc.*.sock)
  export SWAYSOCK="${ipc[0]}"  # for swaymsg
  if [ "${SWAY_XWAYLAND:-enable}" = disable ]; then unset DISPLAY; return 0; fi
  # The first X client starts Xwayland; xhost both waits for it and lets root in.
  for _ in $(seq 100); do
    as_sway_user xhost "+si:localuser:$(id -un)" >/dev/null 2>&1 && return 0
    sleep 0.1
  done
  echo "Xwayland did not start:"; cat "$SWAY_DIR/sway.log"; return 1
}

# Stops the compositor (Xwayland goes with it) and removes its files; safe to call twice.
stop_sway_session() {
  [ -n "${SWAY_PID:-}" ] || return 0
  kill "$SWAY_PID" 2>/dev/null || true
  wait "$SWAY_PID" 2>/dev/null || true
  SWAY_PID=
  rm -rf "$SWAY_DIR"
}
