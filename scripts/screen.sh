# shellcheck shell=bash
# Read after steps.sh by the scripts whose programs show windows.

open_screen() { # FOLDER: a screen that nobody sees, with a window manager, for Wine and xdotool; it ends with the script
    need xvfb openbox xdotool imagemagick
    trap 'jobs -p | xargs -r kill 2>/dev/null || true' EXIT
    mkdir -p "$1"
    : >"$1/display"
    Xvfb -displayfd 3 -screen 0 1024x768x24 3>"$1/display" >"$1/screen.log" 2>&1 &
    wait_for "$1/display" . # Xvfb writes its number when it is ready
    DISPLAY=:$(cat "$1/display")
    export DISPLAY SCANKELV_DISPLAY=$DISPLAY
    openbox >>"$1/screen.log" 2>&1 &
}

retry() { # COMMAND...: until it succeeds, for half a minute
    local end=$((SECONDS + 30))
    until "$@" 2>/dev/null; do ((SECONDS < end)) && sleep 0.1 || return; done
}
window() { retry xdotool search --onlyvisible --name "^$1$" | tail -n 1; } # CAPTION: its number
wait_for() { retry grep -qE -e "$2" "$1"; }                                # FILE PATTERN: a line of the file
