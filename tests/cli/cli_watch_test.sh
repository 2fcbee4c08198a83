#!/usr/bin/env bash
# ablagix-cli watch as a user runs it in a terminal: a marked profile moves what is dropped
# into its folder once the file has settled, an unmarked one is left alone, the program's own
# output starts no second run, a download that stalls with its file open is zipped only once
# it is closed, a copy profile copies each arrival once (and is warned about at the start),
# and Ctrl+C ends the watch with exit code 130.
#
#   cli_watch_test.sh ABLAGIX_CLI WORK_FOLDER
set -euo pipefail
cli=$1
work=$2
rm -rf "$work"
mkdir -p "$work/Eingang/Unter" "$work/Fremd" "$work/Downloads" "$work/Import" "$work/config"
printf 'alt' > "$work/Import/alt1.txt"
printf 'alt' > "$work/Import/alt2.txt"
cat > "$work/profile.ini" <<INI
[Eingang]
Quelle=$work/Eingang
Unterverzeich=1
OrdnerStruktur=1
Filter=Alles
Aktion=Verschieben
Ziel=$work/Eingang/Ablage
Kollision=1
Zippen=0
Ueberwachen=1
[Fremd]
Quelle=$work/Fremd
Unterverzeich=0
Filter=Alles
Aktion=Verschieben
Ziel=$work/Fremd-Ziel
Kollision=1
Zippen=0
[Download]
Quelle=$work/Downloads
Unterverzeich=0
Filter=Alles
Aktion=Verschieben
Ziel=$work/Download-Ablage
Kollision=1
Zippen=1
Ueberwachen=1
[Sichern]
Quelle=$work/Import
Unterverzeich=0
Filter=Alles
Aktion=Kopieren
Ziel=$work/Kopien
Kollision=1
Zippen=0
Ueberwachen=1
INI

fail() { echo "FEHLER: $*"; cat "$work/out.txt" || true; exit 1; }

"$cli" --profiles "$work/profile.ini" --config-dir "$work/config" watch --all --format tsv > "$work/out.txt" 2>&1 &
pid=$!
trap 'kill -9 $pid ${download:-} 2>/dev/null || true' EXIT
sleep 1
# A download that stalls for 10 s with its file open (longer than settling and gathering
# together), then writes the rest and closes.
python3 -c "
import time
with open('$work/Downloads/download.bin', 'wb') as f:
    f.write(b'A' * 100000); f.flush(); time.sleep(10); f.write(b'B' * 100000)
" &
download=$!
printf 'Foto' > "$work/Eingang/Unter/bild.jpg"
printf 'bleibt' > "$work/Fremd/liegt.txt"
# A file written in pieces over three seconds must not be moved half-way.
( for i in 1 2 3; do printf 'Teil %s\n' "$i" >> "$work/Eingang/langsam.txt"; sleep 1; done ) &
writer=$!

# Settling takes 2 s after the last change and the gathering of a burst 3 s more.
for _ in $(seq 1 40); do
  [ -f "$work/Eingang/Ablage/Unter/bild.jpg" ] && [ -f "$work/Eingang/Ablage/langsam.txt" ] && break
  sleep 0.5
done
wait $writer
[ -f "$work/Eingang/Ablage/Unter/bild.jpg" ] || fail "bild.jpg wurde nicht verschoben"
[ -f "$work/Eingang/Ablage/langsam.txt" ] || fail "langsam.txt wurde nicht verschoben"
[ "$(cat "$work/Eingang/Ablage/langsam.txt")" = "$(printf 'Teil 1\nTeil 2\nTeil 3')" ] || fail "langsam.txt unvollständig verschoben"
[ ! -e "$work/Eingang/Unter/bild.jpg" ] || fail "bild.jpg liegt noch in der Quelle"
[ -f "$work/Fremd/liegt.txt" ] || fail "das nicht markierte Profil hat eine Datei bewegt"

# The moved files lie inside the watched folder: they must not start another run (one would
# come within settling and gathering, 5 s; the arrivals below take longer).
starts=$(grep -c "^Start Eingang" "$work/out.txt" || true)
[ "$starts" -ge 1 ] || fail "kein Lauf im Log"

# Three files arrive one after the other where two lay before: each is copied once, and the
# two old ones not at all.
for n in 1 2 3; do
  printf 'neu %s' "$n" > "$work/Import/neu$n.txt"
  for _ in $(seq 1 30); do [ -f "$work/Kopien/neu$n.txt" ] && break; sleep 0.5; done
  [ -f "$work/Kopien/neu$n.txt" ] || fail "neu$n.txt wurde nicht kopiert"
done
copies=$(ls "$work/Kopien" | wc -l)
[ "$copies" = 3 ] || fail "$copies Kopien statt 3: $(ls "$work/Kopien" | tr '\n' ' ')"
grep -q "Achtung: „Sichern“ wird überwacht und kopiert mit „neue Datei umbenennen (1)“" "$work/out.txt" ||
  fail "keine Warnung zum Kopierprofil"
! grep -q "Achtung: „Eingang“" "$work/out.txt" || fail "Warnung für ein Profil, das verschiebt"

wait $download
for _ in $(seq 1 30); do [ -f "$work/Download-Ablage/download.bin.zip" ] && break; sleep 0.5; done
[ -f "$work/Download-Ablage/download.bin.zip" ] || fail "download.bin wurde nicht gezippt"
[ ! -e "$work/Downloads/download.bin" ] || fail "download.bin liegt noch in der Quelle"
python3 -c "
import sys, zipfile
data = zipfile.ZipFile('$work/Download-Ablage/download.bin.zip').read('download.bin')
sys.exit(0 if data == b'A' * 100000 + b'B' * 100000 else 1)
" || fail "download.bin halb gezippt: der Rest nach der Pause fehlt im Archiv"

later=$(grep -c "^Start Eingang" "$work/out.txt" || true)
[ "$later" = "$starts" ] || fail "$((later - starts)) weitere Läufe: die eigenen Ablagen lösen Läufe aus"
[ ! -e "$work/Eingang/Ablage/Ablage" ] || fail "eine Ablage wurde noch einmal abgelegt"

kill -INT $pid
rc=0
wait $pid || rc=$?
trap - EXIT
[ "$rc" = 130 ] || fail "Exit-Code $rc statt 130 nach Strg+C"
grep -q "Überwachung gestoppt." "$work/out.txt" || fail "keine Meldung zum Ende der Überwachung"
echo "ok: $starts Lauf/Läufe, eigene Ablagen ohne neuen Lauf, Download erst nach dem Schließen, 3 Kopien für 3 Ankünfte, Strg+C mit 130"
