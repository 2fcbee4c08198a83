// The short (8.3) form of a path, for programs that cannot take long or non-ANSI names.
#pragma once

#include <string>

namespace ablagix {

// Windows: the system's short form ("C:\PROGRA~1\Ablagix\LIESMI~1.TXT"), which keeps a long
// part where the volume has no short names. Linux has no short names: the path itself. ""
// when the path does not exist.
std::wstring ShortPath(const std::wstring& path);

}  // namespace ablagix
