// System error codes (GetLastError on Windows, errno on Linux) as short German reasons for log
// rows and messages. system_error_win32.cpp and system_error_posix.cpp hold the two tables.
#pragma once

#include <cstdint>
#include <string>

namespace ablagix {

// "Nicht genügend Speicherplatz", "Zugriff verweigert", ...; unknown codes give
// "Systemfehler <code>".
std::wstring SystemErrorText(std::uint32_t code);

// The system's codes for a full disk and for a name that is taken, for callers and tests that
// must recognise or provoke them.
std::uint32_t DiskFullError();
std::uint32_t AlreadyExistsError();

}  // namespace ablagix
