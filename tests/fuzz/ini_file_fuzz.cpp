// Fuzz target: any bytes as an INI file. Parsing, lookups, edits and a rewrite must neither
// crash nor hang, and a rewritten file must read back the same values.
#include <cstddef>
#include <cstdint>
#include <string>

#include "profiles/ini_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  IniFile ini = IniFile::FromBytes(L"fuzz.ini", bytes);
  const auto names = ini.SectionNames();
  IniFile copy = IniFile::FromBytes(L"fuzz.ini", ini.Serialize());
  for (const auto& name : names) {
    for (const auto& [key, value] : ini.SectionEntries(name)) {
      if (copy.GetString(name, key, L"\x1") != ini.GetString(name, key, L"\x1")) __builtin_trap();
    }
  }
  if (!names.empty()) {
    ini.SetString(names.front(), L"Quelle", L"C:\\x");
    ini.DeleteKey(names.back(), L"Quelle");
    ini.DeleteSection(names.front());
    if (ini.HasSection(names.front())) __builtin_trap();
  }
  ini.SetString(L"Neu", L"k", L"v");
  if (IniFile::FromBytes(L"fuzz.ini", ini.Serialize()).GetString(L"Neu", L"k", L"") != L"v") __builtin_trap();
  return 0;
}
