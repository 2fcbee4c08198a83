// Optional language files. Every German text is built in; a file in "Languages\" below the
// program folder may replace single texts. Nothing is cached: each lookup reads the file.
//
//   "<program folder>\Languages\<language>.lng", section "Common": key = German word
//   "<program folder>\Languages\<language>.txt", section "Messages": key = message number
//
// The window asks for its captions with Word(L"..."): the text must be listed in
// kInterfaceWords (interface_words.h), or the program does not compile, so the table always
// names every text a language file can replace.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "profiles/interface_words.h"

namespace ablagix {

// Set once at start-up; the language also when the user picks another one. An empty language
// or "default" means the built-in German texts.
void SetProgramFolder(std::wstring folder);
void SetCurrentLanguage(std::wstring language);
const std::wstring& ProgramFolder();
const std::wstring& CurrentLanguage();

// The translation of an interface word, or `german` when there is none (or it is empty).
std::wstring LookupText(std::wstring_view key, std::wstring_view german);
// The translation of numbered message `number` (a decimal text such as "530"), or `german`.
std::wstring LookupMessage(std::wstring_view number, std::wstring_view german);

// The text to show for a listed interface word.
std::wstring Word(WordRef word);
// The same for a text known only while the program runs (an entry of a choice list). A text
// that is not listed is looked up under itself.
std::wstring WordOf(std::wstring_view german);
// `text` with "%1" replaced by `first` and "%2" by `second`: a translation may put the values
// where its own grammar wants them.
std::wstring FillIn(std::wstring_view text, std::wstring_view first, std::wstring_view second = {});

// The name under which the language choice shows the built-in German texts.
inline constexpr std::wstring_view kBuiltInLanguage = L"Deutsch";
// The languages to choose from: kBuiltInLanguage first, then the name of every ".lng" file in
// "Languages\" below `programFolder`, in alphabetical order. Files named like the built-in
// language or "default" are left out: they could never be chosen.
std::vector<std::wstring> AvailableLanguages(const std::wstring& programFolder);
// The value CurrentLanguage takes for a choice of that list ("" for the built-in texts).
std::wstring LanguageForChoice(std::wstring_view choice);

}  // namespace ablagix
