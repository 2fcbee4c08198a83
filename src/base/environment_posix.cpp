#include <unistd.h>

#include <cstdlib>
#include <string>

#include "base/environment.h"
#include "base/text.h"

namespace ablagix {

std::wstring EnvironmentValue(std::wstring_view name) {
  const char* value = std::getenv(ToUtf8(name).c_str());
  return value ? FromUtf8(value) : std::wstring();
}

std::wstring ExecutableFolder() {
  std::string buffer(4096, '\0');
  ssize_t n = ::readlink("/proc/self/exe", buffer.data(), buffer.size());
  if (n <= 0) return L"./";
  buffer.resize(static_cast<size_t>(n));
  return FromUtf8(buffer.substr(0, buffer.find_last_of('/') + 1));
}

std::wstring UserDataFolder() {
  for (const wchar_t* name : {L"APPDATA", L"XDG_CONFIG_HOME"}) {
    std::wstring value = EnvironmentValue(name);
    if (!value.empty()) return value;
  }
  std::wstring home = EnvironmentValue(L"HOME");
  return (home.empty() ? L"." : home) + L"/.config";
}

}  // namespace ablagix
