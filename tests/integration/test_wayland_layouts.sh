#!/usr/bin/env bash
# On KWin, strokes through the RemoteDesktop portal are kernel key codes that KWin reads with the
# layout in use: a paste request goes out on the key that types `v` in that layout, also after the
# person switches layouts while the helper runs (Dvorak, Bépo, AZERTY; with Russian, on the key
# that types `v` in a Latin layout of the keymap, where toolkits look for a shortcut's letter).
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

start_bus
mkdir -p "$XDG_CONFIG_HOME"
printf '[Layout]\nLayoutList=us,fr,fr,ru\nVariantList=dvorak,bepo,,\nUse=true\n' >"$XDG_CONFIG_HOME/kxkbrc"
start_kwin_session
start_wev
XDG_SESSION_TYPE=wayland helper_up
wait_for "the portal's keyboard" grep -q 'Input: desktop portal now' "$HELPER_LOG"
# The first request gives the seat its keyboard; its keys may reach no one.
post velko.paste.now
wait_for "wev's keyboard" grep -q 'wl_keyboard\] enter' "$WORK/wev.log"
sleep 0.3

# ctrl_syms SKIP: the symbol of each key pressed under Control after the first SKIP such presses.
ctrl_syms() {
  awk -v skip="$1" '/depressed:/ {ctrl = /Control/}
       /wl_keyboard\] key: .*state: 1/ {match($0, /serial: [0-9]+/); serial = substr($0, RSTART, RLENGTH); getline;
                                         if (ctrl && $2 !~ /^(Control|Shift|Alt|Meta)/ && !seen[serial]++ && ++n > skip) print $2}' \
    "$WORK/wev.log"
}
pressed_since() { [ "$(ctrl_syms "$1" | wc -l)" -ge 1 ]; }
switch_layout() {
  dbus-send --session --print-reply --dest=org.kde.keyboard /Layouts org.kde.KeyboardLayouts.setLayout "uint32:$1" >/dev/null
  wait_for "layout $1 in use" bash -c "dbus-send --session --print-reply --dest=org.kde.keyboard /Layouts \
    org.kde.KeyboardLayouts.getLayout | grep -q 'uint32 $1'"
}

for layout in "0 v dvorak" "1 v bépo" "2 v azerty" "3 Cyrillic_yu russian" "0 v dvorak-again"; do
  read -r index sym name <<<"$layout"
  switch_layout "$index"
  sleep 0.3  # the switch reaches the helper over the bus
  before="$(ctrl_syms 0 | wc -l)"
  post velko.paste.now
  wait_for "the paste on $name" pressed_since "$before"
  check_eq "a paste request on $name is Ctrl and $sym" "$sym" "$(ctrl_syms "$before" | head -1)"
done
check_eq "no key is left down" 00000000 "$(depressed_now)"
check "the helper is still running" helper_alive
finish
