#include <windows.h>
#include <shellapi.h>

#include "desktop/shell_open.h"

namespace ablagix {

bool OpenWebAddress(const std::wstring& address) {
  if (!IsWebAddress(address)) return false;
  return reinterpret_cast<INT_PTR>(ShellExecuteW(nullptr, L"Open", address.c_str(), nullptr, nullptr, SW_SHOWNORMAL)) > 32;
}

}  // namespace ablagix
