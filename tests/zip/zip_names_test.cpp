#include "zip/zip_names.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/text.h"

namespace ablagix {
namespace {

TEST(SafeEntryComponent, MapsEveryNameWindowsCannotStore) {
  struct Case {
    std::wstring name;
    std::wstring safe;
  } cases[] = {
      // Dots and blanks only, or nothing: Windows would shorten them to "." or "..".
      {L"...", L"_"},
      {L"..", L"_"},
      {L".", L"_"},
      {L"", L"_"},
      {L" ", L"_"},
      {L". .", L"_"},
      // Characters Windows refuses, and the trailing dot or blank it would drop.
      {L"C:evil.txt", L"C_evil.txt"},
      {L"file.txt:stream", L"file.txt_stream"},
      {L"2025-01-01T12:30:00.log", L"2025-01-01T12_30_00.log"},
      {L" trail. ", L" trail._"},
      {L"trail.", L"trail_"},
      {L"trailsp ", L"trailsp_"},
      {L"a*b?c\"d<e>f|g", L"a_b_c_d_e_f_g"},
      {L"a\\b/c", L"a_b_c"},
      {L"tab\there\x01\x1f\x7f\x85.txt", L"tab_here____.txt"},
      // Device names, bare and with extensions, in any case.
      {L"CON", L"CON_"},
      {L"aux.txt", L"aux_.txt"},
      {L"nul.tar.gz", L"nul_.tar.gz"},
      {L"Com1.log", L"Com1_.log"},
      {L"LPT9", L"LPT9_"},
      {L"com\u00b9", L"com\u00b9_"},
      {L"conin$.txt", L"conin$_.txt"},
      {L"con .txt", L"con_ .txt"},
      {L"CON.", L"CON_"},
      // Names that only look like them, and ordinary names, stay as they are.
      {L"CONSOLE.txt", L"CONSOLE.txt"},
      {L"COM10", L"COM10"},
      {L"xaux.txt", L"xaux.txt"},
      {L".con", L".con"},
      {L"con_", L"con_"},
      {L"a..b", L"a..b"},
      {L".bashrc", L".bashrc"},
      {L" leading", L" leading"},
      {L"M\u00e4rz \u00dc\u00df.jpg", L"M\u00e4rz \u00dc\u00df.jpg"},
      {L"\U0001F600 Gr\u00fc\u00dfe.txt", L"\U0001F600 Gr\u00fc\u00dfe.txt"},
      // Bytes of a Linux name that are not UTF-8 are read as Windows-1252; a backslash that is
      // part of a Linux name is a character like any other that Windows refuses.
      {L"\xDCE4.txt", L"\u00e4.txt"},
      {L"Gr\xDCFC\xDCDF" L"e", L"Gr\u00fc\u00df" L"e"},
      {L"\xDC80 Preis", L"\u20ac Preis"},
      {L"a\xDC5C" L"b.txt", L"a_b.txt"},
      {L"\xDC81\xDC9D", L"__"},  // bytes Windows-1252 leaves unassigned
      {L"\xD800x\xDC41", L"_x_"},  // surrogates that stand for nothing
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(ToUtf8(SafeEntryComponent(c.name)));
    EXPECT_EQ(SafeEntryComponent(c.name), c.safe);
    // Mapping twice changes nothing more: what we write, we read back as written.
    EXPECT_EQ(SafeEntryComponent(c.safe), c.safe);
  }
}

TEST(ZipEntryNames, TheFileKeepsItsOwnNameAndEveryReaderGetsItBack) {
  struct Case {
    std::wstring path;
    std::string withFolders;
    std::string nameOnly;
  } cases[] = {
      // A file named "..." is not its folder.
      {L"C:\\src\\...", "src/_", "_"},
      {L"/home/nutzer/src/...", "home/nutzer/src/_", "_"},
      {L"/daten/C:evil.txt", "daten/C_evil.txt", "C_evil.txt"},
      {L"/daten/file.txt:stream", "daten/file.txt_stream", "file.txt_stream"},
      {L"/daten/2025-01-01T12:30:00.log", "daten/2025-01-01T12_30_00.log", "2025-01-01T12_30_00.log"},
      {L"/daten/ trail. ", "daten/ trail._", " trail._"},
      {L"/daten/\xDCE4.txt", "daten/\xc3\xa4.txt", "\xc3\xa4.txt"},
      {L"/daten/Gr\xDCFC\xDCDF" L"e/a.txt", "daten/Gr\xc3\xbc\xc3\x9f" "e/a.txt", "a.txt"},
      // A backslash inside a Linux name never becomes a folder level.
      {L"/daten/a\xDC5C" L"b.txt", "daten/a_b.txt", "a_b.txt"},
      {L"/daten/a\xDC5C..\xDC5C" L"b", "daten/a_.._b", "a_.._b"},
      // Folder names are mapped the same way; only the path's own steps are left out.
      {L"/da:ten/x*y/.../CON/aux.txt", "da_ten/x_y/_/CON_/aux_.txt", "aux_.txt"},
      {L"C:\\a\\\\.\\b\\..\\c.txt", "a/b/c.txt", "c.txt"},
      {L"D:\\", "_", "_"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(ToUtf8(c.path));
    for (const bool keepFolders : {true, false}) {
      const std::string entry = ZipEntryNameForPath(c.path, keepFolders);
      EXPECT_EQ(entry, keepFolders ? c.withFolders : c.nameOnly);
      EXPECT_TRUE(IsValidUtf8(entry));
      // Our own extractor takes every name we write as it is, without a change.
      std::vector<std::wstring> parts;
      bool renamed = true;
      ASSERT_TRUE(SafeExtractParts(entry, &parts, &renamed)) << entry;
      EXPECT_FALSE(renamed) << entry;
      EXPECT_EQ(ToUtf8(Join(parts, L"/")), entry);
    }
  }
}

TEST(ZipEntryNames, ExtractionMapsNamesWindowsCannotStoreAndSaysSo) {
  struct Case {
    const char* entry;
    std::vector<std::wstring> parts;
    bool renamed;
  } cases[] = {
      {"CON", {L"CON_"}, true},
      {"Ordner/aux.txt", {L"Ordner", L"aux_.txt"}, true},
      {"nul/x.txt", {L"nul_", L"x.txt"}, true},
      {"trail.", {L"trail_"}, true},
      {"trailsp ", {L"trailsp_"}, true},
      {"frage?.txt", {L"frage_.txt"}, true},
      {"a<b>|\"*.txt", {L"a_b____.txt"}, true},
      {"steuer\x01zeichen.txt", {L"steuer_zeichen.txt"}, true},
      {"Ordner/M\xc3\xa4rz.txt", {L"Ordner", L"M\u00e4rz.txt"}, false},
      {"Ordner/", {L"Ordner"}, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.entry);
    std::vector<std::wstring> parts;
    bool renamed = !c.renamed;
    ASSERT_TRUE(SafeExtractParts(c.entry, &parts, &renamed));
    EXPECT_EQ(parts, c.parts);
    EXPECT_EQ(renamed, c.renamed);
  }
  // A stream, a drive and bytes that are not UTF-8 still leave nothing to extract.
  std::vector<std::wstring> parts;
  for (const char* refused : {"file.txt:stream", "a/C:x", "bad\xff.txt"}) {
    EXPECT_FALSE(SafeExtractParts(refused, &parts)) << refused;
    EXPECT_TRUE(parts.empty());
  }
}

}  // namespace
}  // namespace ablagix
