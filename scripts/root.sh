# shellcheck shell=bash
# Read by the scripts that run something in a root of its own: a small Debian in a folder.

make_root() { # ARCHITECTURE FOLDER PACKAGE,...: fails with its reason in one line
    local codename mirror
    [ "$(id -u)" = 0 ] || { echo "only root can make a root folder" >&2; return 1; }
    command -v debootstrap >/dev/null || { echo "debootstrap is not installed" >&2; return 1; }
    unshare --mount true 2>/dev/null || { echo "mounting is not permitted here" >&2; return 1; }
    codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
    # shellcheck disable=SC2016 # apt's own variable
    mirror=$(apt-get indextargets --format '$(REPO_URI)' "Codename: $codename" "Created-By: Packages" | head -n 1)
    [ -n "$mirror" ] || { echo "apt knows no mirror of $codename" >&2; return 1; }
    remove_root "$2" && mkdir -p "$2" || return
    if ! debootstrap --arch="$1" --variant=minbase --include="$3" "$codename" "$2" "$mirror" >"$2.log" 2>&1; then
        echo "debootstrap failed, see $2.log" >&2
        return 1
    fi
    cp /etc/apt/apt.conf.d/*proxy* "$2/etc/apt/apt.conf.d/" 2>/dev/null || true
    cp /etc/resolv.conf "$2/etc/resolv.conf" 2>/dev/null || true
}

remove_root() { # FOLDER
    if grep -qF " $1/" /proc/self/mountinfo; then
        echo "something is mounted below $1" >&2
        return 1
    fi
    rm -rf --one-file-system "$1"
}

enter_root() { # ROOT FOLDER INSIDE COMMAND...: runs a command in a root, with one folder from outside visible at INSIDE
    mkdir -p "$1/proc" "$1/dev" "$1$3"
    # The mounts end with the namespace: nothing stays mounted.
    # shellcheck disable=SC2016 # expanded by the inner shell
    unshare --mount --propagation private bash -c '
        set -eu
        mount --bind /proc "$1/proc"
        mount --rbind /dev "$1/dev"
        mount --bind "$2" "$1$3"
        directory=$PWD
        [ -d "$1$directory" ] || directory=/
        exec chroot "$1" env --chdir="$directory" "${@:4}"
    ' enter_root "$@"
}
