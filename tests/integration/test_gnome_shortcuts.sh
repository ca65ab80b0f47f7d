#!/usr/bin/env bash
# velkoctl gnome-shortcuts writes the helper's hotkeys into GNOME's custom shortcuts in the real
# dconf, beside a shortcut of the person's own that it leaves alone; then gnome-shell 43 with
# GNOME's media-keys daemon, which runs custom shortcuts, runs velkoctl hotkey on a real key press.
source "$(dirname "$0")/lib.sh"
source "$(dirname "$0")/desktops.sh"

export GSETTINGS_BACKEND=dconf
start_bus
cp /usr/share/dbus-1/services/ca.desrt.dconf.service "$SESSION_SERVICES/"
dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ReloadConfig >/dev/null
VELKOCTL="$VELKO_BIN_DIR/velkoctl"
MEDIA=org.gnome.settings-daemon.plugins.media-keys
ENTRY=$MEDIA.custom-keybinding
BASE=/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings
OWN="'$BASE/custom0/'"
gsettings set $MEDIA custom-keybindings "[$OWN]"
gsettings set "$ENTRY:$BASE/custom0/" name 'Terminal'
gsettings set "$ENTRY:$BASE/custom0/" command 'xterm'
gsettings set "$ENTRY:$BASE/custom0/" binding '<Super>t'

check "add" "$VELKOCTL" gnome-shortcuts add
check "add again" "$VELKOCTL" gnome-shortcuts add
ours="'$BASE/velko-open-popover/', '$BASE/velko-spotlight-launcher/', '$BASE/velko-save-snippet/'"
check_eq "the person's shortcut first, the helper's three once each" "[$OWN, $ours]" \
  "$(gsettings get $MEDIA custom-keybindings)"
check_eq "each as GNOME Settings shows it: name, command, keys" \
  "'Velko: search' '$VELKOCTL hotkey spotlight_launcher' '<Control><Shift>space'" \
  "$(for key in name command binding; do gsettings get "$ENTRY:$BASE/velko-spotlight-launcher/" $key; done | paste -sd' ')"
check_eq "list names keys and command" "save_snippet	<Control><Shift>s	$VELKOCTL hotkey save_snippet" \
  "$("$VELKOCTL" gnome-shortcuts list | grep ^save_snippet)"

# gsd-media-keys takes the keys from gnome-shell's GrabAccelerators and runs the command when the
# shell reports one pressed; the keys come through mutter's remote desktop as the person's keyboard.
start_gnome_shell_session
DBUS_SYSTEM_BUS_ADDRESS="unix:path=$WORK/system-bus" /usr/libexec/gsd-media-keys >"$WORK/media-keys.log" 2>&1 &
pids+=($!)
wait_for "GNOME's media keys" bus_has org.gnome.SettingsDaemon.MediaKeys
sleep 1
"$VELKO_SOURCE_DIR/tests/integration/mutter_keys.py" 29 42 47
wait_for "the hotkey posted by the shortcut's command" at_least 1 helper.hotkey.activated
check_eq "Ctrl+Shift+V ran velkoctl hotkey open_popover" open_popover "$(objects_line helper.hotkey.activated)"

check "remove" "$VELKOCTL" gnome-shortcuts remove
check_eq "only the person's shortcut is left" "[$OWN]" "$(gsettings get $MEDIA custom-keybindings)"
check_eq "and it is as it was" "'Terminal' 'xterm' '<Super>t'" \
  "$(for key in name command binding; do gsettings get "$ENTRY:$BASE/custom0/" $key; done | paste -sd' ')"
check_eq "the helper's entries are reset" "''" "$(gsettings get "$ENTRY:$BASE/velko-open-popover/" command)"
check_eq "list says not added" "open_popover	not added" "$("$VELKOCTL" gnome-shortcuts list | head -1)"
sleep 1
"$VELKO_SOURCE_DIR/tests/integration/mutter_keys.py" 29 42 47
sleep 1
check_eq "once removed, Ctrl+Shift+V runs nothing" 1 "$(count helper.hotkey.activated)"
finish
