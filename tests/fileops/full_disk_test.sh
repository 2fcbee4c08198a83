#!/usr/bin/env bash
# A real full disk: a file system of 1 MB (a private tmpfs mount, so root only) as the target
# of copies and moves that do not fit. The existing file must stay as it was, nothing half
# written may appear, and a moved file must stay at its source.
#
#   full_disk_test.sh ABLAGIX_CLI WORK_FOLDER
set -euo pipefail
cli=$1
work=$2
if [ "$(id -u)" != 0 ] || ! command -v unshare >/dev/null; then
  echo "SKIPPED: a small file system of our own needs root"
  exit 0
fi
rm -rf "$work"
mkdir -p "$work/Quelle" "$work/Gross" "$work/voll" "$work/config"
# The mount lives only in this process's own mount namespace and ends with it.
exec unshare -m bash -euo pipefail -c '
cli=$1; work=$2
mount -t tmpfs -o size=1m tmpfs "$work/voll"
mkdir -p "$work/voll/Ziel"
printf gestern > "$work/voll/Ziel/postfach.pst"
head -c 3000000 /dev/urandom > "$work/Quelle/postfach.pst"
printf klein > "$work/Quelle/klein.txt"
head -c 3000000 /dev/urandom > "$work/Gross/film.mp4"
cp "$work/Gross/film.mp4" "$work/film.vorher"
cat > "$work/profile.ini" <<INI
[Sicherung]
Quelle=$work/Quelle
Filter=Alles
Aktion=Kopieren
Ziel=$work/voll/Ziel
Kollision=0
[Umzug]
Quelle=$work/Gross
Filter=Alles
Aktion=Verschieben
Ziel=$work/voll/Ziel
Kollision=1
INI
fail() { echo "FAIL: $*"; echo "$out"; exit 1; }
set +e
out=$("$cli" --profiles "$work/profile.ini" --config-dir "$work/config" run Sicherung --format tsv 2>&1)
rc=$?
set -e
[ $rc = 1 ] || fail "copy onto a full disk: exit $rc, expected 1"
grep -q "postfach.pst.*Fehler! Ziel: Nicht genügend Speicherplatz" <<<"$out" || fail "no disk-full row"
grep -q "klein.txt.*Kopiert" <<<"$out" || fail "the small file was not copied"
[ "$(cat "$work/voll/Ziel/postfach.pst")" = gestern ] || fail "the old backup was changed"
[ "$(ls -A "$work/voll/Ziel" | tr "\n" " ")" = "klein.txt postfach.pst " ] || fail "left behind: $(ls -A "$work/voll/Ziel")"

set +e
out=$("$cli" --profiles "$work/profile.ini" --config-dir "$work/config" run Umzug --format tsv 2>&1)
rc=$?
set -e
[ $rc = 1 ] || fail "move onto a full disk: exit $rc, expected 1"
grep -q "film.mp4.*Fehler! Ziel: Nicht genügend Speicherplatz" <<<"$out" || fail "no disk-full row for the move"
cmp -s "$work/Gross/film.mp4" "$work/film.vorher" || fail "the source of the move was changed or lost"
[ "$(ls -A "$work/voll/Ziel" | tr "\n" " ")" = "klein.txt postfach.pst " ] || fail "the move left: $(ls -A "$work/voll/Ziel")"
echo "full disk: the old file kept, nothing half written, the moved file still at its source"
' full-disk "$cli" "$work"
