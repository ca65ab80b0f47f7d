# Running velkoctl in the integration tests: what it printed, its status, and its error paths.
CTL="$VELKO_BIN_DIR/velkoctl"
CTL_ENV=()  # e.g. (env -u DBUS_SESSION_BUS_ADDRESS) for one call

# ctl ARGS...: runs velkoctl; output in $WORK/ctl.out and $WORK/ctl.err, status in $ctl_status.
ctl() {
  ctl_status=0
  "${CTL_ENV[@]}" "$CTL" "$@" <"${CTL_INPUT:-/dev/null}" >"$WORK/ctl.out" 2>"$WORK/ctl.err" || ctl_status=$?
}

# refuses DESCRIPTION STATUS PATTERN ARGS...: velkoctl exits with STATUS, prints nothing on
# stdout and exactly one line on stderr: "velkoctl: " and something matching PATTERN (ERE).
refuses() {
  local what="$1" status="$2" pattern="$3"
  shift 3
  ctl "$@"
  if [ "$ctl_status" == "$status" ] && [ "$(wc -l <"$WORK/ctl.err")" == 1 ] && [ ! -s "$WORK/ctl.out" ] &&
    grep -qE "^velkoctl: .*$pattern" "$WORK/ctl.err"; then
    pass "$what"
  else
    fail "$what: status $ctl_status (want $status), stderr [$(cat "$WORK/ctl.err")], stdout [$(cat "$WORK/ctl.out")]"
  fi
}

# succeeds DESCRIPTION ARGS...: velkoctl exits with 0 and says nothing on stderr.
succeeds() {
  local what="$1"
  shift
  ctl "$@"
  if [ "$ctl_status" == 0 ] && [ ! -s "$WORK/ctl.err" ]; then
    pass "$what"
  else
    fail "$what: status $ctl_status, stderr [$(cat "$WORK/ctl.err")]"
  fi
}
out() { cat "$WORK/ctl.out"; }
