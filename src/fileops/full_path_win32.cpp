#include "fileops/full_path.h"

#include <windows.h>

#include <cwctype>

#include "fileops/file_ops.h"
#include "fileops/path_text.h"

namespace ablagix {

bool IsFullPath(std::wstring_view path) {
  if (path.starts_with(L"\\\\?\\")) return path.size() > 4;
  if (path.size() >= 3 && iswalpha(path[0]) && path[1] == L':' && IsPathSeparator(path[2])) return true;
  // "\\server\share": both parts present.
  if (path.size() < 5 || !IsPathSeparator(path[0]) || !IsPathSeparator(path[1])) return false;
  const size_t shareStart = path.find_first_of(L"\\/", 2);
  return shareStart != std::wstring_view::npos && shareStart > 2 && shareStart + 1 < path.size() &&
         !IsPathSeparator(path[shareStart + 1]);
}

std::wstring FullPathText(const std::wstring& path) {
  // A full path is made plain as text only: the system's normalisation would strip a trailing
  // dot or blank from a name, or take "CON" for a device, and so act on another file than the
  // one the listing named.
  if (IsFullPath(path)) return NormalizedFullPath(path);
  std::wstring p = path;
  for (auto& c : p) {
    if (c == L'/') c = L'\\';
  }
  DWORD needed = GetFullPathNameW(p.c_str(), 0, nullptr, nullptr);
  if (needed == 0) return p;
  std::wstring full(needed, L'\0');
  DWORD length = GetFullPathNameW(p.c_str(), needed, full.data(), nullptr);
  if (length == 0 || length >= needed) return p;
  full.resize(length);
  return full;
}

}  // namespace ablagix
