#!/usr/bin/env bash
# A move run over many files, undone while a second process runs the same profile again and
# again: the undo holds the folders of its run, so the second process either finds nothing
# to move or is turned away, and afterwards the tree is exactly as it was before the run
# (same names, sizes and bytes). Prints the times beside cp for the same number of files.
#   tests/cli/undo_while_running_test.sh CLI WORKFOLDER [FILES]
set -euo pipefail
cli="$(realpath "$1")"
work="$2"
files="${3:-2000}"
rm -rf "$work"
mkdir -p "$work/quelle/a" "$work/quelle/b" "$work/config"
cd "$work"
# Files in two folders, with some bytes of their own each.
python3 - "$files" <<'EOF'
import os, sys
n = int(sys.argv[1])
for i in range(n):
    folder = "quelle/a" if i % 2 else "quelle/b"
    with open(f"{folder}/datei-{i:06d}.txt", "wb") as f:
        f.write(f"Datei {i}\n".encode() * (1 + i % 7))
EOF
cat > profile.ini <<EOF
[Hin]
Quelle=$work/quelle
Unterverzeich=1
Filter=Alles
Aktion=Verschieben
Ziel=$work/ziel/%YYYY%
OrdnerStruktur=1
Kollision=1
Zippen=0
EOF
digest() {
  (cd "$work" && { find quelle ziel -type f -print0 2>/dev/null || true; } | sort -z | xargs -0 -r sha256sum | sha256sum)
}
before=$(digest)
run() { "$cli" --profiles "$work/profile.ini" --config-dir "$work/config" "$@"; }

start=$(date +%s.%N)
run run Hin > run.out 2>&1
run_s=$(echo "$(date +%s.%N) - $start" | bc)
moved=$(find ziel -type f | wc -l)
[ "$moved" -eq "$files" ] || { echo "the run moved $moved of $files files"; exit 1; }

start=$(date +%s.%N)
run undo --last > undo.out 2>&1 &
undo=$!
second=0
refused=0
during=0
while kill -0 "$undo" 2>/dev/null; do
  if run run Hin --format tsv > second.out 2>&1; then :; else refused=$((refused + 1)); fi
  second=$((second + 1))
  # A run that moved files and ended while the undo still went took files from under it.
  if grep -q "Verschoben" second.out && kill -0 "$undo" 2>/dev/null; then during=$((during + 1)); fi
done
wait "$undo" || { echo "the undo failed:"; tail -5 undo.out; exit 1; }
undo_s=$(echo "$(date +%s.%N) - $start" | bc)
# A run that began only as the undo ended is a run of its own: undone newest first, as a
# user would.
for _ in $(seq 1 50); do
  n=$(run undo --list | awk '/ausgeführt/ { print $1; exit }')
  [ -n "$n" ] || break
  run undo "$n" > /dev/null 2>&1 || break
done
after=$(digest)

rm -rf cp-ziel
start=$(date +%s.%N)
cp -r quelle cp-ziel
cp_s=$(echo "$(date +%s.%N) - $start" | bc)
echo "$files Dateien: Lauf ${run_s} s, Rückgängig ${undo_s} s neben $second Läufen desselben Profils ($refused abgewiesen); cp -r ${cp_s} s"
if [ "$during" -ne 0 ]; then
  echo "$during runs moved files while the undo went on"
  exit 1
fi
if [ "$before" != "$after" ]; then
  echo "the tree differs from before the run"
  exit 1
fi
[ -z "$(find ziel -type f 2>/dev/null)" ] || { echo "files left at the target"; exit 1; }
echo "Baum wie vor dem Lauf"
