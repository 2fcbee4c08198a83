#include "profiles/ini_file.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

std::string Utf16Bytes(std::wstring_view text) { return ToUtf16LeBytes(text, true); }

const std::wstring kUmlauts = L"M\u00fcnchen \u00c4\u00d6\u00dc \u00df \u20ac";
const std::wstring kBeyond1252 = L"\u65E5\u672C \U0001F4F7 \u0141\u00f3d\u017a";

TEST(IniFile, RoundTripsInEachEncodingAndKeepsIt) {
  struct Case {
    const char* name;
    std::string bytes;
    TextEncoding encoding;
    std::string prefix;
  };
  const std::wstring body = L"[Fotos]\r\nQuelle=" + kUmlauts + L"\r\n";
  const Case cases[] = {
      {"utf16", Utf16Bytes(body), TextEncoding::Utf16Le, "\xFF\xFE"},
      {"utf8bom", "\xEF\xBB\xBF" + ToUtf8(body), TextEncoding::Utf8Bom, "\xEF\xBB\xBF"},
      {"utf8", ToUtf8(body), TextEncoding::Utf8, "["},
      {"ansi", ToWindows1252(body), TextEncoding::Ansi, "["},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TempDir dir;
    const std::wstring file = dir / L"profile.ini";
    ASSERT_TRUE(WriteBytes(file, c.bytes));
    IniFile ini = IniFile::Load(file);
    EXPECT_EQ(ini.encoding(), c.encoding);
    EXPECT_EQ(ini.GetString(L"Fotos", L"Quelle", L""), kUmlauts);
    ini.SetString(L"Fotos", L"Ziel", L"D:\\\u00dcberblick");
    ASSERT_TRUE(ini.Save());
    EXPECT_EQ(ReadBytes(file).substr(0, c.prefix.size()), c.prefix);
    IniFile again = IniFile::Load(file);
    EXPECT_EQ(again.encoding(), c.encoding);
    EXPECT_EQ(again.GetString(L"Fotos", L"Ziel", L""), L"D:\\\u00dcberblick");

    // Characters the encoding cannot hold are never lost: an ANSI file becomes UTF-16LE.
    again.SetString(L"Fotos", L"Name", kBeyond1252);
    ASSERT_TRUE(again.Save());
    IniFile third = IniFile::Load(file);
    EXPECT_EQ(third.GetString(L"Fotos", L"Name", L""), kBeyond1252);
    EXPECT_EQ(third.GetString(L"Fotos", L"Quelle", L""), kUmlauts);
    EXPECT_EQ(third.encoding(), c.encoding == TextEncoding::Ansi ? TextEncoding::Utf16Le : c.encoding);
  }
}

TEST(IniFile, NewFilesAreUtf16WithByteOrderMark) {
  TempDir dir;
  const std::wstring file = dir / L"neu.ini";
  ASSERT_TRUE(WriteIniString(file, L"A", L"k", L"v"));
  EXPECT_EQ(ReadBytes(file), Utf16Bytes(L"[A]\r\nk=v\r\n"));
}

TEST(IniFile, FindsSectionsAndKeysIgnoringCaseAndKeepsTheirSpelling) {
  IniFile ini = IniFile::FromBytes(L"x.ini", "[Urlaub \xC4gypten]\r\nFileSize=>10MB\r\n");
  EXPECT_EQ(ini.GetString(L"urlaub \u00e4GYPTEN", L"Filesize", L"-"), L">10MB");
  ini.SetString(L"URLAUB \u00c4GYPTEN", L"FILESIZE", L"<1KB");
  ini.SetString(L"urlaub \u00e4gypten", L"Aktion", L"Kopieren");
  EXPECT_EQ(ini.Serialize(), "[Urlaub \xC4gypten]\r\nFileSize=<1KB\r\nAktion=Kopieren\r\n");
  EXPECT_EQ(ini.GetString(L"fehlt", L"x", L"vorgabe"), L"vorgabe");
}

TEST(IniFile, KeepsCommentsOrderAndUnknownLinesWhenRewriting) {
  const std::string original =
      "; Kommentar oben\n"
      "[Erstes]\n"
      "  a = 1 \n"
      "irgendeine Zeile\n"
      "; Kommentar im Abschnitt\n"
      "\n"
      "[Zweites]\n"
      "b=\"  in Anf\xFChrungszeichen  \"\n"
      "c=ohne Zeilenende";
  IniFile ini = IniFile::FromBytes(L"x.ini", original);
  EXPECT_EQ(ini.Serialize(), original);  // nothing changed, nothing moved
  EXPECT_EQ(ini.GetString(L"Erstes", L"a", L""), L"1");
  EXPECT_EQ(ini.GetString(L"Zweites", L"b", L""), L"  in Anf\u00fchrungszeichen  ");
  ini.SetString(L"Erstes", L"neu", L"2");
  ini.SetString(L"Zweites", L"c", L"zeile1\nzeile2");
  EXPECT_EQ(ini.Serialize(),
            "; Kommentar oben\n"
            "[Erstes]\n"
            "  a = 1 \n"
            "neu=2\n"
            "irgendeine Zeile\n"
            "; Kommentar im Abschnitt\n"
            "\n"
            "[Zweites]\n"
            "b=\"  in Anf\xFChrungszeichen  \"\n"
            "c=zeile1 zeile2");
}

TEST(IniFile, DeletesKeysAndWholeSections) {
  IniFile ini = IniFile::FromBytes(L"x.ini", "[A]\r\nk=1\r\nl=2\r\n[B]\r\nm=3\r\n[a]\r\nk=9\r\n");
  ini.DeleteKey(L"a", L"K");
  EXPECT_FALSE(ini.HasKey(L"A", L"k"));
  EXPECT_EQ(ini.GetString(L"A", L"l", L""), L"2");
  ini.DeleteKey(L"fehlt", L"k");  // harmless
  ini.DeleteSection(L"A");        // every section of that name, so none comes back
  EXPECT_EQ(ini.Serialize(), "[B]\r\nm=3\r\n");
  EXPECT_EQ(ini.SectionNames(), std::vector<std::wstring>{L"B"});
}

TEST(IniFile, ValuesAreNotCutAfter799Characters) {
  TempDir dir;
  const std::wstring file = dir / L"lang.ini";
  const std::wstring value(5000, L'\u00e4');
  ASSERT_TRUE(WriteIniString(file, L"S", L"k", value));
  EXPECT_EQ(ReadIniString(file, L"S", L"k", L""), value);
}

TEST(IniFile, ACrashDuringSaveLeavesTheOldOrTheNewFileNeverAMix) {
  TempDir dir;
  const std::wstring file = dir / L"Ablagix.ini";
  IniFile ini = IniFile::Load(file);
  for (int i = 0; i < 2000; ++i) ini.SetString(L"Profil " + NumberText(i), L"Quelle", L"C:\\alt");
  ASSERT_TRUE(ini.Save());
  const std::string before = ReadBytes(file);

  for (int i = 0; i < 2000; ++i) ini.SetString(L"Profil " + NumberText(i), L"Quelle", L"D:\\neu");
  testing_hooks::SetAtomicWriteInterrupt([](std::size_t written) { return written > 70000; });
  EXPECT_FALSE(ini.Save());
  testing_hooks::SetAtomicWriteInterrupt(nullptr);
  EXPECT_EQ(ReadBytes(file), before);
  IniFile reread = IniFile::Load(file);
  EXPECT_EQ(reread.GetString(L"Profil 1999", L"Quelle", L""), L"C:\\alt");
  EXPECT_EQ(reread.SectionNames().size(), 2000u);

  ASSERT_TRUE(ini.Save());
  EXPECT_EQ(IniFile::Load(file).GetString(L"Profil 0", L"Quelle", L""), L"D:\\neu");
}

TEST(IniFile, ASaveThatCannotBeWrittenReportsFailure) {
  TempDir dir;
  IniFile ini = IniFile::Load(dir / L"fehlender Ordner\\x.ini");
  ini.SetString(L"S", L"k", L"v");
  EXPECT_FALSE(ini.Save());
  // Something that exists but cannot be read is never replaced by a file of a few new keys.
  ASSERT_TRUE(CreateFolders(dir / L"ordner.ini"));
  EXPECT_FALSE(WriteIniString(dir / L"ordner.ini", L"S", L"k", L"v"));
  EXPECT_TRUE(FolderExists(dir / L"ordner.ini"));
}

TEST(IniFile, GarbageAndBinaryJunkLoadWhatTheyCan) {
  std::string junk = "\x01\x02[kaputt\r\n=ohne Schl\xFCssel\r\n[Gut]\r\nQuelle=C:\\x\r\n";
  junk += std::string("\0\0\xFF\xFF\x80[\0]\r\n", 11);
  junk += "[Gut]\r\nQuelle=zweites\r\n[]\r\n[Auch gut] Rest\r\nk=v";
  IniFile ini = IniFile::FromBytes(L"x.ini", junk);
  EXPECT_EQ(ini.GetString(L"Gut", L"Quelle", L""), L"C:\\x");  // first of duplicates wins
  EXPECT_EQ(ini.GetString(L"Auch gut", L"k", L""), L"v");
  const auto names = ini.SectionNames();
  EXPECT_EQ(names, (std::vector<std::wstring>{L"Gut", L"Auch gut"}));

  // Random bytes of every length: never a crash, and a rewrite reads back the same values.
  std::uint32_t seed = 12345;
  for (int round = 0; round < 300; ++round) {
    std::string bytes;
    for (int i = 0; i < round * 7; ++i) {
      seed = seed * 1103515245u + 12345u;
      bytes.push_back("[]=;\r\n \"ab\xC3\xA4\xFF\xFE\0"[(seed >> 16) % 15]);
    }
    IniFile random = IniFile::FromBytes(L"r.ini", bytes);
    IniFile copy = IniFile::FromBytes(L"r.ini", random.Serialize());
    for (const auto& name : random.SectionNames()) {
      for (const auto& [key, value] : random.SectionEntries(name)) {
        EXPECT_EQ(copy.GetString(name, key, L"?"), random.GetString(name, key, L"?"));
      }
    }
  }
}

TEST(IniFile, MissingFileReadsAsDefaults) {
  TempDir dir;
  EXPECT_EQ(ReadIniString(dir / L"nicht da.ini", L"S", L"k", L"vorgabe"), L"vorgabe");
  EXPECT_TRUE(IniFile::Load(dir / L"nicht da.ini").SectionNames().empty());
  EXPECT_TRUE(DeleteIniSection(dir / L"nicht da.ini", L"S"));
  EXPECT_FALSE(FileExists(dir / L"nicht da.ini"));
}

}  // namespace
}  // namespace ablagix
