#include "profiles/language.h"

#include <algorithm>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "profiles/ini_file.h"

namespace ablagix {
namespace {

std::wstring g_programFolder;
std::wstring g_language;

constexpr std::wstring_view kLanguageFolder = L"Languages\\";

std::wstring Lookup(std::wstring_view extension, std::wstring_view section, std::wstring_view key,
                    std::wstring_view german) {
  if (g_language.empty() || EqualsNoCase(g_language, L"default")) return std::wstring(german);
  std::wstring file = WithTrailingBackslash(g_programFolder) + std::wstring(kLanguageFolder) + g_language +
                      std::wstring(extension);
  std::wstring value = ReadIniString(file, section, key, L"");
  return value.empty() ? std::wstring(german) : value;
}

}  // namespace

void SetProgramFolder(std::wstring folder) { g_programFolder = std::move(folder); }
void SetCurrentLanguage(std::wstring language) { g_language = std::move(language); }
const std::wstring& ProgramFolder() { return g_programFolder; }
const std::wstring& CurrentLanguage() { return g_language; }

std::wstring LookupText(std::wstring_view key, std::wstring_view german) {
  return Lookup(L".lng", L"Common", key, german);
}

std::wstring LookupMessage(std::wstring_view number, std::wstring_view german) {
  return Lookup(L".txt", L"Messages", number, german);
}

std::wstring Word(WordRef word) {
  const InterfaceWord& entry = word.entry();
  return LookupText(entry.Key(), entry.german);
}

std::wstring WordOf(std::wstring_view german) {
  for (const InterfaceWord& entry : kInterfaceWords) {
    if (entry.german == german) return LookupText(entry.Key(), german);
  }
  return LookupText(german, german);
}

std::wstring FillIn(std::wstring_view text, std::wstring_view first, std::wstring_view second) {
  std::wstring out;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == L'%' && i + 1 < text.size() && (text[i + 1] == L'1' || text[i + 1] == L'2')) {
      out += text[i + 1] == L'1' ? first : second;
      ++i;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::vector<std::wstring> AvailableLanguages(const std::wstring& programFolder) {
  std::vector<std::wstring> names;
  FolderReader reader;
  if (reader.Open(WithTrailingBackslash(programFolder) + std::wstring(kLanguageFolder))) {
    DirEntry entry;
    while (reader.Next(&entry)) {
      if (entry.IsDirectory() || entry.name.size() <= 4 || !EqualsNoCase(std::wstring_view(entry.name).substr(entry.name.size() - 4), L".lng")) {
        continue;
      }
      std::wstring name = entry.name.substr(0, entry.name.size() - 4);
      if (EqualsNoCase(name, kBuiltInLanguage) || EqualsNoCase(name, L"default")) continue;
      names.push_back(std::move(name));
    }
  }
  std::sort(names.begin(), names.end(),
            [](const std::wstring& a, const std::wstring& b) { return ToLowerText(a) < ToLowerText(b); });
  names.insert(names.begin(), std::wstring(kBuiltInLanguage));
  return names;
}

std::wstring LanguageForChoice(std::wstring_view choice) {
  return EqualsNoCase(choice, kBuiltInLanguage) ? std::wstring() : std::wstring(choice);
}

}  // namespace ablagix
