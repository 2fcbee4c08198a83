#include "fileops/path_text.h"

#include <algorithm>
#include <vector>

#include "base/text.h"

namespace ablagix {
namespace {

#ifdef _WIN32
constexpr wchar_t kNativeSeparator = L'\\';
constexpr bool kNamesIgnoreCase = true;
#else
constexpr wchar_t kNativeSeparator = L'/';
constexpr bool kNamesIgnoreCase = false;
#endif

// These run several times for every file of a run.
wchar_t SeparatorUsedBy(std::wstring_view path) {
  if (path.find(L'\\') != std::wstring_view::npos) return L'\\';
  if (path.find(L'/') != std::wstring_view::npos) return L'/';
  return kNativeSeparator;
}

size_t LastSeparator(std::wstring_view path) {
  for (size_t i = path.size(); i > 0; --i) {
    if (path[i - 1] == L'\\' || path[i - 1] == L'/') return i - 1;
  }
  return std::wstring_view::npos;
}

}  // namespace

bool IsPathSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool EndsWithSeparator(std::wstring_view path) {
  return !path.empty() && IsPathSeparator(path.back());
}

std::wstring WithTrailingBackslash(std::wstring_view folder) {
  std::wstring out(folder);
  if (!EndsWithSeparator(folder)) out.push_back(SeparatorUsedBy(folder));
  return out;
}

std::wstring_view WithoutTrailingSeparator(std::wstring_view path) {
  if (EndsWithSeparator(path)) path.remove_suffix(1);
  return path;
}

std::wstring FolderPart(std::wstring_view path) {
  path = WithoutTrailingSeparator(path);
  size_t pos = LastSeparator(path);
  if (pos == std::wstring_view::npos) return {};
  return std::wstring(path.substr(0, pos + 1));
}

std::wstring NamePart(std::wstring_view path) {
  path = WithoutTrailingSeparator(path);
  size_t pos = LastSeparator(path);
  return std::wstring(pos == std::wstring_view::npos ? path : path.substr(pos + 1));
}

std::wstring_view ExtensionOf(std::wstring_view name) {
  size_t pos = name.rfind(L'.');
  if (pos == std::wstring_view::npos) return {};
  return name.substr(pos + 1);
}

std::wstring JoinPath(std::wstring_view folder, std::wstring_view name) {
  std::wstring out = WithTrailingBackslash(folder);
  out += name;
  return out;
}

std::wstring LongPathForm(std::wstring_view path) {
  if (path.starts_with(L"\\\\?\\")) return std::wstring(path);
  if (path.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + std::wstring(path.substr(2));
  return L"\\\\?\\" + std::wstring(path);
}

std::wstring NormalizedFullPath(std::wstring_view path) {
  if (path.starts_with(L"\\\\?\\")) return std::wstring(path);
  std::wstring root;
  std::wstring_view rest;
  const bool unc = path.size() > 2 && IsPathSeparator(path[0]) && IsPathSeparator(path[1]);
  if (path.size() >= 3 && path[1] == L':' && IsPathSeparator(path[2])) {
    root = std::wstring(path.substr(0, 2)) + L"\\";
    rest = path.substr(3);
  } else if (unc) {
    // "\\server\share\": both names belong to the root and are never climbed out of.
    std::size_t end = 2;
    root = L"\\\\";
    for (int names = 0; names < 2; ++names) {
      std::size_t next = end;
      while (next < path.size() && !IsPathSeparator(path[next])) ++next;
      root.append(path.substr(end, next - end)).append(L"\\");
      end = std::min(next + 1, path.size());
    }
    rest = path.substr(end);
  } else {
    return std::wstring(path);
  }
  std::vector<std::wstring_view> names;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= rest.size(); ++i) {
    if (i < rest.size() && !IsPathSeparator(rest[i])) continue;
    const std::wstring_view name = rest.substr(start, i - start);
    start = i + 1;
    if (name.empty() || name == L".") continue;
    if (name == L"..") {
      if (!names.empty()) names.pop_back();
      continue;
    }
    names.push_back(name);
  }
  std::wstring out = root;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (i) out += L'\\';
    out += names[i];
  }
  if (!names.empty() && EndsWithSeparator(path)) out += L'\\';
  return out;
}

namespace {
bool IsAsciiLetter(wchar_t c, wchar_t upper) { return c == upper || c == upper + (L'a' - L'A'); }
}  // namespace

bool IsWindowsDeviceName(std::wstring_view stem) {
  while (!stem.empty() && stem.back() == L' ') stem.remove_suffix(1);
  for (std::wstring_view device : {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$"}) {
    if (EqualsNoCase(stem, device)) return true;
  }
  if (stem.size() != 4) return false;
  const bool com = IsAsciiLetter(stem[0], L'C') && IsAsciiLetter(stem[1], L'O') && IsAsciiLetter(stem[2], L'M');
  const bool lpt = IsAsciiLetter(stem[0], L'L') && IsAsciiLetter(stem[1], L'P') && IsAsciiLetter(stem[2], L'T');
  const wchar_t n = stem[3];
  return (com || lpt) && ((n >= L'0' && n <= L'9') || n == 0xB9 || n == 0xB2 || n == 0xB3);
}

bool WindowsRewritesName(std::wstring_view name) {
  if (name.empty() || name == L"." || name == L"..") return false;
  if (name.back() == L'.' || name.back() == L' ') return true;
  return IsWindowsDeviceName(name.substr(0, name.find(L'.')));
}

bool FileNamesIgnoreCase() { return kNamesIgnoreCase; }

bool SameNameChar(wchar_t a, wchar_t b) { return a == b || (kNamesIgnoreCase && FoldCase(a) == FoldCase(b)); }

bool SameFolderText(std::wstring_view a, std::wstring_view b) {
  a = WithoutTrailingSeparator(a);
  b = WithoutTrailingSeparator(b);
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (IsPathSeparator(a[i]) && IsPathSeparator(b[i])) continue;
    if (!SameNameChar(a[i], b[i])) return false;
  }
  return true;
}

bool FolderTextStartsWith(std::wstring_view path, std::wstring_view prefix) {
  if (prefix.size() > path.size()) return false;
  for (size_t i = 0; i < prefix.size(); ++i) {
    if (IsPathSeparator(path[i]) && IsPathSeparator(prefix[i])) continue;
    if (!SameNameChar(path[i], prefix[i])) return false;
  }
  return true;
}

std::wstring OwnTargetPrefix(std::wstring_view ziel) {
  const size_t variable = ziel.find(L'%');
  if (variable == std::wstring_view::npos) return ziel.empty() ? std::wstring() : WithTrailingBackslash(ziel);
  return std::wstring(ziel.substr(0, variable));
}

bool TargetInsideSource(std::wstring_view ziel, std::wstring_view quelle) {
  const std::wstring prefix = OwnTargetPrefix(ziel);
  const std::wstring source = WithTrailingBackslash(quelle);
  // Below the source folder, not the source folder itself: that one is always read.
  return prefix.size() > source.size() && FolderTextStartsWith(prefix, source);
}

}  // namespace ablagix
