// The name a file gets from the profile's "Zielname": a template of fixed text and tokens
// (every path variable, "%Nr%" and "%Nr*000%" for the file's running number in the run), made
// into a name that every file system the program writes to can hold, with the file's own
// extension.
//
//   NewFileName(L"%Geändert*yyyy-mm-dd% %Ordner% %Nr*000%", facts, variables, 7)
//     -> L"2024-05-17 Urlaub 007.jpg"
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "metadata/path_variables.h"

namespace ablagix {

// The longest name, extension included: 255 UTF-16 units on Windows, 255 bytes on Linux.
inline constexpr std::size_t kLongestName = 255;

// The new name of `file`: `zielname` expanded (`number` for "%Nr%"), every character that a
// Windows name cannot hold as "_", blanks and dots trimmed at both ends, "Unbekannt" when
// nothing is left, a device name ("CON", "LPT1", ...) with "_" after it, cut to fit
// kLongestName together with the file's extension, which it keeps.
std::wstring NewFileName(std::wstring_view zielname, const FileFacts& file, const PathVariableContext& context,
                         std::uint64_t number);

// Whether `zielname` has a token of the running number.
bool UsesRunningNumber(std::wstring_view zielname);

}  // namespace ablagix
