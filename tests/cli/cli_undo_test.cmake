# ablagix-cli undo end to end: the list of runs, undoing the last one with a taken original
# name, that a run is undone once only, and that an undo touches only what its own run left:
# not a file a newer run put under the same name, not the source a copy onto itself would
# name, nothing a journal from elsewhere names; and no change without its journal.
set(root ${WORK}/cli-undo)
file(REMOVE_RECURSE ${root})
file(WRITE "${root}/Eingang/Bild März.jpg" "altes Bild")
file(WRITE "${root}/Eingang/b.jpg" "b")
file(WRITE "${root}/Ablage/Bild März.jpg" "schon da")
include(${CMAKE_CURRENT_LIST_DIR}/cli_common.cmake)
file(WRITE ${root}/profile.ini
  "[Fotos]\r\nQuelle=${native_root}/Eingang\r\nFilter=Alles\r\nAktion=Verschieben\r\n"
  "Ziel=${native_root}/Ablage\r\nKollision=1\r\nZippen=0\r\n")

function(expect_file path content)
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "missing: ${path}")
  endif()
  file(READ "${path}" actual)
  if(NOT actual STREQUAL content)
    message(FATAL_ERROR "${path} holds \"${actual}\", expected \"${content}\"")
  endif()
endfunction()

run_cli(2 out undo --last)
expect("keinen Lauf" "${out}")
run_cli(0 out run --simulate Fotos)
run_cli(0 out undo --list)
expect("Keine Läufe" "${out}")

run_cli(0 out run Fotos)
expect_file("${root}/Ablage/Bild März(1).jpg" "altes Bild")
run_cli(0 out undo --list)
expect("Lauf-" "${out}")
expect("ausgeführt" "${out}")
expect("Fotos" "${out}")

# A new file took the old one's place meanwhile: the old one comes back beside it.
file(WRITE "${root}/Eingang/Bild März.jpg" "neues Bild")
run_cli(0 out undo --last --format tsv)
expect("Start Rückgängig Lauf-" "${out}")
expect("\tZurückgeholt\tRückgängig: Verschieben\t" "${out}")
expect_file("${root}/Eingang/Bild März.jpg" "neues Bild")
expect_file("${root}/Eingang/Bild März(1).jpg" "altes Bild")
expect_file("${root}/Eingang/b.jpg" "b")
expect_file("${root}/Ablage/Bild März.jpg" "schon da")
file(GLOB left "${root}/Ablage/*")
list(LENGTH left count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "the undo left files at the target: ${left}")
endif()
run_cli(0 out undo 1)
expect("schon rückgängig gemacht" "${out}")
run_cli(0 out undo --list)
expect("rückgängig gemacht" "${out}")

run_cli(2 out undo)
expect("--list, --last" "${out}")
run_cli(2 out undo "Lauf-gibt-es-nicht")
expect("Kein Lauf" "${out}")
run_cli(2 out undo 99)

# A newer run put another file under the same name: undoing the older run leaves it.
file(WRITE "${root}/Scans/Scan.pdf" "alter Scan")
file(WRITE ${root}/profile.ini
  "[Scans]\r\nQuelle=${native_root}/Scans\r\nFilter=.pdf\r\nAktion=Verschieben\r\n"
  "Ziel=${native_root}/Ablage/Scans\r\nKollision=0\r\nZippen=0\r\n")
run_cli(0 out run Scans)
file(WRITE "${root}/Scans/Scan.pdf" "neuer Scan, ein anderes Dokument")
run_cli(0 out run Scans)
run_cli(0 out undo 2 --format tsv)
expect("seit dem Lauf geändert" "${out}")
expect_file("${root}/Ablage/Scans/Scan.pdf" "neuer Scan, ein anderes Dokument")
if(EXISTS "${root}/Scans/Scan.pdf")
  message(FATAL_ERROR "the older run's undo brought back the newer run's file")
endif()
run_cli(0 out undo 1)
expect_file("${root}/Scans/Scan.pdf" "neuer Scan, ein anderes Dokument")

# A copy into the source under another spelling is the file itself: skipped, and nothing an
# undo could take for a copy.
file(WRITE "${root}/Roman/roman.txt" "die einzige Fassung")
file(WRITE ${root}/profile.ini
  "[Sichern]\r\nQuelle=${native_root}/Roman\r\nUnterverzeich=0\r\nFilter=.txt\r\nAktion=Kopieren\r\n"
  "Ziel=${native_root}/Roman/.\r\nKollision=0\r\nZippen=0\r\n")
run_cli(0 out run Sichern --format tsv)
expect("Das Ziel ist die Datei selbst" "${out}")
run_cli(0 out undo --last)
expect_file("${root}/Roman/roman.txt" "die einzige Fassung")

# A journal of another installation (or made up) with the newest name is not taken.
set(config_dir ${native_root}/fremd)
file(WRITE ${root}/profile.ini
  "[Kopie]\r\nQuelle=${native_root}/Roman\r\nUnterverzeich=0\r\nFilter=.txt\r\nAktion=Kopieren\r\n"
  "Ziel=${native_root}/Kopien\r\nKollision=1\r\nZippen=0\r\n")
run_cli(0 out run Kopie)
unset(config_dir)
file(GLOB foreign "${root}/fremd/Journal/Lauf-*.txt")
file(COPY_FILE "${foreign}" "${root}/config/Journal/Lauf-99991231-235959-999.txt")
run_cli(1 out undo Lauf-99991231-235959-999)
expect("Siegel" "${out}")
expect_file("${root}/Kopien/roman.txt" "die einzige Fassung")
run_cli(0 out undo --last)
expect("schon rückgängig" "${out}")
expect_file("${root}/Kopien/roman.txt" "die einzige Fassung")

# Where no journal can be written, nothing is changed, and the run says so in its exit code.
file(WRITE "${root}/ohne/Journal" "ein Ordner kann hier nicht entstehen")
set(config_dir ${native_root}/ohne)
file(WRITE ${root}/profile.ini
  "[Weg]\r\nQuelle=${native_root}/Roman\r\nUnterverzeich=0\r\nFilter=.txt\r\nAktion=Verschieben\r\n"
  "Ziel=${native_root}/Weg\r\nKollision=1\r\nZippen=0\r\n")
run_cli(1 out run Weg --format tsv)
expect("Fehler! Journal" "${out}")
unset(config_dir)
expect_file("${root}/Roman/roman.txt" "die einzige Fassung")
if(EXISTS "${root}/Weg")
  message(FATAL_ERROR "a run without its journal made its target folder")
endif()
