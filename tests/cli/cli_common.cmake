# What the command-line test scripts share. Before including it a script sets `root`, the
# folder its files live in; `native_root` is that folder as ablagix-cli sees it (a Z: path
# under Wine).
set(native_root ${root})
if(EMULATOR)
  string(REPLACE "/" "\\" native_root "Z:${root}")
endif()

# Runs ablagix-cli with the script's profiles and settings; fails unless it exits with
# `expected_rc`. Standard output and errors together go into `out_var`.
# `config_dir`, when set, names another settings folder (another installation).
function(run_cli expected_rc out_var)
  if(NOT config_dir)
    set(config_dir ${native_root}/config)
  endif()
  set(command ${CLI} ${ARGN} --profiles ${root}/profile.ini --config-dir ${config_dir})
  if(EMULATOR)
    set(command ${EMULATOR} ${command})
  endif()
  execute_process(COMMAND ${command} OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL expected_rc)
    message(FATAL_ERROR "${ARGN}: exit ${rc}, expected ${expected_rc}\n${out}${err}")
  endif()
  set(${out_var} "${out}${err}" PARENT_SCOPE)
endfunction()

function(expect text haystack)
  string(FIND "${haystack}" "${text}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "expected \"${text}\" in:\n${haystack}")
  endif()
endfunction()
