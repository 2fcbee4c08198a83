#!/usr/bin/env bash
# Zips the largest folder of a generated tree (the benchmark tree of bench/tree_generator.h:
# camera pictures, office packages, PDFs, texts in several encodings, binaries) into one archive,
# as a run with "Zippen 2" does, against `zip -r -6` and `7z a -tzip`. Best of three, warm cache.
#   bench/zip_bench.sh [FILES] [WORKDIR]
set -euo pipefail
cd "$(dirname "$0")/.."
files="${1:-40000}"
work="${2:-$PWD/build/bench-data}"

cmake --preset bench >/dev/null
cmake --build --preset bench --target zip_bench >/dev/null
helper=$PWD/build/bench/bench/zip_bench

tree="$work/zip-tree-$files"
if [ ! -d "$tree" ]; then
  echo "Erzeuge $files Dateien in $tree ..."
  "$helper" make-tree "$tree" "$files"
fi
# The largest folder below the top, with everything in it.
largest=$(du -s "$tree"/*/ | sort -n | tail -1 | cut -f2-)
largest=${largest%/}
parent=$(dirname "$largest")
name=$(basename "$largest")
count=$(find "$largest" -type f | wc -l)
mb=$(du -sm "$largest" | cut -f1)
out="$work/zip-out"
mkdir -p "$out"

# best of three: prints seconds.   best ARCHIVE COMMAND...
best() {
  local best="" archive=$1
  shift
  for _ in 1 2 3; do
    rm -f "$archive"
    local start end t
    start=$(date +%s.%N)
    "$@" >/dev/null 2>&1
    end=$(date +%s.%N)
    t=$(awk "BEGIN{print $end - $start}")
    if [ -z "$best" ] || awk "BEGIN{exit !($t < $best)}"; then best=$t; fi
  done
  echo "$best"
}

t_ablagix=$(best "$out/ablagix.zip" "$helper" zip "$largest" "$out/ablagix.zip")
s_ablagix=$(stat -c %s "$out/ablagix.zip")
t_zip=$(best "$out/zip.zip" bash -c "cd '$parent' && zip -r -6 -q '$out/zip.zip' '$name'")
s_zip=$(stat -c %s "$out/zip.zip")
t_7z=$(best "$out/7z.zip" bash -c "cd '$parent' && 7z a -tzip -bd '$out/7z.zip' '$name'")
s_7z=$(stat -c %s "$out/7z.zip")
unzip -tqq "$out/ablagix.zip" >/dev/null

echo
echo "Ein Archiv aus \"$name\": $count Dateien, $mb MB, $(nproc) Kerne"
printf '  %-22s %7s %12s %9s %9s\n' "" "Sekunden" "Bytes" "Zeit/zip" "Größe/zip"
row() { awk -v n="$1" -v t="$2" -v s="$3" -v tz="$t_zip" -v sz="$s_zip" \
  'BEGIN{printf "  %-22s %7.2f %12d %9.2f %9.3f\n", n, t, s, t/tz, s/sz}'; }
row "ablagix (ZipBatch)" "$t_ablagix" "$s_ablagix"
row "zip -r -6" "$t_zip" "$s_zip"
row "7z a -tzip" "$t_7z" "$s_7z"
