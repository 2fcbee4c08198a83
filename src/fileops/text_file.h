// Reading a whole text file into text, whichever way it was written: the program's own
// reports and lists (UTF-16LE, with or without byte-order mark), UTF-8, UTF-16BE, and the
// ANSI text (Windows-1252) of older tools.
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

// The text of `path`; false when it cannot be read. The byte-order mark decides when there
// is one; without one, a file whose every second byte is zero for plain letters is UTF-16LE,
// a file that is valid UTF-8 with letters beyond ASCII is UTF-8, anything else Windows-1252.
[[nodiscard]] bool ReadTextFile(const std::wstring& path, std::wstring* text);

// The same decision on bytes already read.
std::wstring DecodeTextFile(std::string_view bytes);

}  // namespace ablagix
