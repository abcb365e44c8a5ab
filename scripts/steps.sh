# Read by the scripts at the root: installing what is missing, and steps of one line each.
here=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$here"
mkdir -p build
export CCACHE_BASEDIR=$here CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
# One of the scripts at a time in a folder; one that another calls belongs to it.
if [ "${SCANKELV_STEPS_IN:-}" != "$here" ]; then
  exec 9>>build/steps.lock
  flock -n 9 || { echo "Another demo or check is running in this folder." >&2; exit 1; }
  export SCANKELV_STEPS_IN=$here
fi

# need PACKAGE...: installs those of Debian's packages that are missing, and only then asks for anything.
need() {
  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || { echo "Missing packages, and neither root nor sudo to install them: ${missing[*]}" >&2; exit 1; }
    as_root=(sudo)
  fi
  install_missing() {
    "${as_root[@]}" apt-get update -qq &&
      "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends "${missing[@]}"
  }
  step "install ${missing[*]}" install_missing
}

# step TITLE COMMAND...: one line; the command's output is shown only when it fails.
step() {
  local title=$1 started=$SECONDS
  shift
  printf '%s ... ' "$title"
  if "$@" >build/step.log 2>&1 9>&-; then
    echo "ok ($((SECONDS - started)) s)"
  else
    echo "FAILED"
    tail -n 80 build/step.log >&2
    echo "Failed: $title (whole output: build/step.log)" >&2
    exit 1
  fi
}

# build PRESET [TARGET...]
build() {
  local preset=$1
  shift
  configure_and_build() { cmake --preset "$preset" && cmake --build --preset "$preset" ${*:+--target "$@"}; }
  step "build $preset" configure_and_build "$@"
}

host_packages=(g++ cmake ninja-build ccache pkg-config libsqlite3-dev libxml2-dev)
test_packages=(googletest clang-format clang-tidy python3 strace)
fuzz_packages=(clang-14 libclang-rt-14-dev llvm-14)
bench_packages=(libbenchmark-dev binutils)
windows_packages=(g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix wine wine64)
