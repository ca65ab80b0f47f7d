#!/usr/bin/env bash
# Debian 13's desktops (GNOME 48, KDE Plasma 6.3 and their portals) in a root of their own, made
# once with debootstrap and kept as a tarball where the machine keeps caches, keyed by the package
# list, then unpacked once beside it and reused. Prints the root's path; says why and fails when it
# cannot be made (no mirror, no debootstrap), so the tests that need it fail rather than skip.
# Times of each step go to stderr.
set -euo pipefail

mirror="${VELKO_DEBIAN_MIRROR:-http://deb.debian.org/debian}"
packages=(
  gnome-shell mutter xdg-desktop-portal xdg-desktop-portal-gnome xdg-desktop-portal-gtk gnome-control-center
  kwin-wayland kwin-common xdg-desktop-portal-kde plasma-workspace qt6-wayland pipewire
  qml6-module-org-kde-kirigami qml6-module-qtquick-controls qml6-module-qtquick-layouts
  qml6-module-qtquick-window qml6-module-qtquick-templates qml6-module-qtqml-workerscript
  wev at-spi2-core python3-gi gir1.2-atspi-2.0 dbus dbus-daemon xwayland x11-utils fonts-dejavu-core
)
# The tests pass the cache of the person running them, since they give themselves a HOME of their own.
cache="${VELKO_ROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velko-helper}"
key="$(printf '%s\n' "$mirror" "${packages[@]}" | sha256sum | cut -c1-12)"
tarball="$cache/trixie-root-$key.tar.zst"
root="$cache/trixie-root-$key"

say() { echo "trixie root: $*" >&2; }
die() {
  say "cannot be made: $*"
  exit 1
}
seconds() { echo $(($(date +%s) - $1)); }

[ -f "$root/.ready" ] && {
  echo "$root"
  exit 0
}
[ "$(id -u)" -eq 0 ] || die "needs root for debootstrap and chroot"
mkdir -p "$cache"
exec 9>"$cache/trixie-root.lock"
flock 9
[ -f "$root/.ready" ] && {
  echo "$root"
  exit 0
}
rm -rf "$root"
mkdir -p "$root"

if [ -f "$tarball" ]; then
  start=$(date +%s)
  tar --zstd -xf "$tarball" -C "$root" || die "the cached $tarball does not unpack"
  say "unpacked from $tarball in $(seconds "$start") s"
else
  command -v debootstrap >/dev/null || die "debootstrap is not installed (scripts/setup installs it)"
  start=$(date +%s)
  debootstrap --variant=minbase trixie "$root" "$mirror" >"$cache/debootstrap.log" 2>&1 ||
    die "debootstrap from $mirror failed: $(tail -3 "$cache/debootstrap.log" | tr '\n' ' ')"
  say "debootstrap in $(seconds "$start") s"
  start=$(date +%s)
  printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
  chmod +x "$root/usr/sbin/policy-rc.d"
  # apt inside the root needs /proc and /dev; a private mount namespace keeps them out of the host's.
  unshare -m --propagation private sh -c '
    mount -t proc proc "$1/proc" && mount --rbind /dev "$1/dev" &&
    shift && root="$1" && shift &&
    DEBIAN_FRONTEND=noninteractive chroot "$root" apt-get install -y -q --no-install-recommends "$@"' \
    sh "$root" "$root" "${packages[@]}" >"$cache/packages.log" 2>&1 ||
    die "installing the desktops failed: $(tail -3 "$cache/packages.log" | tr '\n' ' ')"
  chroot "$root" apt-get clean
  say "desktops installed in $(seconds "$start") s"
  start=$(date +%s)
  tar --zstd -cf "$tarball.part" -C "$root" . && mv "$tarball.part" "$tarball" || say "not kept as a tarball"
  say "packed in $(seconds "$start") s"
fi
touch "$root/.ready"
echo "$root"
