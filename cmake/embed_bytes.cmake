# Writes a C++ file that holds the bytes of INPUT as the array NAME + "Data" and its length as
# NAME + "Size" (kSfxStubData, kSfxStubSize) in namespace ablagix. A missing INPUT gives an
# empty array, which the program reads as "not available".
#   cmake -DINPUT=file -DOUTPUT=file.cpp -DNAME=kSfxStub -P embed_bytes.cmake
if(EXISTS "${INPUT}")
  file(READ "${INPUT}" hex HEX)
else()
  set(hex "")
endif()
string(LENGTH "${hex}" digits)
math(EXPR size "${digits} / 2")
# One line per 32 bytes keeps the file readable for the compiler and for diff tools.
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," body "${hex}")
string(REGEX REPLACE "((0x..,){32})" "\\1\n" body "${body}")
set(text "// Generated from ${INPUT}; do not edit.\n#include <cstddef>\n\nnamespace ablagix {\n\n")
string(APPEND text "extern const unsigned char ${NAME}Data[];\nextern const std::size_t ${NAME}Size;\n")
string(APPEND text "const unsigned char ${NAME}Data[] = {\n${body}0};\nconst std::size_t ${NAME}Size = ${size};\n\n}  // namespace ablagix\n")
file(WRITE "${OUTPUT}.new" "${text}")
file(COPY_FILE "${OUTPUT}.new" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.new")
