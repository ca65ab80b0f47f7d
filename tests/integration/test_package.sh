#!/usr/bin/env bash
# The Debian package: built with CPack from this build, installed with dpkg into an empty root,
# its files where a desktop looks for them, and the installed helper starts, finds its icons by
# name and refuses to run twice in one session.
source "$(dirname "$0")/lib.sh"
HERE="$(dirname "$0")"
ROOT="$WORK/root"

cpack -G DEB -B "$WORK/package" --config "$VELKO_BIN_DIR/CPackConfig.cmake" >"$WORK/cpack.log" 2>&1 \
  || { cat "$WORK/cpack.log"; fail "cpack"; finish; }
DEB="$(ls "$WORK"/package/velko-helper_*.deb)"

depends="$(dpkg-deb -f "$DEB" Depends)"
for needed in qt6-qpa-plugins xdg-utils libqt6svg6 libqt6widgets6 libqt6dbus6 libplist3 libxcb-xtest0 libtesseract5; do
  check "the package depends on $needed" grep -q "\b$needed\b" <<<"$depends"
done

# What a clean machine would fetch: every dependency resolvable in this release's archive.
policy="$(apt-cache policy qt6-qpa-plugins 2>/dev/null || true)"
if [[ "$policy" == *"Candidate: "[0-9]* ]]; then
  check "apt can satisfy every dependency from the archive" \
    bash -c "apt-get install -s --no-install-recommends '$DEB' >'$WORK/apt.log' 2>&1"
else
  echo "skip: no package lists here (apt-get update), dependency resolution not checked"
fi

mkdir -p "$ROOT/var/lib/dpkg/info" "$ROOT/var/lib/dpkg/updates" "$ROOT/var/lib/dpkg/triggers"
touch "$ROOT/var/lib/dpkg/status"
force="--force-depends"  # the empty root has none of the libraries; this machine has them
[ "$(id -u)" -eq 0 ] || force="$force --force-not-root"
check "dpkg installs it into an empty root" dpkg --root="$ROOT" --log=/dev/null $force -i "$DEB" >"$WORK/dpkg.log" 2>&1
check_eq "dpkg records it as installed" "install ok installed" \
  "$(dpkg-query --admindir="$ROOT/var/lib/dpkg" -W -f='${Status}' velko-helper)"

expected="/etc/xdg/autostart/velko-helper.desktop
/usr/bin/velko-helper
/usr/bin/velkoctl
/usr/lib/systemd/user/velko-helper.service
/usr/lib/velko-helper/velko-ocr
/usr/share/applications/app.velko.Helper.desktop
/usr/share/bash-completion/completions/velkoctl
/usr/share/doc/velko-helper/copyright
/usr/share/icons/hicolor/scalable/apps/velko-helper.svg
/usr/share/icons/hicolor/scalable/status/velko-helper-symbolic.svg
/usr/share/man/man1/velko-helper.1
/usr/share/man/man1/velkoctl.1
/usr/share/velko-helper/input-access.html
/usr/share/zsh/vendor-completions/_velkoctl"
listed="$(dpkg --root="$ROOT" -L velko-helper | while read -r f; do [ -f "$ROOT$f" ] && echo "$f"; done | sort)"
check_eq "the package installs exactly the expected files" "$expected" "$listed"
check "the autostart entry is kept across upgrades" grep -qx /etc/xdg/autostart/velko-helper.desktop \
  "$ROOT/var/lib/dpkg/info/velko-helper.conffiles"
for entry in etc/xdg/autostart/velko-helper.desktop usr/share/applications/app.velko.Helper.desktop; do
  check "/$entry is a valid desktop entry" desktop-file-validate "$ROOT/$entry"
done
check_eq "the help page sits where the helper looks, beside its binary" \
  "$ROOT/usr/share/velko-helper/input-access.html" "$(realpath "$ROOT/usr/bin/../share/velko-helper/input-access.html")"
# systemd looks the command up in /usr/bin at start; here it is pointed into the root instead.
mkdir -p "$WORK/units"
sed "s|^ExecStart=velko-helper|ExecStart=$ROOT/usr/bin/velko-helper|" "$ROOT/usr/lib/systemd/user/velko-helper.service" \
  >"$WORK/units/velko-helper.service"
export MANPATH="$ROOT/usr/share/man"
check "the systemd user unit is valid and its manual page is installed" \
  systemd-analyze --user verify "$WORK/units/velko-helper.service"
for page in velko-helper velkoctl; do
  check "man finds $page(1) and formats it without a warning" \
    bash -c "man -w $page >/dev/null && [ -z \"\$(man --warnings $page 2>&1 >/dev/null)\" ]"
done
# Completion as the shells call it: the words typed so far in, the candidates out.
complete_bash() {
  bash -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _velkoctl; echo "${COMPREPLY[*]}"' _ \
    "$ROOT/usr/share/bash-completion/completions/velkoctl" "$@"
}
complete_zsh() {  # zsh's completion builtins stand in as printers
  zsh -fc 'compadd() { shift; print -r -- "$*"; }; words=("${@:2}"); CURRENT=$#words; PREFIX=$words[-1]
    source "$1"' _ "$ROOT/usr/share/zsh/vendor-completions/_velkoctl" "$@"
}
check_eq "bash completes a command's words" "set list" "$(complete_bash velkoctl snippets '')"
check_eq "bash completes its options" "--json --timeout --help" "$(complete_bash velkoctl status --)"
check_eq "bash completes a file after set" "$ROOT/usr/share/man/man1/velkoctl.1" \
  "$(complete_bash velkoctl rules set "$ROOT/usr/share/man/man1/velkoc")"
check_eq "zsh completes a command's words" "open_popover spotlight_launcher save_snippet" \
  "$(complete_zsh velkoctl hotkey '')"
check_eq "zsh completes its options" "--timeout --help" "$(complete_zsh velkoctl paste --)"

# The installed binary, run with the installed data first on the search path.
start_x_and_bus
export XDG_DATA_DIRS="$ROOT/usr/share:/usr/share"
/usr/bin/python3 "$HERE/sni_host.py" >"$WORK/host.log" 2>&1 &
pids+=($!)
wait_for "the tray host" grep -q '^ready' "$WORK/host.log"
HELPER="$ROOT/usr/bin/velko-helper"
helper_up
wait_for "its tray item" grep -q '^item' "$WORK/host.log"
check "the installed helper finds its text recogniser" grep -q 'Text recognition: Tesseract' "$HELPER_LOG"
ITEM="$(awk '/^item/ {print $2; exit}' "$WORK/host.log")"
check_eq "the tray icon is found by name in the installed icon theme" "velko-helper-symbolic" \
  "$(dbus-send --session --print-reply --dest="$ITEM" /StatusNotifierItem org.freedesktop.DBus.Properties.Get \
     string:org.kde.StatusNotifierItem string:IconName | awk -F'"' '/variant/ {print $2}')"

"$HELPER" >"$WORK/second.log" 2>&1
check_eq "a second start in the same session ends at once, successfully" 0 "$?"
check "and says why" grep -q 'already running' "$WORK/second.log"
check "the first one keeps running" helper_alive
check_eq "still one pong: the second never joined the link" 1 "$(count velko.helper.pong)"
finish
