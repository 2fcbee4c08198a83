#!/usr/bin/env bash
# Benchmarks ablagix-cli against the standard tools on one machine, in one run:
#   1. "run --simulate" with name, extension, size and date conditions over a generated tree
#      against find with the same predicates (both warm cache, best of 3);
#   2. copying one large file and many small ones against cp.
# Prints times, ratios and peak memory.   bench/run.sh [FILES] [WORKDIR]
set -euo pipefail
cd "$(dirname "$0")/.."
files="${1:-100000}"
work="${2:-$PWD/build/bench-data}"

cmake --preset bench >/dev/null
cmake --build --preset bench >/dev/null
cli=build/bench/src/ablagix-cli
gen=build/bench/bench/scan_bench

tree="$work/tree-$files"
if [ ! -d "$tree" ]; then
  echo "Erzeuge $files Dateien in $tree ..."
  "$gen" make-tree "$tree" "$files"
fi

# best of three: prints "seconds peak_kb"
measure() {
  local best="" peak=0
  for _ in 1 2 3; do
    /usr/bin/time -f "%e %M" -o "$work/time.txt" "$@" >/dev/null 2>&1 || true
    read -r t m < "$work/time.txt"
    if [ -z "$best" ] || awk "BEGIN{exit !($t < $best)}"; then best=$t; fi
    [ "$m" -gt "$peak" ] && peak=$m
  done
  echo "$best $peak"
}

cat > "$work/bench.ini" <<INI
[Bench]
Quelle=$tree
Unterverzeich=1
OrdnerStruktur=0
Filename=*[0-9]*
Filter=.jpg,.png,.pdf
FileSize=>1KB
Filedate=GA<1Y
Aktion=Kopieren
Ziel=$work/ziel/%DateGAYYYY%
Kollision=1
Case=0
Zippen=0
INI

read -r t_cli m_cli < <(measure "$cli" run --simulate --all --format tsv --profiles "$work/bench.ini")
read -r t_find m_find < <(measure find "$tree" -type f -name '*[0-9]*' \
  \( -iname '*.jpg' -o -iname '*.png' -o -iname '*.pdf' \) -size +1k -mtime +365 -printf '%p\t%s\t%TY\n')
matched=$("$cli" run --simulate --all --format tsv --profiles "$work/bench.ini" | grep -c 'simuliert' || true)
echo
echo "Simulation über $files Dateien ($matched passen):"
printf '  ablagix-cli run --simulate  %6.2f s   %7d KB Spitzenspeicher\n' "$t_cli" "$m_cli"
printf '  find (gleiche Bedingungen)  %6.2f s   %7d KB\n' "$t_find" "$m_find"
awk "BEGIN{printf \"  Verhältnis ablagix/find:    %6.2f\n\", $t_cli/$t_find}"
awk "BEGIN{printf \"  Speicher je Logzeile:       %6.0f Bytes (über find hinaus)\n\", ($m_cli-$m_find)*1024/($matched>0?$matched:1)}"

# Copy throughput.
src="$work/copy-src"
if [ ! -d "$src" ]; then
  mkdir -p "$src/klein"
  head -c $((512 * 1024 * 1024)) /dev/urandom > "$src/gross.bin"
  for i in $(seq 1 2000); do head -c 20000 /dev/urandom > "$src/klein/datei_$i.dat"; done
fi
cat > "$work/copy.ini" <<INI
[Kopie]
Quelle=$src
Unterverzeich=1
OrdnerStruktur=1
Filter=Alles
Aktion=Kopieren
Ziel=$work/copy-dst
Kollision=0
Case=0
Zippen=0
INI
copy_cli() { rm -rf "$work/copy-dst"; "$cli" run --all --format tsv --profiles "$work/copy.ini"; sync; }
copy_cp() { rm -rf "$work/copy-cp"; cp -r --preserve=timestamps "$src" "$work/copy-cp"; sync; }
export -f copy_cli copy_cp
export cli work src
read -r t_ccli m_ccli < <(measure bash -c copy_cli)
read -r t_ccp m_ccp < <(measure bash -c copy_cp)
mb=$(du -sm "$src" | cut -f1)
echo
echo "Kopieren von $mb MB (1 große Datei, 2000 kleine):"
awk "BEGIN{printf \"  ablagix-cli run             %6.2f s   %6.0f MB/s\n\", $t_ccli, $mb/$t_ccli}"
awk "BEGIN{printf \"  cp -r                       %6.2f s   %6.0f MB/s\n\", $t_ccp, $mb/$t_ccp}"
awk "BEGIN{printf \"  Verhältnis ablagix/cp:      %6.2f\n\", $t_ccli/$t_ccp}"

# Zip archives: one archive of the largest folder against zip and 7z.
echo
bench/zip_bench.sh "$((files / 2))" "$work"
