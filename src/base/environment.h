// Process environment: variables, the program's own folder and the per-user data folder.
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

// The value of an environment variable, "" when it is not set.
std::wstring EnvironmentValue(std::wstring_view name);

// The folder of the running executable, with a trailing separator.
std::wstring ExecutableFolder();

// The per-user application-data folder: %APPDATA% on Windows. On Linux $APPDATA when set
// (so a Windows-minded setup can point it anywhere), else $XDG_CONFIG_HOME, else ~/.config.
std::wstring UserDataFolder();

}  // namespace ablagix
