#include <windows.h>

#include "desktop/autostart.h"
#include "fileops/win32_handle.h"

namespace ablagix {

bool WriteRunKeyValue(const std::wstring& data) {
  HKEY opened = nullptr;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, std::wstring(kRunKey).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                      &opened, nullptr) != ERROR_SUCCESS) {
    return false;
  }
  const UniqueHkey key(opened);
  return RegSetValueExW(key.get(), std::wstring(kRunValueName).c_str(), 0, REG_SZ,
                        reinterpret_cast<const BYTE*>(data.c_str()),
                        static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

bool DeleteRunKeyValue() {
  HKEY opened = nullptr;
  const LONG result = RegOpenKeyExW(HKEY_CURRENT_USER, std::wstring(kRunKey).c_str(), 0, KEY_SET_VALUE, &opened);
  if (result == ERROR_FILE_NOT_FOUND) return true;  // no key, no entry
  if (result != ERROR_SUCCESS) return false;
  const UniqueHkey key(opened);
  const LONG deleted = RegDeleteValueW(key.get(), std::wstring(kRunValueName).c_str());
  return deleted == ERROR_SUCCESS || deleted == ERROR_FILE_NOT_FOUND;
}

}  // namespace ablagix
