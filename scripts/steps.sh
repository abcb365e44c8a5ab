# shellcheck shell=bash
# Read by ./demo, ./check and .ci/run: their packages, their lock and their build steps.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$here" || exit
export CCACHE_BASEDIR=$here
[ -w "${HOME:-/nonexistent}" ] || export CCACHE_DIR=$here/build/ccache

demo_packages=(cmake ninja-build ccache g++-mingw-w64-x86-64-posix googletest wine wine64)
# shellcheck disable=SC2034 # read by ./check
check_packages=("${demo_packages[@]}" g++ g++-mingw-w64-i686-posix python3 clang-format shellcheck
    wixl msitools nsis)

only_one() { # SCRIPT ARGUMENT...: starts the script again so that no other one works in this folder at the same time
    [ "${SCANKELV_LOCKED:-}" != "$here" ] || return 0
    mkdir -p build
    local status=0
    # The lock is not handed on: a Wine server that outlives the script would keep it.
    SCANKELV_LOCKED=$here flock --close --nonblock --conflict-exit-code 75 build/lock "$@" || status=$?
    [ "$status" != 75 ] || echo "Another ./demo, ./check or .ci/run is running in this folder." >&2
    exit "$status"
}

title() { # TEXT...
    printf '\n== %s   [%d:%02d]\n' "$*" $((SECONDS / 60)) $((SECONDS % 60))
}

need() { # PACKAGE...: installs those of Debian's packages that are missing
    local missing=() package as_root=()
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -gt 0 ] || return 0
    if [ "$(id -u)" != 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages, and neither root nor sudo to install them. As root:" >&2
            echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    title "install ${missing[*]}"
    "${as_root[@]}" apt-get -q -o Acquire::Retries=3 update
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y -o Acquire::Retries=3 -o Dpkg::Use-Pty=0 \
        install --no-install-recommends "${missing[@]}"
}

build() { # PRESET [TARGET...]
    title "build $*"
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" ${2:+--target "${@:2}"}
}

run_tests() { # PRESET [CTEST-ARGUMENT...]
    title "tests of $1"
    ctest --preset "$@"
}
