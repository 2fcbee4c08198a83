#include "engine/new_name.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

constexpr std::wstring_view kNumberName = L"Nr";

bool IsNumberToken(std::wstring_view token) { return token == kNumberName || token.starts_with(L"Nr*"); }

// "%Nr*000%" pads to three digits; the digits of the pattern only count by their number.
std::wstring NumberValue(std::wstring_view token, std::uint64_t number) {
  std::wstring digits = NumberText(number);
  const std::size_t star = token.find(L'*');
  const std::size_t width = star == std::wstring_view::npos ? 0 : token.size() - star - 1;
  if (digits.size() < width) digits.insert(0, width - digits.size(), L'0');
  return digits;
}

bool IsForbidden(wchar_t c) {
  // A "\" of a Linux name counts as what it is, a character Windows names cannot hold.
  return c < 0x20 || c == 0x7F || c == L'\\' || c == L'/' || c == L':' || c == L'*' || c == L'?' || c == L'"' ||
         c == L'<' || c == L'>' || c == L'|' || (IsNameByte(c) && NameByteOf(c) == '\\');
}

std::wstring_view TrimBlanksAndDots(std::wstring_view text) {
  const auto trimmed = [](wchar_t c) { return c == L' ' || c == L'.'; };
  while (!text.empty() && trimmed(text.front())) text.remove_prefix(1);
  while (!text.empty() && trimmed(text.back())) text.remove_suffix(1);
  return text;
}

// Names Windows keeps for devices, with or without an extension.
bool IsDeviceName(std::wstring_view stem) {
  static constexpr std::array<std::wstring_view, 4> kPlain = {L"con", L"prn", L"aux", L"nul"};
  const std::wstring lower = ToLowerText(stem);
  if (std::find(kPlain.begin(), kPlain.end(), lower) != kPlain.end()) return true;
  return lower.size() == 4 && (lower.starts_with(L"com") || lower.starts_with(L"lpt")) && lower[3] >= L'1' &&
         lower[3] <= L'9';
}

// The length the file system counts.
std::size_t StoredLength(std::wstring_view name) {
#ifdef _WIN32
  return name.size();
#else
  return std::max(name.size(), FileNameToBytes(name).size());
#endif
}

// The stem cut so that stem and extension fit kLongestName, never inside a surrogate pair.
std::wstring CutToFit(std::wstring stem, std::wstring_view extension) {
  while (!stem.empty() && StoredLength(stem) + StoredLength(extension) > kLongestName) {
    stem.pop_back();
#ifdef _WIN32
    if (!stem.empty() && stem.back() >= 0xD800 && stem.back() <= 0xDBFF) stem.pop_back();
#endif
  }
  return std::wstring(TrimBlanksAndDots(stem));
}

}  // namespace

bool UsesRunningNumber(std::wstring_view zielname) {
  for (std::size_t at = 0;;) {
    const std::size_t open = zielname.find(L'%', at);
    const std::size_t close = open == std::wstring_view::npos ? open : zielname.find(L'%', open + 1);
    if (close == std::wstring_view::npos) return false;
    if (IsNumberToken(zielname.substr(open + 1, close - open - 1))) return true;
    at = close + 1;
  }
}

std::wstring NewFileName(std::wstring_view zielname, const FileFacts& file, const PathVariableContext& context,
                         std::uint64_t number) {
  std::wstring stem;
  for (std::size_t at = 0; at < zielname.size();) {
    const std::size_t open = zielname.find(L'%', at);
    const std::size_t close = open == std::wstring_view::npos ? open : zielname.find(L'%', open + 1);
    if (close == std::wstring_view::npos) {  // an unpaired "%" and what follows stay as typed
      stem += zielname.substr(at);
      break;
    }
    stem += zielname.substr(at, open - at);
    const std::wstring_view token = zielname.substr(open + 1, close - open - 1);
    stem += IsNumberToken(token) ? NumberValue(token, number) : ResolvePathVariable(token, file, context, true);
    at = close + 1;
  }
  for (wchar_t& c : stem) {
    if (IsForbidden(c)) c = L'_';
  }
  stem = std::wstring(TrimBlanksAndDots(stem));
  if (stem.empty()) stem = kUnknownValue;
  if (IsDeviceName(stem)) stem += L'_';

  const std::wstring name = NamePart(file.path);
  const std::size_t dot = name.rfind(L'.');
  const std::wstring extension = dot == std::wstring::npos || dot == 0 ? L"" : name.substr(dot);
  stem = CutToFit(std::move(stem), extension);
  if (stem.empty()) stem = kUnknownValue;
  return stem + extension;
}

}  // namespace ablagix
