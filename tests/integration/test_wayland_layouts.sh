#!/usr/bin/env bash
# On KWin, strokes through the RemoteDesktop portal are kernel key codes that KWin reads with the
# layout in use: a paste request goes out on the key that types `v` in that layout, also after the
# person switches layouts while the helper runs (Dvorak, Bépo, AZERTY; with Russian, on the key
# that types `v` in a Latin layout of the keymap, where toolkits look for a shortcut's letter), and
# after the person changes the list of layouts.
# Under sway the virtual keyboard carries a keymap of its own, which the compositor hands to the
# focused window with the keyboard's first key: paste requests and an expansion land in GTK fields,
# native and on Xwayland, whatever the layout and after another keyboard typed with its own keymap.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"
source "$(dirname "$0")/sway_session.sh"

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
# A new list of layouts, as Plasma's settings write it and tell KWin; AZERTY comes first.
printf '[Layout]\nLayoutList=fr,us\nVariantList=,dvorak\nUse=true\n' >"$XDG_CONFIG_HOME/kxkbrc"
dbus-send --session --type=signal /Layouts org.kde.keyboard.reloadConfig
wait_for "KWin's new list" bash -c "dbus-send --session --print-reply --dest=org.kde.keyboard /Layouts \
  org.kde.KeyboardLayouts.getLayoutsList | grep -A2 struct | sed -n 2p | grep -q '\"fr\"'"
switch_layout 0
sleep 0.3
before="$(ctrl_syms 0 | wc -l)"
post velko.paste.now
wait_for "the paste on the new list" pressed_since "$before"
check_eq "a paste request after the list of layouts changed is Ctrl and v" v "$(ctrl_syms "$before" | head -1)"
check_eq "no key is left down" 00000000 "$(depressed_now)"
check "the helper is still running" helper_alive
stop_helper
kill "$PORTAL_KDE_PID" "$KWIN_PID" 2>/dev/null || true
unset XDG_CURRENT_DESKTOP

sig_trigger
start_sway_session
XDG_SESSION_TYPE=wayland helper_up
# The expansion engine on its own virtual keyboard, standing in for the typed-keys tap.
mkfifo "$WORK/typed"
"$VELKO_BIN_DIR/velko-test-wayland-expansion" <"$WORK/typed" >>"$HELPER_LOG" 2>&1 &
pids+=($!)
exec {TYPED}>"$WORK/typed"
wait_for "expansion to start" grep -q 'text expansion on, 1 abbreviations' "$HELPER_LOG"
focus_field() { swaymsg "[title=\"^$FIELD\$\"] focus" >/dev/null 2>&1; }
wayland_clipboard_is() { [ "$(wl-paste -n 2>/dev/null)" == "$1" ]; }
for layout in "us dvorak 0" "fr bepo 0" "fr - 0" "us,ru - 1"; do
  read -r names variant group <<<"$layout"
  # A comma parts sway's commands: the lists are quoted.
  swaymsg "input type:keyboard xkb_layout \"$names\"" >/dev/null
  swaymsg "input type:keyboard xkb_variant \"${variant#-}\"" >/dev/null
  swaymsg "input type:keyboard xkb_switch_layout $group" >/dev/null
  for gdk in wayland x11; do
    printf 'pasted in %s' "$layout" | wl-copy
    FIELD="velko-$gdk-${names//,/-}"
    GDK_BACKEND=$gdk NO_AT_BRIDGE=1 zenity --entry --title "$FIELD" >"$WORK/$FIELD.out" 2>/dev/null &
    FIELD_PID=$!
    pids+=("$FIELD_PID")
    wait_for "the $FIELD field" focus_field
    sleep 0.5  # the entry takes keys once GTK has mapped it
    wtype x    # another keyboard, with a keymap of its own, types first
    sleep 0.3
    post velko.paste.now
    sleep 1  # Xwayland's windows take the keymap of each keyboard in turn before its keys
    echo ' ;sig' >&"$TYPED"
    wait_for "the snippet's paste on $FIELD" wayland_clipboard_is "$EXPANDED"
    wait_for "the clipboard back on $FIELD" wayland_clipboard_is "pasted in $layout"
    echo Return >&"$TYPED"
    wait "$FIELD_PID" 2>/dev/null || true
    check_eq "paste request and expansion in a $gdk field on $names ${variant#-} group $group" \
      "xpasted in $layout $EXPANDED" "$(cat "$WORK/$FIELD.out")"
  done
done
check "the helper is still running" helper_alive
finish
