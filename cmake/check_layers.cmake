# Reads every "#include "..."" of the sources under SOURCE_DIR and fails when one reaches a
# folder that its own folder may not include (LAYER_TABLE, written by src/CMakeLists.txt), or
# climbs with "../", which no include root can stop.
#   cmake -DSOURCE_DIR=<src> -DLAYER_TABLE=<build>/layer_table.cmake -P check_layers.cmake
cmake_minimum_required(VERSION 3.25)
include(${LAYER_TABLE})

# Every folder of src/ is a layer (the window's too, which only the Windows build compiles):
# none may be reached from a folder that does not list it.
file(GLOB entries LIST_DIRECTORIES true RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/*)
set(layers "")
foreach(entry IN LISTS entries)
  if(IS_DIRECTORY ${SOURCE_DIR}/${entry})
    list(APPEND layers ${entry})
  endif()
endforeach()

set(faults "")
set(checked 0)
foreach(folder IN LISTS ABLAGIX_FOLDERS)
  file(GLOB_RECURSE sources ${SOURCE_DIR}/${folder}/*.h ${SOURCE_DIR}/${folder}/*.cpp)
  foreach(source IN LISTS sources)
    file(STRINGS ${source} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    foreach(line IN LISTS includes)
      string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]*)\".*" "\\1" name "${line}")
      math(EXPR checked "${checked} + 1")
      file(RELATIVE_PATH shown ${SOURCE_DIR} ${source})
      if(name MATCHES "(^|/)\\.\\./")
        list(APPEND faults "${shown}: ${name} (climbs with ../)")
        continue()
      endif()
      # A name without a folder is the including file's neighbour or a generated header.
      if(NOT name MATCHES "/")
        continue()
      endif()
      string(REGEX REPLACE "/.*" "" reached "${name}")
      if(reached IN_LIST layers AND NOT reached IN_LIST ABLAGIX_SEES_${folder})
        list(JOIN ABLAGIX_SEES_${folder} ", " allowed)
        list(APPEND faults "${shown}: ${name} (${folder} may include only ${allowed})")
      endif()
    endforeach()
  endforeach()
endforeach()

if(checked EQUAL 0)
  message(FATAL_ERROR "No includes found under ${SOURCE_DIR}")
endif()
if(faults)
  list(JOIN faults "\n  " text)
  message(FATAL_ERROR "Includes against the layers:\n  ${text}")
endif()
message(STATUS "${checked} includes follow the layers")
