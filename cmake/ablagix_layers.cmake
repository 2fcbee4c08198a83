# The core is a stack of static libraries, one per folder under src/. A folder may include and
# call only the folders it names as its floors (and what those see in turn); the build enforces
# that twice:
#   - each target compiles against an include root of its own that holds links to exactly the
#     folders it may see, so "#include "engine/run.h"" from fileops finds no such file, even
#     for a header with only inline code in it;
#   - each library links only the libraries below it, so a call that runs back up has nothing
#     to resolve against when a program is linked without the higher layer.
# No include path of the core names src/ itself. A test (cmake/check_layers.cmake) reads every
# "#include" of src/ against the same table, which also catches an include spelled with "../".

set(ABLAGIX_INCLUDE_ROOTS ${CMAKE_BINARY_DIR}/include_roots)
# The self-extractor compiles a few core files itself (src/sfx/CMakeLists.txt).
set(ABLAGIX_SFX_FOLDERS sfx base fileops zip)

# Folders (under src/) that the folder's code may include: itself and everything below it.
function(ablagix_visible_folders out)
  set(visible "")
  foreach(folder IN LISTS ARGN)
    get_property(below GLOBAL PROPERTY ABLAGIX_VISIBLE_${folder})
    list(APPEND visible ${folder} ${below})
  endforeach()
  list(REMOVE_DUPLICATES visible)
  set(${out} ${visible} PARENT_SCOPE)
endfunction()

# Notes which folders `folder` may include, for the include test.
function(ablagix_record_folders folder)
  set_property(GLOBAL APPEND_STRING PROPERTY ABLAGIX_LAYER_TABLE "set(ABLAGIX_SEES_${folder} ${ARGN})\n")
  set_property(GLOBAL APPEND PROPERTY ABLAGIX_LAYER_FOLDERS ${folder})
endfunction()

# The table of every folder and what it may include, as a CMake script for check_layers.cmake.
function(ablagix_write_layer_table path)
  get_property(table GLOBAL PROPERTY ABLAGIX_LAYER_TABLE)
  get_property(folders GLOBAL PROPERTY ABLAGIX_LAYER_FOLDERS)
  file(WRITE ${path} "set(ABLAGIX_FOLDERS ${folders})\n${table}")
endfunction()

# An include root for target that holds links to the named folders of src/ and nothing else.
function(ablagix_include_root target scope)
  set(root ${ABLAGIX_INCLUDE_ROOTS}/${target})
  file(REMOVE_RECURSE ${root})
  file(MAKE_DIRECTORY ${root})
  foreach(folder IN LISTS ARGN)
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${root}/${folder} SYMBOLIC)
  endforeach()
  target_include_directories(${target} ${scope} ${root})
endfunction()

# ablagix_layer(<folder> SOURCES <files...> [FLOORS <lower folders...>])
# Makes the static library ablagix_<folder> from the folder's sources.
function(ablagix_layer folder)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;FLOORS")
  set(target ablagix_${folder})
  add_library(${target} STATIC ${arg_SOURCES})
  ablagix_visible_folders(below ${arg_FLOORS})
  set_property(GLOBAL PROPERTY ABLAGIX_VISIBLE_${folder} ${below})
  ablagix_record_folders(${folder} ${folder} ${below})
  ablagix_include_root(${target} PUBLIC ${folder} ${below})
  foreach(floor IN LISTS arg_FLOORS)
    target_link_libraries(${target} PUBLIC ablagix_${floor})
  endforeach()
  target_compile_options(${target} PRIVATE ${ABLAGIX_WARNINGS})
endfunction()

# A program over the core: sees its own folder and the floors' folders.
function(ablagix_program_folders target folder)
  ablagix_visible_folders(below ${ARGN})
  ablagix_record_folders(${folder} ${folder} ${below})
  ablagix_include_root(${target} PRIVATE ${folder} ${below})
endfunction()
