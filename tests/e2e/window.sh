#!/usr/bin/env bash
# The real window, end to end: starts the program on a virtual X server,
# opens the first simulated camera through the window's own menu with the
# keyboard, and checks in screenshots that the live image is shown with the
# yellow rings of the camera's factory hot pixels.
#
# window.sh PROGRAM
# Runs itself under xvfb-run when it has no X server of its own. Needs
# xvfb-run, xdotool and ImageMagick (import, convert, compare).
set -euo pipefail

program="$1"

if [ -z "${SPECKMEND_E2E_DISPLAY:-}" ]; then
    for tool in xvfb-run xdotool import convert compare; do
        command -v "$tool" >/dev/null || { echo "FAIL: $tool is missing (scripts/setup installs it)" >&2; exit 1; }
    done
    export SPECKMEND_E2E_DISPLAY=1
    exec xvfb-run -a -s "-screen 0 1280x1024x24" "$0" "$@"
fi

work="$(mktemp -d)"
pid=""
cleanup() {
    local status=$?
    if [ -n "$pid" ] && kill "$pid" 2>/dev/null; then
        wait "$pid" 2>/dev/null || true
    fi
    rm -rf "$work"
    exit "$status"
}
trap cleanup EXIT

fail() {
    echo "FAIL: $*" >&2
    if [ -s "$work/program.log" ]; then
        echo "--- the program's output:" >&2
        cat "$work/program.log" >&2
    fi
    exit 1
}

# Waits until the command succeeds, trying every fifth of a second for at
# most the given seconds.
poll() {
    local seconds="$1" what="$2"
    shift 2
    local deadline=$((SECONDS + seconds))
    until "$@"; do
        kill -0 "$pid" 2>/dev/null || fail "the program ended while waiting for $what"
        [ "$SECONDS" -lt "$deadline" ] || fail "no $what within $seconds s"
        sleep 0.2
    done
}

# Private folders: the cameras' memory and shared state, the window's layout.
mkdir -p "$work/state" "$work/runtime" "$work/config" "$work/xdg-runtime" "$work/here"
chmod 700 "$work/xdg-runtime"
export TAVO_SIM_STATE_DIR="$work/state" TAVO_SIM_RUNTIME_DIR="$work/runtime"
export XDG_CONFIG_HOME="$work/config" XDG_RUNTIME_DIR="$work/xdg-runtime"
unset TAVO_SIM_CONFIG TAVO_SIM_FAULTS QT_SCALE_FACTOR
export QT_QPA_PLATFORM=xcb

# Started away from its own folder: the per-sensor settings come from the
# program's data folder.
cd "$work/here"
"$program" >"$work/program.log" 2>&1 &
pid=$!

window=""
find_window() {
    window="$(xdotool search --onlyvisible --pid "$pid" --name '^Tavo Speckmend$' 2>/dev/null | head -n 1)"
    [ -n "$window" ]
}
poll 60 "main window" find_window
eval "$(xdotool getwindowgeometry --shell "$window")" # X, Y, WIDTH, HEIGHT

shot() { import -window root "$work/$1.png"; }
# The middle of the image area, right of the docks.
image_area() {
    convert "$work/$1.png" -crop "$((WIDTH / 2))x$((HEIGHT * 3 / 4))+$((X + WIDTH * 45 / 100))+$((Y + HEIGHT / 6))" \
        +repage "$work/$1-area.png"
}
# Pixels close to the rings' yellow in the image area.
yellow() {
    convert "$work/$1-area.png" -fuzz 30% -fill black +opaque '#ffff00' -fill white -opaque '#ffff00' \
        -format '%[fx:round(mean*w*h)]' info:
}
windows() { { xdotool search --onlyvisible --pid "$pid" '' 2>/dev/null || true; } | wc -l; }

shot before
image_area before
before="$(yellow before)"
alone="$(windows)"

# File menu, then "Open camera": the first camera is selected at start.
menu_open() { [ "$(windows)" -gt "$alone" ]; }
xdotool windowfocus --sync "$window"
xdotool key --clearmodifiers alt+f
poll 20 "file menu" menu_open
xdotool key --clearmodifiers o

# The rings on the image, and no message box over it.
rings=0
image_shown() {
    shot live
    image_area live
    rings="$(yellow live)"
    [ "$rings" -ge $((before + 40)) ] && [ "$(windows)" -eq "$alone" ]
}
poll 60 "image with its rings and no message (yellow pixels before: $before)" image_shown
colours="$(convert "$work/live-area.png" -format '%k' info:)"
[ "$colours" -ge 32 ] || fail "the image area shows $colours colours, not a camera image"

# Live: the picture moves on.
moved() {
    shot later
    image_area later
    [ "$(compare -metric AE "$work/live-area.png" "$work/later-area.png" null: 2>&1 || true)" != 0 ]
}
poll 30 "new frame" moved

echo "PASS: the live image with $colours colours and $((rings - before)) yellow ring pixels"
