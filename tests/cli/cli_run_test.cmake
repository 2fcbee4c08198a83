# ablagix-cli run end to end: a simulation that changes nothing, a real run that moves, and
# the exit codes for bad input.
set(root ${WORK}/cli-run)
file(REMOVE_RECURSE ${root})
file(WRITE "${root}/Eingang/Rechnung März.pdf" "pdf")
file(WRITE "${root}/Eingang/sub/Rechnung 2.pdf" "pdf2")
file(WRITE "${root}/Eingang/notiz.txt" "txt")
include(${CMAKE_CURRENT_LIST_DIR}/cli_common.cmake)
file(WRITE ${root}/profile.ini
  "[Rechnungen]\r\nQuelle=${native_root}/Eingang\r\nUnterverzeich=1\r\nFilter=.pdf\r\n"
  "Aktion=Verschieben\r\nZiel=${native_root}/Ablage/%Ext%\r\nKollision=1\r\nZippen=0\r\n"
  "[Leer]\r\nQuelle=${native_root}/gibt-es-nicht\r\nFilter=Alles\r\nAktion=LöschenX\r\n")

run_cli(0 out run --simulate --all --format tsv)
expect("Start Rechnungen\t**********" "${out}")
expect("Rechnung März.pdf\t" "${out}")
expect("\tVerschoben, simuliert\tVerschieben\t" "${out}")
expect("**********\tKeine Datei(en) gefunden" "${out}")
expect("Ende Leer\t" "${out}")
if(EXISTS ${root}/Ablage OR NOT EXISTS "${root}/Eingang/Rechnung März.pdf")
  message(FATAL_ERROR "the simulation changed files")
endif()

# With "Log automatisch speichern im Ordner:" on, the log is saved after the run as the window
# saves it, its text and CSV columns in the order the window's log list showed them.
set(native_config ${native_root}/config)
file(WRITE ${root}/config/AblagixSetting.ini
  "[AblagixForm]\r\nCheckBox17=1\r\nOption5=1\r\nDelimeter=;\r\nCheck17=1\r\n"
  "LogPath=${native_root}/Berichte/auto\r\nLogHeaderPosition=1,0,2,3,4,5,6,7,8,9,10,11,12,13\r\n")
run_cli(0 out run --simulate Rechnungen --config-dir ${native_config})
expect("Log gespeichert: " "${out}")
file(GLOB saved "${root}/Berichte/auto/AXLog*.csv")
list(LENGTH saved count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one automatically saved log, found: ${saved}\n${out}")
endif()
# (file(STRINGS) stops a line at its first letter outside ASCII.)
file(STRINGS "${saved}" lines ENCODING UTF-16LE)
list(GET lines 0 header)
if(NOT header STREQUAL "Pfad;Datei;Gr")
  message(FATAL_ERROR "the saved log does not follow the stored column order: ${header}")
endif()
expect("Rechnung M" "${lines}")
# Switched off, nothing is saved.
file(WRITE ${root}/config/AblagixSetting.ini "[AblagixForm]\r\nCheckBox17=0\r\nLogPath=${native_root}/Berichte/aus\r\n")
run_cli(0 out run --simulate Rechnungen --config-dir ${native_config})
if(EXISTS "${root}/Berichte/aus")
  message(FATAL_ERROR "a log was saved with the automatic save switched off")
endif()

# DokumenttextAus: documents are searched as plain files. "Rechnung" is in the web page's
# text, but not in its bytes.
file(WRITE "${root}/Texte/seite.html" "<p>&#82;echnung</p>")
file(APPEND ${root}/profile.ini
  "[Texte]\r\nQuelle=${native_root}/Texte\r\nFilter=Alles\r\nTextSuche=Rechnung\r\n"
  "Aktion=Kopieren\r\nZiel=${native_root}/TexteZiel\r\nKollision=1\r\n")
file(WRITE ${root}/config/AblagixSetting.ini "[AblagixForm]\r\nDokumenttextAus=0\r\n")
run_cli(0 out run --simulate Texte --format tsv --config-dir ${native_config})
expect("seite.html\t" "${out}")
file(WRITE ${root}/config/AblagixSetting.ini "[AblagixForm]\r\nDokumenttextAus=1\r\n")
run_cli(0 out run --simulate Texte --format tsv --config-dir ${native_config})
expect("Keine Datei(en) gefunden" "${out}")

# A cell that holds a tab, a line break or a backslash stays one cell of its one line, so a
# script reads every column where it belongs. (Such names exist on Linux only.)
if(NOT EMULATOR)
  file(WRITE "${root}/Namen/tab\tGelöscht X\there.txt" "t")
  file(WRITE "${root}/Namen/neue\nzeile.txt" "n")
  file(WRITE "${root}/Namen/rück\\strich.txt" "b")
  file(APPEND ${root}/profile.ini
    "[Namen]\r\nQuelle=${native_root}/Namen\r\nFilter=Alles\r\nAktion=LöschenX\r\n")
  run_cli(0 out run --simulate Namen --format tsv)
  expect("tab\\tGelöscht X\\there.txt\t" "${out}")
  expect("neue\\nzeile.txt\t" "${out}")
  expect("rück\\\\strich.txt\t" "${out}")
  string(REPLACE "\n" ";" lines "${out}")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "[^\t]" "" tabs "${line}")
    string(LENGTH "${tabs}" columns)
    if(line AND NOT columns EQUAL 13)
      message(FATAL_ERROR "a tab-separated row does not have its 14 columns: ${line}\n${out}")
    endif()
  endforeach()
endif()

run_cli(0 out run Rechnungen)
expect("Verschoben" "${out}")
if(NOT EXISTS "${root}/Ablage/pdf/Rechnung März.pdf" OR NOT EXISTS "${root}/Ablage/pdf/Rechnung 2.pdf"
   OR EXISTS "${root}/Eingang/Rechnung März.pdf" OR NOT EXISTS "${root}/Eingang/notiz.txt")
  message(FATAL_ERROR "the run did not move exactly the pdf files:\n${out}")
endif()

run_cli(2 out run)
expect("Bitte Profilnamen oder --all angeben." "${out}")
run_cli(2 out run "Gibt es nicht")
expect("Kein Profil" "${out}")
run_cli(2 out run --all --format html)
expect("Unbekanntes Format" "${out}")
run_cli(2 out timer --all)
expect("--interval" "${out}")

# expand and exif: the values a target folder gets for one file.
run_cli(0 out expand "${native_root}/Eingang/notiz.txt" "X\\%DateiNameTeil[2-3]%\\%Ext%\\%Model%")
expect("X\\ot\\txt\\Unbekannt" "${out}")
run_cli(2 out expand "${native_root}/fehlt.txt" "%Ext%")
expect("Datei nicht gefunden" "${out}")
set(seed ${CMAKE_CURRENT_LIST_DIR}/../fuzz/seeds/exif_reader_fuzz/camera.jpg)
if(EMULATOR)
  string(REPLACE "/" "\\" seed "Z:${seed}")
endif()
run_cli(0 out exif "${seed}")
expect("Model                  TestCam" "${out}")
expect("Breitengrad            N51,5" "${out}")

# Unattended, a question whose answer destroys data gets the answer that keeps the file: the
# read-only file is not shredded and its row says why. --ja gives the other answer.
file(WRITE "${root}/Geheim/konto.txt" "geheim")
file(CHMOD "${root}/Geheim/konto.txt" PERMISSIONS OWNER_READ GROUP_READ WORLD_READ)
file(APPEND ${root}/profile.ini
  "[Schreddern]\r\nQuelle=${native_root}/Geheim\r\nFilter=Alles\r\nAktion=LöschenS\r\n")
function(run_cli_unattended expected_rc out_var)
  set(command ${CLI} ${ARGN} --profiles ${root}/profile.ini --config-dir ${native_root}/config)
  if(EMULATOR)
    set(command ${EMULATOR} ${command})
  endif()
  execute_process(COMMAND ${command} INPUT_FILE /dev/null OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL expected_rc)
    message(FATAL_ERROR "${ARGN}: exit ${rc}, expected ${expected_rc}\n${out}${err}")
  endif()
  set(${out_var} "${out}${err}" PARENT_SCOPE)
endfunction()
run_cli_unattended(1 out run Schreddern --format tsv)
expect("Fehler! Schreibgeschützt, nicht geschreddert" "${out}")
expect("die Datei bleibt unverändert" "${out}")
if(NOT EXISTS "${root}/Geheim/konto.txt")
  message(FATAL_ERROR "an unattended run shredded a read-only file:\n${out}")
endif()
run_cli_unattended(0 out run Schreddern --ja --format tsv)
expect("Gelöscht S" "${out}")
if(EXISTS "${root}/Geheim/konto.txt")
  message(FATAL_ERROR "--ja did not shred the read-only file:\n${out}")
endif()

# Ctrl+C in the middle of a long copy stops it: exit code 130, no partial copy, the source
# whole. (Linux only: the signal is sent by `timeout`.)
find_program(TIMEOUT timeout)
find_program(TRUNCATE truncate)
if(NOT EMULATOR AND TIMEOUT AND TRUNCATE)
  file(MAKE_DIRECTORY "${root}/Gross")
  execute_process(COMMAND ${TRUNCATE} -s 3G "${root}/Gross/film.bin")
  file(APPEND ${root}/profile.ini
    "[Gross]\r\nQuelle=${native_root}/Gross\r\nFilter=Alles\r\nAktion=Kopieren\r\nZiel=${native_root}/GrossZiel\r\nKollision=0\r\n")
  execute_process(COMMAND ${TIMEOUT} --preserve-status -s INT 0.5 ${CLI} run Gross --format tsv --profiles ${root}/profile.ini --config-dir ${native_root}/config
                  INPUT_FILE /dev/null OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
  file(GLOB copies "${root}/GrossZiel/*")
  file(SIZE "${root}/Gross/film.bin" size)
  file(REMOVE_RECURSE "${root}/Gross" "${root}/GrossZiel")
  if(rc EQUAL 0)
    message(STATUS "the copy ended before Ctrl+C arrived; nothing to check on this machine")
  elseif(NOT rc EQUAL 130)
    message(FATAL_ERROR "Ctrl+C during a copy: exit ${rc}, expected 130\n${out}${err}")
  else()
    expect("Fehler! Abgebrochen" "${out}")
    if(copies OR NOT size EQUAL 3221225472)
      message(FATAL_ERROR "Ctrl+C left a partial copy (${copies}) or changed the source (${size})")
    endif()
  endif()
endif()
