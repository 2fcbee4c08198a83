// The version resource of a program file (.exe, .dll, .ocx, .drv): the texts of its string
// table, such as the company name and the file version, read from the PE image itself
// (PE32 and PE32+) without loading it.
//
//   VersionFieldValue(L"C:\\Programme\\Ablagix\\Ablagix.exe", kVersionProductName) -> L"Ablagix"
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fileops/byte_source.h"

namespace ablagix {

// The numbered version fields: the keys of a string table.
enum VersionField : int {
  kVersionCompanyName = 0,
  kVersionFileDescription = 1,
  kVersionFileVersion = 2,
  kVersionInternalName = 3,
  kVersionLegalCopyright = 4,
  kVersionTrademarks = 5,
  kVersionOriginalFilename = 6,
  kVersionProductName = 7,
  kVersionProductVersion = 8,
  kVersionComments = 9,
  kVersionFieldCount = 10,
};

inline constexpr std::wstring_view kVersionKeys[kVersionFieldCount] = {
    L"CompanyName",     L"FileDescription",  L"FileVersion", L"InternalName",   L"LegalCopyright",
    L"Trademarks",      L"OriginalFilename", L"ProductName", L"ProductVersion", L"Comments"};

struct VersionInfo {
  bool found = false;           // a PE image with a version resource
  std::wstring table;           // the key of the string table read, such as "040704B0"
  std::vector<std::pair<std::wstring, std::wstring>> strings;  // key and value, file order
};

// Reads the headers, the section table, the resource directory and the version resource;
// nothing else of the file. Any bytes give a result (not found when they are no such image).
VersionInfo ReadVersionInfo(ByteSource& source);

// "Unbekannt" when there is no version resource; the value of the field's key, " ---" when
// the resource lacks the key or has it without a value, "" when the number is outside 0..9.
std::wstring VersionFieldText(const VersionInfo& info, int field);

// The same for a file. Only names whose last four characters, in lower case, occur in
// ".exe.dll.ocx.drv" are read; any other file gives "Unbekannt" without being opened.
std::wstring VersionFieldValue(const std::wstring& path, int field);

}  // namespace ablagix
