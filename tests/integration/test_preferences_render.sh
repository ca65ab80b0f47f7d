#!/usr/bin/env bash
# The real preferences window, captured from the X server in both access states, matches the
# committed reference images; its buttons reach their actions. After an intended change of
# look, rerun with VELKO_UPDATE_REFERENCES=1 and look at the new images before committing them.
source "$(dirname "$0")/lib.sh"
SHOW="$VELKO_BIN_DIR/tests/integration/show_preferences_window"
REFERENCES="$VELKO_SOURCE_DIR/tests/reference"
# Antialiasing may differ by a shade between runs; a changed word or frame is hundreds of pixels.
FUZZ="8%"
MAX_PIXELS=60
start_x
start_bus  # else libdbus autolaunches a session bus that outlives the test
# The references were drawn with DejaVu Sans, the only font the pinned fontconfig offers.
check_eq "Qt's default sans-serif font is DejaVu Sans" "DejaVu Sans" "$(fc-match -f '%{family[0]}' 'Sans Serif')"

show() {  # show STATE: starts the window, sets WINDOW and SHOW_LOG
  SHOW_LOG="$WORK/show-$1.log"
  "$SHOW" "$1" >"$SHOW_LOG" 2>&1 &
  SHOW_PID=$!
  pids+=("$SHOW_PID")
  wait_for "the $1 window" grep -q '^shown' "$SHOW_LOG"
  WINDOW="$(awk '/^shown/ {print $2}' "$SHOW_LOG")"
}

matches_reference() {  # matches_reference NAME: captures WINDOW and compares it with NAME's reference
  local shot="$WORK/preferences-$1.png" reference="$REFERENCES/preferences-$1.png" differing
  import -window "$WINDOW" "$shot"
  if [ -n "${VELKO_UPDATE_REFERENCES:-}" ]; then
    cp "$shot" "$reference"
    echo "updated $reference"
  fi
  differing="$(compare -metric AE -fuzz "$FUZZ" "$reference" "$shot" "$WORK/diff-$1.png" 2>&1 || true)"
  if [[ "$differing" =~ ^[0-9]+$ ]] && [ "$differing" -le "$MAX_PIXELS" ]; then
    pass "the $1 window matches its reference ($differing pixels differ)"
  else
    fail "the $1 window differs from its reference: $differing"
    mkdir -p "$VELKO_BIN_DIR/render-failures"
    cp "$shot" "$WORK/diff-$1.png" "$VELKO_BIN_DIR/render-failures/" 2>/dev/null || true
  fi
}

for state in granted not-granted; do
  show "$state"
  matches_reference "$state"
  check_eq "the $state window is 380 x 460" "380x460" "$(identify -format '%wx%h' "$WORK/preferences-$state.png")"

  props="$(xprop -id "$WINDOW")"
  check "the $state window floats above normal windows" grep -q '_NET_WM_STATE_ABOVE' <<<"$props"
  check "the $state window asks not to be activated when shown" grep -q '_NET_WM_USER_TIME(CARDINAL) = 0' <<<"$props"
  check "the $state window cannot be resized" grep -q 'maximum size: 380 by 460' <<<"$props"

  if [ "$state" = not-granted ]; then
    # Grant Access... lies at (228, 34) in the card at (16, 134); Website starts the button row.
    xdotool mousemove --window "$WINDOW" 298 179 click 1
    wait_for "the Grant Access action" grep -q '^openAccessibility' "$SHOW_LOG"
    xdotool mousemove --window "$WINDOW" 40 406 click 1
    wait_for "the Website action" grep -q '^openWebsite' "$SHOW_LOG"
    check_eq "the buttons ran their actions once each" "openAccessibility openWebsite" \
      "$(grep -E '^open' "$SHOW_LOG" | tr '\n' ' ' | sed 's/ $//')"
    # Scrolled to the end: the backends, each note under its capability.
    xdotool mousemove --window "$WINDOW" 190 300 click --repeat 10 --delay 30 5
    sleep 0.5
    matches_reference backends
  fi
  kill "$SHOW_PID"
done
finish
