#include "desktop/shell_open.h"

#include "base/environment.h"
#include "base/text.h"

namespace ablagix {

bool IsWebAddress(std::wstring_view text) {
  text = Trim(text);
  for (std::wstring_view scheme : {std::wstring_view(L"http://"), std::wstring_view(L"https://"),
                                   std::wstring_view(L"mailto:")}) {
    if (text.size() > scheme.size() && StartsWithNoCase(text, scheme)) return true;
  }
  return false;
}

std::wstring BrowseStartFolder(std::wstring_view folder) {
  if (!Trim(folder).empty()) return std::wstring(folder);
  std::wstring drive = EnvironmentValue(L"SystemDrive");
  if (drive.empty()) drive = L"C:";
  if (drive.back() != L'\\') drive += L'\\';
  return drive;
}

std::wstring CommandLineParameters(std::wstring_view commandLine) {
  std::size_t at = 0;
  while (at < commandLine.size() && (commandLine[at] == L' ' || commandLine[at] == L'\t')) ++at;
  // The program's name ends at the closing quote, or at the first blank when unquoted.
  if (at < commandLine.size() && commandLine[at] == L'"') {
    const std::size_t close = commandLine.find(L'"', at + 1);
    at = close == std::wstring_view::npos ? commandLine.size() : close + 1;
  } else {
    while (at < commandLine.size() && commandLine[at] != L' ' && commandLine[at] != L'\t') ++at;
  }
  while (at < commandLine.size() && (commandLine[at] == L' ' || commandLine[at] == L'\t')) ++at;
  return std::wstring(commandLine.substr(at));
}

}  // namespace ablagix
