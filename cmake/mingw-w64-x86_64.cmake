# Cross compiling for 64-bit Windows with Debian's MinGW-w64 (posix threads variant,
# which std::thread and GoogleTest need).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ABLAGIX_MINGW x86_64-w64-mingw32)
find_program(CMAKE_CXX_COMPILER NAMES ${ABLAGIX_MINGW}-g++-posix ${ABLAGIX_MINGW}-g++ REQUIRED)
find_program(CMAKE_C_COMPILER NAMES ${ABLAGIX_MINGW}-gcc-posix ${ABLAGIX_MINGW}-gcc REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${ABLAGIX_MINGW}-windres REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${ABLAGIX_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test binaries run under Wine; tools/wine-run keeps a private prefix inside the build folder.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../tools/wine-run)
