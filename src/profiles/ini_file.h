// IniFile: reads and writes INI files the way the Windows profile-string functions do, without
// their old limits.
//
// - Sections and keys are found case-insensitively; the first of duplicates wins. Names and
//   values are trimmed of blanks, and a value wrapped in matching quotes loses them.
// - Everything else in the file (order, comments, blank lines, odd lines, the spelling of
//   existing keys, line endings) survives a rewrite.
// - Files are read as UTF-16LE with BOM, UTF-8 with or without BOM, or ANSI (Windows-1252).
//   A rewrite keeps the encoding, except that an ANSI file that would lose characters becomes
//   UTF-16LE. New files are UTF-16LE with BOM.
// - Save() replaces the file atomically; values are never cut to a buffer size.
//
//   IniFile ini = IniFile::Load(path);
//   std::wstring source = ini.GetString(L"Fotos", L"Quelle", L"");
//   ini.SetString(L"Fotos", L"Aktion", L"Kopieren");
//   if (!ini.Save()) { ... }
#pragma once

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/ui_port.h"
#include "fileops/system_error.h"

namespace ablagix {

enum class TextEncoding { Utf16Le, Utf8Bom, Utf8, Ansi };

class IniFile {
 public:
  // A file that does not exist or cannot be read loads as an empty file.
  static IniFile Load(const std::wstring& path);
  // Parses text already in memory (the encoding only matters for a later Save()).
  static IniFile FromBytes(const std::wstring& path, const std::string& bytes);

  const std::wstring& path() const { return path_; }
  TextEncoding encoding() const { return encoding_; }

  std::wstring GetString(std::wstring_view section, std::wstring_view key,
                         std::wstring_view defaultValue) const;
  bool HasKey(std::wstring_view section, std::wstring_view key) const;
  bool HasSection(std::wstring_view section) const;
  // Every section name in file order; a name repeated in the file is listed once.
  std::vector<std::wstring> SectionNames() const;
  // The key/value pairs of a section in file order (first section of that name).
  std::vector<std::pair<std::wstring, std::wstring>> SectionEntries(std::wstring_view section) const;

  // Creates the section and key when missing; an existing key keeps its spelling.
  void SetString(std::wstring_view section, std::wstring_view key, std::wstring_view value);
  void DeleteKey(std::wstring_view section, std::wstring_view key);
  // Removes the section with all its lines (every section of that name).
  void DeleteSection(std::wstring_view section);

  // Writes the file atomically. False when it could not be written, or when the file existed
  // but could not be read at Load(); the old file stays in both cases.
  // `status` (optional) receives why a save failed.
  bool Save(FsStatus* status = nullptr);
  // The bytes Save() would write.
  std::string Serialize() const;

 private:
  enum class LineKind { Other, Section, Entry };
  struct Line {
    std::wstring text;  // the line as in the file, without line break
    LineKind kind = LineKind::Other;
    std::wstring name;  // section name or key, trimmed
  };

  void Parse(const std::wstring& text);
  void Reindex();
  // Keeps the section index right after one line was inserted at or removed from `at`.
  void ShiftIndex(size_t at, std::ptrdiff_t by);
  // Index of the first header line of `section`, or npos.
  size_t FindSection(std::wstring_view section) const;
  // One past the last line of the section starting at header `header`.
  size_t SectionEnd(size_t header) const;
  size_t FindKey(size_t header, std::wstring_view key) const;

  std::wstring path_;
  TextEncoding encoding_ = TextEncoding::Utf16Le;
  std::wstring newline_ = L"\r\n";
  bool finalNewline_ = true;
  bool unreadable_ = false;
  std::vector<Line> lines_;
  std::unordered_map<std::wstring, size_t> sectionIndex_;  // folded name -> first header
};

// One read or write per call, like the profile-string functions: load, change, save.
// "Das Profil konnte nicht gespeichert werden" with the file, the reason, and the promise that
// what the user entered is still there: for every failed write of a profile or settings file.
std::wstring SaveFailedMessage(std::wstring_view what, const std::wstring& file, const FsStatus& status);
// Shows that message through `ui` when `saved` is false; returns `saved`.
bool TellIfNotSaved(bool saved, const FsStatus& status, UiPort& ui, std::wstring_view what,
                    const std::wstring& file);

std::wstring ReadIniString(const std::wstring& file, std::wstring_view section,
                           std::wstring_view key, std::wstring_view defaultValue);
bool WriteIniString(const std::wstring& file, std::wstring_view section, std::wstring_view key,
                    std::wstring_view value, FsStatus* status = nullptr);
bool DeleteIniKey(const std::wstring& file, std::wstring_view section, std::wstring_view key);
bool DeleteIniSection(const std::wstring& file, std::wstring_view section);

}  // namespace ablagix
