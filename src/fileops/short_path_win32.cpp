#include <windows.h>

#include "fileops/path_text.h"
#include "fileops/short_path.h"

namespace ablagix {

std::wstring ShortPath(const std::wstring& path) {
  // The long-path form reaches paths beyond 260 characters; its prefix is taken off again,
  // since a program that wants short names will not understand it either.
  const std::wstring longForm = LongPathForm(path);
  const DWORD needed = GetShortPathNameW(longForm.c_str(), nullptr, 0);
  if (needed == 0) return {};
  std::wstring result(needed, L'\0');
  const DWORD length = GetShortPathNameW(longForm.c_str(), result.data(), needed);
  if (length == 0 || length >= needed) return {};
  result.resize(length);
  if (result.starts_with(L"\\\\?\\UNC\\")) return L"\\\\" + result.substr(8);
  if (result.starts_with(L"\\\\?\\")) return result.substr(4);
  return result;
}

}  // namespace ablagix
