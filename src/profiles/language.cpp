#include "profiles/language.h"

#include "base/text.h"
#include "fileops/path_text.h"
#include "profiles/ini_file.h"

namespace ablagix {
namespace {

std::wstring g_programFolder;
std::wstring g_language;

std::wstring Lookup(std::wstring_view extension, std::wstring_view section, std::wstring_view key,
                    std::wstring_view german) {
  if (g_language.empty() || EqualsNoCase(g_language, L"default")) return std::wstring(german);
  std::wstring file = WithTrailingBackslash(g_programFolder) + L"Languages\\" + g_language +
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

}  // namespace ablagix
