# ablagix-cli run --export end to end. An unknown extension is refused before anything
# runs; a simulated run over 100 files is exported as a PDF of three pages, in which pdftotext
# must find the umlauts, the column headers on every page and every page label, and in which
# qpdf --check must find nothing wrong. The reader checks are skipped when the tools are not
# installed (tools/setup installs them).
set(root ${WORK}/pdf-readers)
file(REMOVE_RECURSE ${root})
foreach(i RANGE 1 100)
  string(LENGTH "${i}" digits)
  math(EXPR pad "3 - ${digits}")
  string(REPEAT "0" ${pad} zeros)
  file(WRITE "${root}/Eingang/Prüfung Größe Äpfel ${zeros}${i}.txt" "x")
endforeach()
file(WRITE
  "${root}/Eingang/Ein sehr langer Dateiname, der nicht in die Spalte passt und gekürzt wird.txt" "x")
set(native_root ${root})
if(EMULATOR)
  string(REPLACE "/" "\\" native_root "Z:${root}")
endif()
file(WRITE ${root}/profile.ini
  "[Umlaute]\r\nQuelle=${native_root}/Eingang\r\nFilter=Alles\r\nAktion=Kopieren\r\n"
  "Ziel=${native_root}/Ziel\r\nKollision=1\r\nZippen=0\r\n")

function(run_cli expected_rc out_var)
  set(command ${CLI} run --simulate --all ${ARGN}
    --profiles ${root}/profile.ini --config-dir ${native_root}/config)
  if(EMULATOR)
    set(command ${EMULATOR} ${command})
  endif()
  execute_process(COMMAND ${command} OUTPUT_QUIET ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL expected_rc)
    message(FATAL_ERROR "${ARGN}: exit ${rc}, expected ${expected_rc}\n${err}")
  endif()
  set(${out_var} "${err}" PARENT_SCOPE)
endfunction()

run_cli(2 err --export ${native_root}/report.doc)
if(NOT err MATCHES "Unbekannte Dateiendung" OR EXISTS ${root}/report.doc)
  message(FATAL_ERROR "an unknown extension was not refused:\n${err}")
endif()

run_cli(0 err --export ${native_root}/report.pdf)

find_program(PDFTOTEXT pdftotext)
find_program(QPDF qpdf)
if(NOT PDFTOTEXT OR NOT QPDF)
  message("SKIPPED: pdftotext or qpdf not installed")
  return()
endif()

execute_process(COMMAND ${QPDF} --check ${root}/report.pdf
  OUTPUT_VARIABLE check ERROR_VARIABLE check_err RESULT_VARIABLE rc)
if(NOT rc EQUAL 0 OR NOT check MATCHES "No syntax or stream encoding errors found")
  message(FATAL_ERROR "qpdf --check (exit ${rc}):\n${check}${check_err}")
endif()
execute_process(COMMAND ${QPDF} --show-npages ${root}/report.pdf OUTPUT_VARIABLE pages
  OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT pages EQUAL 3)
  message(FATAL_ERROR "expected 3 pages, qpdf counts ${pages}")
endif()

function(expect_count text haystack count)
  string(REGEX MATCHALL "${text}" found "${haystack}")
  list(LENGTH found n)
  if(NOT n EQUAL count)
    message(FATAL_ERROR "expected \"${text}\" ${count} times, found ${n} in:\n${haystack}")
  endif()
endfunction()

execute_process(COMMAND ${PDFTOTEXT} -enc UTF-8 -layout ${root}/report.pdf - OUTPUT_VARIABLE text
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "pdftotext failed (exit ${rc})")
endif()
expect_count("Ablagix: Dateiliste vom [0-9][0-9]\\.[0-9][0-9]\\.[0-9][0-9][0-9][0-9]" "${text}" 1)
expect_count("Datei +Pfad +Größe +Geändert am +Erstellt am +Zielpfad +Ergebnis" "${text}" 3)
foreach(page 1 2 3)
  expect_count("Seite ${page}\n" "${text}" 1)
endforeach()
expect_count("Prüfung Größe Äpfel [0-9][0-9][0-9]\\.txt" "${text}" 100)
expect_count("Ein sehr langer Dateiname,[A-Za-z ]*\\.\\.\\." "${text}" 1)
expect_count("Kopieren, simuliert" "${text}" 101)
