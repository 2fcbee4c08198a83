// Optional language files. Every German text is built in; a file in "Languages\" below the
// program folder may replace single texts. Nothing is cached: each lookup reads the file.
//
//   "<program folder>\Languages\<language>.lng", section "Common": key = German word
//   "<program folder>\Languages\<language>.txt", section "Messages": key = message number
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

// Set once at start-up. An empty language or "default" means the built-in German texts.
void SetProgramFolder(std::wstring folder);
void SetCurrentLanguage(std::wstring language);
const std::wstring& ProgramFolder();
const std::wstring& CurrentLanguage();

// The translation of an interface word, or `german` when there is none (or it is empty).
std::wstring LookupText(std::wstring_view key, std::wstring_view german);
// The translation of numbered message `number` (a decimal text such as "530"), or `german`.
std::wstring LookupMessage(std::wstring_view number, std::wstring_view german);

}  // namespace ablagix
