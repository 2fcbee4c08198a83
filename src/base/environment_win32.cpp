#include <windows.h>

#include <string>

#include "base/environment.h"

namespace ablagix {

std::wstring EnvironmentValue(std::wstring_view name) {
  std::wstring key(name);
  DWORD needed = GetEnvironmentVariableW(key.c_str(), nullptr, 0);
  if (needed == 0) return {};
  std::wstring value(needed, L'\0');
  DWORD length = GetEnvironmentVariableW(key.c_str(), value.data(), needed);
  value.resize(length < needed ? length : 0);
  return value;
}

std::wstring ExecutableFolder() {
  std::wstring buffer(32768, L'\0');
  DWORD n = GetModuleFileNameW(nullptr, buffer.data(), static_cast<DWORD>(buffer.size()));
  buffer.resize(n);
  size_t slash = buffer.find_last_of(L"\\/");
  return slash == std::wstring::npos ? L".\\" : buffer.substr(0, slash + 1);
}

std::wstring UserDataFolder() { return EnvironmentValue(L"APPDATA"); }

}  // namespace ablagix
