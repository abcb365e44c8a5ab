#!/usr/bin/env bash
# PackageRun.sh x86|x64 BUILD-FOLDER: what somebody does who has got the archives and nothing else: both unpacked, one
# beside the other, a dialog run in an empty Wine prefix; a search library of his own, made with the packaged header; and
# what the package command refuses.
set -eu
architecture=$1 build=$(cd "$2" && pwd)
here=$(cd "$(dirname "$0")/../.." && pwd)
case $architecture in x86) processor=i686 ;; x64) processor=x86_64 ;; esac
work=$build/package-run
rm -rf "$work"
mkdir -p "$work/program"
export SCANKELV_WINE_PREFIX=$work/prefix

fail() {
  echo "PackageRun: $1" >&2
  exit 1
}
wine() { "$here/scripts/run-under-wine" "$processor" "$@"; }

refuses() { # SAYING COMMAND...: fails with this saying as its one line
  local saying=$1 answer
  shift
  ! answer=$("$@" 2>&1) || fail "not refused: $*"
  [[ $answer == *"$saying"* && $(wc -l <<<"$answer") = 1 ]] || fail "no clear line about '$saying': $answer"
}
refuses "is not built" "$here/scripts/package" --uncommitted --output "$work" "$work/none"
git clone -q --shared "$here" "$work/checkout"
touch "$work/checkout/new"
refuses "1 uncommitted changes, new the first" "$work/checkout/scripts/package"

"$here/scripts/package" --uncommitted --output "$work" "$build"
(cd "$work" && sha256sum --quiet -c SHA256SUMS)
for archive in "$work"/*.zip; do
  python3 -m zipfile -e "$archive" "$work"
  (cd "${archive%.zip}" && sha256sum --quiet -c SHA256SUMS)
done
product=$(echo "$work"/ScanKELV-[0-9]*/)
cp -r "$work"/ScanKELV-simulator-*/. "$product/." "$work/program"

dialog_run() { # ADDRESS: as it is stored
  local status=0
  wine "$work/program/ScanKELV.exe" /L en || status=$?
  [ "$status" = 77 ] && exit 77 # no Wine to run it
  [ "$status" = 0 ] || fail "the dialog run ended with $status"
  wine reg query 'HKCU\Software\QLScan\Quellon Generic Scan Driver' /v Address | grep -qF "$1" ||
    fail "the address is not $1"
}
dialog_run 192.0.2.
grep -q '^  chosen = ' "$work/program/FindwellDlg.log" || fail "the library was not asked"
[ -s "$SCANKELV_WINE_PREFIX/drive_c/ProgramData/Quellon/ScanKELV/device.xml" ] || fail "no device.xml"

sed -n '/^```cpp/,/^```/{/^```/!p}' "$product/docs/SearchLibrary.md" >"$work/Smallest.cpp"
"$processor-w64-mingw32-g++-posix" -std=c++17 -shared -static -I "$product/include" -o "$work/program/FindwellDlg.dll" \
  "$work/Smallest.cpp"
dialog_run 192.0.2.7
echo "the archives of $architecture run"
