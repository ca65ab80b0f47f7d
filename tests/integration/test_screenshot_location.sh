#!/usr/bin/env bash
# The screenshot folder comes from GNOME's setting (read with the real gsettings, here from a
# private keyfile backend) or the XDG pictures folder, and without any folder the helper runs on.
# (What the setting may hold is the unit tests'; the velkoctl link test uses the Desktop fallback.)
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

run_helper() {  # run_helper: a fresh helper, once its launch is done and its folder found
  launch_helper
  wait_for "the screenshot folder" grep -qE 'for screenshots|no screenshot directory|screenshots are not' "$HELPER_LOG"
}

# No setting, no XDG folder, no Desktop: nothing is watched, and the link still works.
run_helper
check "without a folder it says so" grep -q 'no screenshot directory' "$HELPER_LOG"
ping_answered
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
mkdir -p "$HOME/My Shots"
gsettings set org.gnome.gnome-screenshot auto-save-directory "file://$HOME/My%20Shots"
run_helper
check "the setting's folder is watched" grep -qF "watching $HOME/My Shots for screenshots" "$HELPER_LOG"
head -c 1000 /dev/urandom >"$WORK/clip.mov"
cp "$WORK/clip.mov" "$HOME/My Shots/Screen Shot 1.mov"
wait_for "the capture in that folder" grep -q 'staged "Screen Shot 1.mov"' "$HELPER_LOG"
stop_helper

# On KDE, Plasma 5.27's Spectacle saves to ~/Pictures: that folder is watched, not GNOME's.
mkdir -p "$HOME/Pictures/Screenshots"
printf '[General]\ndefaultSaveLocation=file://%s/Pictures/\n' "$HOME" >"$XDG_CONFIG_HOME/spectaclerc"
XDG_CURRENT_DESKTOP=KDE run_helper
check "the log names Spectacle's setting" grep -qF "Screenshot folder: Spectacle's setting (" "$HELPER_LOG"
check "Spectacle's folder is watched" grep -qF "watching $HOME/Pictures for screenshots" "$HELPER_LOG"
cp "$WORK/clip.mov" "$HOME/Pictures/Screenshot_20261126_101500.mov"
wait_for "the capture Spectacle saved" grep -q 'staged "Screenshot_20261126_101500.mov"' "$HELPER_LOG"
stop_helper
finish
