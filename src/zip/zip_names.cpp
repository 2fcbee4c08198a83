#include "zip/zip_names.h"

#include "base/text.h"

namespace ablagix {
namespace {

bool IsSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool IsDriveLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

// What remains of a Windows path once every way of naming a root is taken off: the
// long-path prefix, "UNC\server\share", "\\server\share", a drive, leading separators.
std::wstring_view WithoutRoot(std::wstring_view path) {
  auto skipComponent = [&path] {
    while (!path.empty() && !IsSeparator(path.front())) path.remove_prefix(1);
  };
  auto skipSeparators = [&path] {
    while (!path.empty() && IsSeparator(path.front())) path.remove_prefix(1);
  };
  if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\") || path.starts_with(L"//?/")) {
    path.remove_prefix(4);
    if (path.size() >= 3 && EqualsNoCase(path.substr(0, 3), L"UNC") && (path.size() == 3 || IsSeparator(path[3]))) {
      path.remove_prefix(3);
      skipSeparators();
      skipComponent();  // server
      skipSeparators();
      skipComponent();  // share
    }
  } else if (path.size() >= 2 && IsSeparator(path[0]) && IsSeparator(path[1])) {
    skipSeparators();
    skipComponent();  // server
    skipSeparators();
    skipComponent();  // share
  }
  if (path.size() >= 2 && IsDriveLetter(path[0]) && path[1] == L':') path.remove_prefix(2);
  skipSeparators();
  return path;
}

// Windows drops trailing dots and blanks from a name, so ". ." and "..." both mean "..".
bool IsDotsOnly(std::wstring_view part) {
  while (!part.empty() && (part.back() == L'.' || part.back() == L' ')) part.remove_suffix(1);
  return part.empty();
}

}  // namespace

std::string ZipEntryNameForPath(std::wstring_view path, bool keepFolders) {
  std::wstring_view rest = WithoutRoot(path);
  std::vector<std::wstring_view> parts;
  while (!rest.empty()) {
    std::size_t end = 0;
    while (end < rest.size() && !IsSeparator(rest[end])) ++end;
    const std::wstring_view part = rest.substr(0, end);
    if (!part.empty() && !IsDotsOnly(part)) parts.push_back(part);
    rest.remove_prefix(end < rest.size() ? end + 1 : end);
  }
  if (parts.empty()) return "_";
  if (!keepFolders) return ToUtf8(parts.back());
  std::wstring name;
  for (std::wstring_view part : parts) {
    if (!name.empty()) name += L'/';
    name += part;
  }
  return ToUtf8(name);
}

bool SafeExtractParts(std::string_view entryName, std::vector<std::wstring>* parts) {
  parts->clear();
  const std::wstring name = FromUtf8(entryName);
  if (name.empty() || IsSeparator(name.front())) return false;
  std::wstring_view rest = name;
  while (!rest.empty()) {
    std::size_t end = 0;
    while (end < rest.size() && !IsSeparator(rest[end])) ++end;
    const std::wstring_view part = rest.substr(0, end);
    rest.remove_prefix(end < rest.size() ? end + 1 : end);
    if (part.empty() || part == L".") continue;
    bool bad = IsDotsOnly(part);
    for (wchar_t c : part) bad = bad || c < 0x20 || c == L':' || c == 0xFFFD;
    if (bad) {
      parts->clear();
      return false;
    }
    parts->emplace_back(part);
  }
  return !parts->empty();
}

}  // namespace ablagix
