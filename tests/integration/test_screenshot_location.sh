#!/usr/bin/env bash
# The screenshot folder comes from GNOME's setting (read with the real gsettings, here from a
# private keyfile backend), falls back to ~/Desktop, and without any folder the helper runs on.
source "$(dirname "$0")/lib.sh"
export GSETTINGS_SCHEMA_DIR="$WORK/schemas" GSETTINGS_BACKEND=keyfile
mkdir -p "$GSETTINGS_SCHEMA_DIR"
cat >"$GSETTINGS_SCHEMA_DIR/org.gnome.gnome-screenshot.gschema.xml" <<'XML'
<schemalist>
  <schema id="org.gnome.gnome-screenshot" path="/org/gnome/gnome-screenshot/">
    <key name="auto-save-directory" type="s"><default>''</default></key>
  </schema>
</schemalist>
XML
glib-compile-schemas "$GSETTINGS_SCHEMA_DIR"
start_bus
unset DISPLAY WAYLAND_DISPLAY

run_helper() {  # run_helper: a fresh helper, once its launch is done and its folder found
  : >"$HELPER_LOG"
  start_helper
  wait_for "the launch summary" grep -q 'auto-paste rules' "$HELPER_LOG"
  wait_for "the screenshot folder" grep -qE 'for screenshots|no screenshot directory|screenshots are not' "$HELPER_LOG"
}
stop_helper() { kill "$HELPER_PID"; wait "$HELPER_PID" 2>/dev/null || true; }

# No setting, no XDG folder, no Desktop: nothing is watched, and the link still works.
run_helper
check "without a folder it says so" grep -q 'no screenshot directory' "$HELPER_LOG"
pongs="$(count velko.helper.pong)"
post velko.helper.ping
wait_for "a pong" at_least $((pongs + 1)) velko.helper.pong
stop_helper

# A pictures folder without its Screenshots folder: the helper makes the one GNOME Shell would
# make with the first screenshot, so that the first one is caught too.
mkdir -p "$HOME/Pictures" "$XDG_CONFIG_HOME"
echo 'XDG_PICTURES_DIR="$HOME/Pictures"' >"$XDG_CONFIG_HOME/user-dirs.dirs"
run_helper
check "the Screenshots folder is made and watched" \
  grep -qF "watching $HOME/Pictures/Screenshots for screenshots" "$HELPER_LOG"
head -c 1000 /dev/urandom >"$HOME/Pictures/Screenshots/Screenshot first.mov"
wait_for "the first capture" grep -q 'staged "Screenshot first.mov"' "$HELPER_LOG"
stop_helper
rm "$XDG_CONFIG_HOME/user-dirs.dirs"

# Without a pictures folder nothing is made.
rm -rf "$HOME/Pictures"
echo 'XDG_PICTURES_DIR="$HOME/Pictures"' >"$XDG_CONFIG_HOME/user-dirs.dirs"
run_helper
check "no pictures folder is made" test ! -e "$HOME/Pictures"
stop_helper
rm "$XDG_CONFIG_HOME/user-dirs.dirs"

# The setting's file URI, with an escaped blank, names the folder.
mkdir -p "$HOME/My Shots" "$HOME/Desktop" "$HOME/Shots"
gsettings set org.gnome.gnome-screenshot auto-save-directory "file://$HOME/My%20Shots"
run_helper
check "the setting's folder is watched" grep -qF "watching $HOME/My Shots for screenshots" "$HELPER_LOG"
head -c 1000 /dev/urandom >"$WORK/clip.mov"
cp "$WORK/clip.mov" "$HOME/My Shots/Screen Shot 1.mov"
wait_for "the capture in that folder" grep -q 'staged "Screen Shot 1.mov"' "$HELPER_LOG"
stop_helper

# A "~" is not expanded: the Desktop is used even though ~/Shots exists.
gsettings set org.gnome.gnome-screenshot auto-save-directory "~/Shots"
run_helper
check "a tilde path falls back to the Desktop" grep -qF "watching $HOME/Desktop for screenshots" "$HELPER_LOG"
stop_helper
finish
