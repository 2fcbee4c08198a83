#!/usr/bin/env bash
# Benchmarks ablagix-cli against the standard tools on one machine, in one run:
#   scan  "run --simulate" with name, extension, size and date conditions over a generated tree
#         against find with the same predicates (warm cache, best of 3);
#   log   every file of the tree logged ("run --simulate --format tsv" without conditions)
#         against find -printf of path, size and time; time and memory per log row;
#   copy  the largest folder of the tree, and one large file with many small ones, against cp;
#   text  the text condition "Rechnung" over every file of the tree against grep -rlF and
#         ripgrep (one and two threads), then over the plain text files alone;
#   exif  the camera model of every JPEG of the tree as a metadata condition against exiv2;
#         both warm cache, medians of 5 rounds in which the tools take turns;
#   dups  the duplicates condition (Duplikate=1) over the tree against jdupes -r and rmlint
#         (medians as above), and a check that ablagix selects what jdupes groups: every file
#         of jdupes' groups is either selected or the kept copy a selected row names, and
#         one copy per group stays;
#   rename every file of a copy of the tree renamed by its change date (Umbenennen with
#         "%Geändert*yyyy-mm-dd% %Name%") against find -exec mv and find -printf | xargs mv,
#         one round each on a fresh copy, and the names compared.
# Prints times, ratios and peak memory.   bench/run.sh [FILES] [WORKDIR] [JOBS...]
set -euo pipefail
cd "$(dirname "$0")/.."
files="${1:-100000}"
work="${2:-$PWD/build/bench-data}"
shift $(( $# > 2 ? 2 : $# ))
jobs="${*:-scan log copy text exif zip dups rename}"
want() { [[ " $jobs " == *" $1 "* ]]; }

cmake --preset bench >/dev/null
cmake --build --preset bench >/dev/null
cli=$PWD/build/bench/src/ablagix-cli
gen=$PWD/build/bench/bench/scan_bench
mkdir -p "$work"

# The tree's contents changed with its generator: v3 has real pictures, texts and documents,
# v4 planted duplicates besides them.
tree="$work/tree-v4-$files"
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

# Medians of five rounds (after a warm-up round) in which the commands take turns, so that a
# change in the machine's load falls on all of them alike. Each argument is one command line;
# prints "seconds peak_kb" per command, in order.
race() {
  local n=$# r i t m
  local -a times peaks
  for ((i = 0; i < n; i++)); do times[i]=""; peaks[i]=0; done
  for r in 0 1 2 3 4 5; do
    for ((i = 0; i < n; i++)); do
      local cmd="${@:i+1:1}"
      /usr/bin/time -f "%e %M" -o "$work/time.txt" bash -c "$cmd" >/dev/null 2>&1 || true
      [ "$r" -eq 0 ] && continue
      read -r t m < "$work/time.txt"
      times[i]="${times[i]} $t"
      [ "$m" -gt "${peaks[i]}" ] && peaks[i]=$m
    done
  done
  for ((i = 0; i < n; i++)); do
    echo "$(printf '%s\n' ${times[i]} | sort -g | sed -n 3p) ${peaks[i]}"
  done
}

ratio() { awk "BEGIN{printf \"%.2f\", $1/$2}"; }

if want scan; then
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

fi

if want log; then
  cat > "$work/log.ini" <<INI
[Alle]
Quelle=$tree
Unterverzeich=1
OrdnerStruktur=0
Filter=Alles
Aktion=Kopieren
Ziel=$work/ziel
Kollision=1
Case=0
Zippen=0
INI
  q_tree=$(printf %q "$tree")
  { read -r t_cli m_cli; read -r t_find m_find; } < <(race \
    "$(printf %q "$cli") run --simulate --all --format tsv --profiles $(printf %q "$work/log.ini")" \
    "find $q_tree -type f -printf '%p\t%s\t%T@\n'")
  rows=$("$cli" run --simulate --all --format tsv --profiles "$work/log.ini" | wc -l)
  echo
  echo "Jede Datei im Log ($rows Zeilen), Median aus 5 abwechselnden Runden:"
  printf '  ablagix-cli run --simulate --format tsv  %6.2f s  %7d KB\n' "$t_cli" "$m_cli"
  printf '  find -printf %%p %%s %%T@                   %6.2f s  %7d KB\n' "$t_find" "$m_find"
  echo "  Verhältnis ablagix/find:                 $(ratio "$t_cli" "$t_find")"
  awk "BEGIN{printf \"  Speicher je Logzeile:                    %6.0f Bytes (über find hinaus)\n\", ($m_cli-$m_find)*1024/$rows}"
fi

if want copy; then
  # The largest folder of the tree, with everything in it, against cp -r.
  largest=$(du -s "$tree"/*/ | sort -n | tail -1 | cut -f2-)
  largest=${largest%/}
  count=$(find "$largest" -type f | wc -l)
  lmb=$(du -sm "$largest" | cut -f1)
  cat > "$work/largest.ini" <<INI
[Groesster]
Quelle=$largest
Unterverzeich=1
OrdnerStruktur=1
Filter=Alles
Aktion=Kopieren
Ziel=$work/largest-dst
Kollision=0
Case=0
Zippen=0
INI
  { read -r t_lcli m_lcli; read -r t_lcp m_lcp; } < <(race \
    "rm -rf $(printf %q "$work/largest-dst"); $(printf %q "$cli") run --all --format tsv --profiles $(printf %q "$work/largest.ini")" \
    "rm -rf $(printf %q "$work/largest-cp"); cp -r --preserve=timestamps $(printf %q "$largest") $(printf %q "$work/largest-cp")")
  echo
  echo "Kopieren des größten Ordners ($count Dateien, $lmb MB), Median aus 5 abwechselnden Runden:"
  printf '  ablagix-cli run             %6.2f s\n' "$t_lcli"
  printf '  cp -r                       %6.2f s\n' "$t_lcp"
  echo "  Verhältnis ablagix/cp:      $(ratio "$t_lcli" "$t_lcp")"

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
fi

if want text; then
  cat > "$work/text.ini" <<INI
[Text]
Quelle=$tree
Unterverzeich=1
OrdnerStruktur=0
Filter=Alles
TextSuche=Rechnung
Aktion=Kopieren
Ziel=$work/ziel
Kollision=1
Case=0
Zippen=0
INI
  q_tree=$(printf %q "$tree")
  { read -r t_cli m_cli; read -r t_clip m_clip; read -r t_grep m_grep; read -r t_rg1 m_rg1; read -r t_rg2 m_rg2; } < <(race \
    "$(printf %q "$cli") run --simulate --all --format tsv --threads 1 --profiles $(printf %q "$work/text.ini")" \
    "$(printf %q "$cli") run --simulate --all --format tsv --threads 2 --profiles $(printf %q "$work/text.ini")" \
    "grep -rlF Rechnung $q_tree" "rg -j1 -uuu -l -F Rechnung $q_tree" "rg -j2 -uuu -l -F Rechnung $q_tree")
  n_cli=$("$cli" run --simulate --all --format tsv --profiles "$work/text.ini" | grep -c 'simuliert' || true)
  n_grep=$(grep -rlF Rechnung "$tree" | wc -l)
  n_rg=$(rg -j1 -uuu -l -F Rechnung "$tree" | wc -l)
  mb=$(du -sm "$tree" | cut -f1)
  echo
  echo "Textbedingung \"Rechnung\" über $files Dateien ($mb MB), Median aus 5 abwechselnden Runden:"
  printf '  ablagix-cli --threads 1      %6.2f s  %7d KB  %6d Dateien (jede Groß-/Kleinschreibung, Kodierung, Dokumente)\n' "$t_cli" "$m_cli" "$n_cli"
  printf '  ablagix-cli --threads 2      %6.2f s  %7d KB\n' "$t_clip" "$m_clip"
  printf '  grep -rlF                    %6.2f s  %7d KB  %6d Dateien (Bytes wie geschrieben)\n' "$t_grep" "$m_grep" "$n_grep"
  printf '  rg -j1 -uuu -l -F            %6.2f s  %7d KB  %6d Dateien\n' "$t_rg1" "$m_rg1" "$n_rg"
  printf '  rg -j2 -uuu -l -F            %6.2f s  %7d KB\n' "$t_rg2" "$m_rg2"
  echo "  Verhältnis ablagix/grep:      $(ratio "$t_cli" "$t_grep")"
  echo "  Verhältnis ablagix/rg -j1:    $(ratio "$t_cli" "$t_rg1")"
  echo "  Verhältnis ablagix 2 Threads/rg -j2: $(ratio "$t_clip" "$t_rg2")"

  # The same on the plain text files alone, which all three read as bytes.
  plain="txt csv log xml ini dat zip"
  sed "s|^Filter=.*|Filter=$(printf '.%s,' $plain | sed 's/,$//')|" "$work/text.ini" > "$work/plain.ini"
  globs=(); for e in $plain; do globs+=("--include='*.$e'"); done
  rglobs=(); for e in $plain; do rglobs+=("-g '*.$e'"); done
  { read -r t_cli m_cli; read -r t_grep m_grep; read -r t_rg1 m_rg1; } < <(race \
    "$(printf %q "$cli") run --simulate --all --format tsv --threads 1 --profiles $(printf %q "$work/plain.ini")" \
    "grep -rlF ${globs[*]} Rechnung $q_tree" "rg -j1 -uuu -l -F ${rglobs[*]} Rechnung $q_tree")
  echo "Nur Textdateien ($plain):"
  printf '  ablagix-cli run --simulate   %6.2f s\n' "$t_cli"
  printf '  grep -rlF --include          %6.2f s\n' "$t_grep"
  printf '  rg -j1 -uuu -l -F -g         %6.2f s\n' "$t_rg1"
  echo "  Verhältnis ablagix/grep:      $(ratio "$t_cli" "$t_grep")"
  echo "  Verhältnis ablagix/rg -j1:    $(ratio "$t_cli" "$t_rg1")"
fi

if want exif; then
  cat > "$work/exif.ini" <<INI
[Exif]
Quelle=$tree
Unterverzeich=1
OrdnerStruktur=0
Filter=.jpg
Metadaten=%Model%;=Canon*
Aktion=Kopieren
Ziel=$work/ziel
Kollision=1
Case=0
Zippen=0
INI
  exiv2_all() { find "$tree" -type f -iname '*.jpg' -print0 | xargs -0 exiv2 -q -g Exif.Image.Model -Pv; }
  export -f exiv2_all
  export tree
  { read -r t_cli m_cli; read -r t_exiv m_exiv; } < <(race \
    "$(printf %q "$cli") run --simulate --all --format tsv --profiles $(printf %q "$work/exif.ini")" exiv2_all)
  n_cli=$("$cli" run --simulate --all --format tsv --profiles "$work/exif.ini" | grep -c 'simuliert' || true)
  n_exiv=$(bash -c exiv2_all | grep -c 'Canon' || true)
  n_jpg=$(find "$tree" -type f -iname '*.jpg' | wc -l)
  echo
  echo "Exif-Bedingung %Model%=Canon* über $n_jpg JPEG-Dateien, Median aus 5 abwechselnden Runden:"
  printf '  ablagix-cli run --simulate   %6.2f s  %7d KB  %6d Canon\n' "$t_cli" "$m_cli" "$n_cli"
  printf '  find | xargs exiv2 -g Model  %6.2f s  %7d KB  %6d Canon\n' "$t_exiv" "$m_exiv" "$n_exiv"
  echo "  Verhältnis ablagix/exiv2:     $(ratio "$t_cli" "$t_exiv")"
fi

if want dups; then
  cat > "$work/dups.ini" <<INI
[Doppelte]
Quelle=$tree
Unterverzeich=1
OrdnerStruktur=0
Filter=Alles
Duplikate=1
Aktion=Benachrichtigen
Kollision=1
Case=0
Zippen=0
INI
  q_tree=$(printf %q "$tree")
  q_cli=$(printf %q "$cli")
  { read -r t_cli m_cli; read -r t_cli1 m_cli1; read -r t_jd m_jd; read -r t_rm m_rm; } < <(race \
    "$q_cli run --simulate --all --format tsv --profiles $(printf %q "$work/dups.ini")" \
    "$q_cli run --simulate --all --format tsv --threads 1 --profiles $(printf %q "$work/dups.ini")" \
    "jdupes -r -q $q_tree" \
    "cd $(printf %q "$work") && rmlint -T df -o summary:/dev/null -o sh:/dev/null -o json:/dev/null $q_tree")
  "$cli" run --simulate --all --format tsv --profiles "$work/dups.ini" > "$work/dups-ablagix.tsv"
  jdupes -r -q "$tree" > "$work/dups-jdupes.txt"
  echo
  echo "Duplikate über $files Dateien (und die gepflanzten Kopien), Median aus 5 abwechselnden Runden:"
  printf '  ablagix-cli run --simulate   %6.2f s  %7d KB\n' "$t_cli" "$m_cli"
  printf '  ablagix-cli --threads 1      %6.2f s  %7d KB\n' "$t_cli1" "$m_cli1"
  printf '  jdupes -r -q                 %6.2f s  %7d KB\n' "$t_jd" "$m_jd"
  printf '  rmlint -T df                 %6.2f s  %7d KB\n' "$t_rm" "$m_rm"
  echo "  Verhältnis ablagix/jdupes:    $(ratio "$t_cli" "$t_jd")"
  echo "  Verhältnis ablagix/rmlint:    $(ratio "$t_cli" "$t_rm")"
  echo "  Verhältnis ablagix 1 Thread/jdupes: $(ratio "$t_cli1" "$t_jd")"
  # The same files: jdupes' groups are our selected files plus the copies they name as kept.
  python3 - "$work/dups-ablagix.tsv" "$work/dups-jdupes.txt" <<'PY'
import re, sys

def decode(cell):
    # ablagix-cli's tsv: \\, \t, \n, \r and \xNN for bytes of a name that are no UTF-8.
    codes = {b"\\": b"\\", b"t": b"\t", b"n": b"\n", b"r": b"\r"}
    return re.sub(rb"\\(\\|t|n|r|x[0-9A-Fa-f]{2})",
                  lambda m: codes.get(m.group(1)) or bytes([int(m.group(1)[1:], 16)]), cell)

selected, kept = set(), set()
for line in open(sys.argv[1], "rb").read().split(b"\n"):
    cells = line.split(b"\t")
    if len(cells) < 14:
        continue
    note = decode(cells[11])
    if note.startswith("Duplikat von ".encode()):
        selected.add(decode(cells[1]) + decode(cells[0]))
        kept.add(note[len("Duplikat von "):])
groups, grouped = 0, set()
for block in open(sys.argv[2], "rb").read().split(b"\n\n"):
    names = [n for n in block.split(b"\n") if n]
    if names:
        groups += 1
        grouped.update(names)
same = selected | kept == grouped and not selected & kept and len(selected) == len(grouped) - groups
print(f"  Ergebnis: {len(selected)} ausgewählt, {len(kept)} behalten; jdupes: {groups} Gruppen mit "
      f"{len(grouped)} Dateien -> {'gleich' if same else 'VERSCHIEDEN'}")
if not same:
    for name in sorted((selected | kept) ^ grouped)[:10]:
        print("   ", name.decode(errors="replace"), "nur bei", "ablagix" if name not in grouped else "jdupes")
    sys.exit(1)
PY
fi

if want rename; then
  # Renaming every file of a copy of the tree (hard links, made anew before each command) by its
  # change date, against find -exec mv (a shell per batch, date and mv per file) and the leanest
  # find + mv there is (find prints old and new name, xargs starts one mv per file).
  copy="$work/rename-copy"
  cat > "$work/rename.ini" <<INI
[Datum davor]
Quelle=$copy
Unterverzeich=1
Filter=Alles
Aktion=Umbenennen
Zielname=%Geändert*yyyy-mm-dd% %Name%
Kollision=1
Case=0
Zippen=0
INI
  fresh_copy() { rm -rf "$copy" && cp -al "$tree" "$copy"; }
  names_of() { (cd "$copy" && find . -type f | LC_ALL=C sort) > "$1"; }
  timed() {  # seconds of one command on a fresh copy
    fresh_copy
    /usr/bin/time -f "%e %M" -o "$work/time.txt" bash -c "$1" >/dev/null 2>&1 || true
    read -r t m < "$work/time.txt"
    echo "$t $m"
  }
  q_copy=$(printf %q "$copy")
  read -r t_cli m_cli < <(timed "$(printf %q "$cli") run --all --format tsv --profiles $(printf %q "$work/rename.ini")")
  names_of "$work/rename-ablagix.txt"
  count=$(wc -l < "$work/rename-ablagix.txt")
  read -r t_find m_find < <(timed "find $q_copy -type f -exec sh -c 'for f; do mv -n -- \"\$f\" \"\${f%/*}/\$(date -r \"\$f\" +%F) \${f##*/}\"; done' sh {} +")
  names_of "$work/rename-find.txt"
  read -r t_xargs m_xargs < <(timed "find $q_copy -type f -printf '%h/%f\\0%h/%TY-%Tm-%Td %f\\0' | xargs -0 -n2 mv -n --")
  names_of "$work/rename-xargs.txt"
  rm -rf "$copy"
  echo
  echo "Umbenennen von $count Dateien nach \"%Geändert*yyyy-mm-dd% %Name%\" (je eine Runde auf frischer Kopie):"
  printf '  ablagix-cli run              %6.2f s  %7d KB\n' "$t_cli" "$m_cli"
  printf '  find -exec sh (date, mv)     %6.2f s  %7d KB\n' "$t_find" "$m_find"
  printf '  find -printf | xargs mv      %6.2f s  %7d KB\n' "$t_xargs" "$m_xargs"
  echo "  Verhältnis ablagix/find -exec mv: $(ratio "$t_cli" "$t_find")"
  echo "  Verhältnis ablagix/find | xargs mv: $(ratio "$t_cli" "$t_xargs")"
  # The same names, but where a name held a character Windows names cannot hold (ablagix makes
  # it "_") or blanks and dots at its end (trimmed).
  differ=$(LC_ALL=C comm -3 "$work/rename-ablagix.txt" "$work/rename-find.txt" | wc -l)
  echo "  Ergebnis: $differ Namen verschieden von find -exec (erwartet: nur solche mit \\ : * ? \" < > | oder Rändern)"
fi

if want zip; then
  # Zip archives: one archive of the largest folder against zip and 7z.
  echo
  bench/zip_bench.sh "$((files / 2))" "$work"
fi
