#!/bin/sh
# The window with a long log under Wine in Xvfb: a simulated run over FILES files, then
# scrolling and sorting the rows.
#
#   bench/gui_log_bench.sh [FILES] [WORKDIR]
#
# Needs the Windows build (cmake --preset windows && cmake --build --preset windows).
set -eu
files=${1:-100000}
root=$(cd "$(dirname "$0")/.." && pwd)
work=${2:-$root/build/bench-gui}
build=$root/build/windows
source=$work/quelle-$files
if [ ! -d "$source" ]; then
  mkdir -p "$source"
  # A hundred folders of equal share, made natively in a moment.
  per=$((files / 100))
  for d in $(seq 1 100); do
    mkdir -p "$source/ordner$d"
    (cd "$source/ordner$d" && seq 1 "$per" | sed 's/^/bild_/; s/$/.jpg/' | xargs touch)
  done
fi
rm -rf "$work/Ziel"
ABLAGIX_WINEPREFIX=$build/gui-wineprefix "$root/tools/with-xvfb" "$root/tools/wine-run" \
  "$build/tests/ablagix_gui_log_bench.exe" "$build/src/Ablagix.exe" "$work" "$source"
