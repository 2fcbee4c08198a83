// Handing things to the shell: a web address to the browser, the folder a folder chooser
// opens in, and the parameters a restart of the program passes on.
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

// "http://", "https://" or "mailto:" followed by something, in any case. Only such texts are
// handed to the shell as web addresses: anything else could name a program to start.
bool IsWebAddress(std::wstring_view text);

// Opens a web address with the shell's verb "Open" (Windows) or xdg-open (Linux). False when
// `address` is no web address or nothing could be started.
bool OpenWebAddress(const std::wstring& address);

// Where a folder chooser opens: `folder` when one is given, else the root of the system
// drive (%SystemDrive% followed by "\", "C:\" when the variable is not set).
std::wstring BrowseStartFolder(std::wstring_view folder);

// The parameters of a command line: everything after the program's name, which may be
// quoted ("\"C:\Programme\Ablagix\Ablagix.exe\" --profiles \"D:\a b.ini\"" gives
// "--profiles \"D:\a b.ini\""), without the blanks in between.
std::wstring CommandLineParameters(std::wstring_view commandLine);

}  // namespace ablagix
