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

window() { # CAPTION: waits for the window and prints its number
    timeout 30 xdotool search --sync --onlyvisible --name "^$1$" | tail -n 1
}

wait_for() { # FILE PATTERN: waits for a line
    # shellcheck disable=SC2016 # expanded by the inner shell
    timeout 30 bash -c 'until grep -qsE -e "$2" "$1"; do sleep 0.1; done' bash "$@"
}
