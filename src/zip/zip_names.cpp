#include "zip/zip_names.h"

#include "fileops/path_text.h"

#include "base/text.h"
#include "zip/zip_reader.h"

namespace ablagix {
namespace {

// A backslash that is part of a Linux file name, as the engine carries it: not a separator.
constexpr char32_t kNameBackslash = 0xDC5C;

bool IsSeparator(wchar_t c) { return c == L'\\' || c == L'/'; }

bool IsDriveLetter(wchar_t c) { return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z'); }

// C0, DEL and C1: invisible, and C0 is refused by Windows outright.
bool IsControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

bool IsForbiddenInName(char32_t c) {
  switch (c) {
    case U'\\': case U'/': case U':': case U'*': case U'?': case U'"': case U'<': case U'>': case U'|':
      return true;
    default:
      return IsControl(c);
  }
}

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

std::vector<std::wstring_view> Components(std::wstring_view rest) {
  std::vector<std::wstring_view> parts;
  for (;;) {
    std::size_t end = 0;
    while (end < rest.size() && !IsSeparator(rest[end])) ++end;
    parts.push_back(rest.substr(0, end));
    if (end == rest.size()) return parts;
    rest.remove_prefix(end + 1);
  }
}

// Windows drops trailing dots and blanks from a name, so ". ." and "..." both mean "..".
bool IsDotsOnly(std::wstring_view part) {
  while (!part.empty() && (part.back() == L'.' || part.back() == L' ')) part.remove_suffix(1);
  return part.empty();
}

// Appends one code point, joined again from a surrogate pair where wchar_t is 16 bits wide.
void Append(std::wstring& out, char32_t c) {
  if (sizeof(wchar_t) == 2 && c >= 0x10000) {
    out.push_back(static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10)));
    out.push_back(static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF)));
  } else {
    out.push_back(static_cast<wchar_t>(c));
  }
}

}  // namespace

std::wstring SafeEntryComponent(std::wstring_view name) {
  std::wstring out;
  out.reserve(name.size());
  for (std::size_t i = 0; i < name.size(); ++i) {
    auto c = static_cast<char32_t>(name[i]);
    if (sizeof(wchar_t) == 2 && c >= 0xD800 && c <= 0xDBFF && i + 1 < name.size() && name[i + 1] >= 0xDC00 &&
        name[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (static_cast<char32_t>(name[++i]) - 0xDC00);
    } else if (c >= 0xDC80 && c <= 0xDCFF) {
      // A byte of a name that is not UTF-8: most such names on a German disk are Windows-1252
      // (or its subset Latin-1), and a name the person can read beats "_".
      c = static_cast<char32_t>(FromWindows1252(std::string(1, static_cast<char>(c - 0xDC00)))[0]);
    } else if (c == kNameBackslash || (c >= 0xD800 && c <= 0xDFFF) || c > 0x10FFFF) {
      c = U'_';
    }
    Append(out, IsForbiddenInName(c) ? U'_' : c);
  }
  if (IsDotsOnly(out)) return L"_";
  if (out.back() == L'.' || out.back() == L' ') out.back() = L'_';
  const std::size_t stemEnd = out.find(L'.');
  if (IsWindowsDeviceName(std::wstring_view(out).substr(0, stemEnd))) {
    std::size_t at = stemEnd == std::wstring::npos ? out.size() : stemEnd;
    while (at > 0 && out[at - 1] == L' ') --at;
    out.insert(at, 1, L'_');
  }
  return out;
}

std::string ZipEntryNameForPath(std::wstring_view path, bool keepFolders) {
  const std::vector<std::wstring_view> parts = Components(WithoutRoot(path));
  // The last part is the file's own name, whatever it looks like; taking the last part that
  // looks like a name instead would give the file its folder's name.
  const std::wstring name = SafeEntryComponent(parts.back());
  if (!keepFolders) return ToUtf8(name);
  std::wstring entry;
  for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
    const std::wstring_view folder = parts[i];
    if (folder.empty() || folder == L"." || folder == L"..") continue;
    entry += SafeEntryComponent(folder);
    entry += L'/';
  }
  return ToUtf8(entry + name);
}

bool SafeExtractParts(std::string_view entryName, std::vector<std::wstring>* parts, bool* renamed) {
  parts->clear();
  if (renamed) *renamed = false;
  const std::wstring name = FromUtf8(entryName);
  if (name.empty() || IsSeparator(name.front())) return false;
  bool changed = false;
  for (std::wstring_view part : Components(name)) {
    if (part.empty() || part == L".") continue;
    bool bad = IsDotsOnly(part);
    for (wchar_t c : part) bad = bad || c == L':' || c == 0xFFFD;
    if (bad) {
      parts->clear();
      return false;
    }
    std::wstring safe = SafeEntryComponent(part);
    changed = changed || safe != part;
    parts->push_back(std::move(safe));
  }
  if (renamed) *renamed = changed;
  return !parts->empty();
}

EntryRefusal ExtractPartsOf(const ZipEntry& entry, std::vector<std::wstring>* parts, bool* renamed) {
  parts->clear();
  if (renamed) *renamed = false;
  if (!SafeExtractParts(entry.name, parts, renamed)) return EntryRefusal::kLeavesFolder;
  if (IsLinkEntry(entry)) {
    parts->clear();
    return EntryRefusal::kLink;
  }
  return EntryRefusal::kNone;
}

std::wstring_view EntryRefusalText(EntryRefusal refusal) {
  switch (refusal) {
    case EntryRefusal::kNone: return L"";
    case EntryRefusal::kLeavesFolder: return L"Der Name f\u00fchrt aus dem Zielordner hinaus";
    case EntryRefusal::kLink: return L"Verkn\u00fcpfungen im Archiv werden nicht entpackt";
  }
  return L"";
}

}  // namespace ablagix
