#include "zip/sfx_archive.h"

#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>

#include "base/text.h"
#include "test_support.h"
#include "zip/zip_maker.h"
#include "zip/zip_reader.h"
#include "zip/zip_writer.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace ablagix {
namespace {

using test::ReadBytes;
using test::TempDir;
using test::WriteBytes;

TEST(SfxTexts, KeepTheirOrderAndRefuseDamage) {
  const std::vector<SfxText> texts = StandardSfxTexts();
  std::vector<std::string> names;
  for (const SfxText& t : texts) names.push_back(t.name);
  EXPECT_EQ(names, (std::vector<std::string>{"ErrInvalidPassword", "ErrPwdCaption", "ErrPwdTitle", "PwTitle",
                                             "PwCaption", "Title", "MainText", "MainUnzipBtn", "MainCloseBtn",
                                             "ProgressCaption", "ProgressTitle", "MainUnzipLabel"}));
  EXPECT_EQ(SfxTextValue(texts, "MainUnzipLabel", L""), L"Bitte w\u00e4hlen Sie den Zielordner aus:");

  const std::string block = EncodeSfxTexts(texts);
  std::vector<SfxText> back;
  ASSERT_TRUE(DecodeSfxTexts(block, &back));
  EXPECT_EQ(back, texts);
  // Every cut and a count that promises more are refused.
  for (std::size_t cut = 0; cut < block.size(); cut += 7) EXPECT_FALSE(DecodeSfxTexts(block.substr(0, cut), &back));
  std::string more = block;
  more[10] = static_cast<char>(more[10] + 1);
  EXPECT_FALSE(DecodeSfxTexts(more, &back));
  EXPECT_TRUE(back.empty());
}

// A self-extractor in memory, as the writer lays it out, around any archive bytes.
std::string SelfExtractorAround(const test::ZipMaker& prototype, std::string_view stub) {
  test::ZipMaker maker = prototype;
  const std::string texts = EncodeSfxTexts(StandardSfxTexts());
  maker.prefix = std::string(stub) + texts;
  maker.comment = EncodeSfxTrailer(stub.size(), texts);
  return maker.Make();
}

TEST(SfxArchive, ExeIsStubThenTextsThenAZipThatReadersOpen) {
  std::string_view stub;
  if (!SfxStubBytes(&stub)) GTEST_SKIP() << "this build has no self-extractor stub";
  EXPECT_EQ(stub.substr(0, 2), "MZ");
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"a.txt", "eins"));
  ASSERT_TRUE(WriteBytes(dir / L"M\u00e4rz.txt", std::string(5000, 'x')));
  const std::vector<SfxText> texts = StandardSfxTexts();

  // Written directly, and made from a finished zip; both give the same layout.
  ZipOptions options;
  options.selfExtractor = &texts;
  ZipBatch batch;
  ASSERT_TRUE(batch.Begin(dir / L"direkt.exe", options).ok());
  batch.Add({dir / L"a.txt", "a.txt"});
  batch.Add({dir / L"M\u00e4rz.txt", "M\xc3\xa4rz.txt"});
  ASSERT_TRUE(batch.Finish().ok());
  ZipBatch plain;
  ASSERT_TRUE(plain.Begin(dir / L"plain.zip", {}).ok());
  plain.Add({dir / L"a.txt", "a.txt"});
  plain.Add({dir / L"M\u00e4rz.txt", "M\xc3\xa4rz.txt"});
  ASSERT_TRUE(plain.Finish().ok());
  ASSERT_TRUE(WriteSelfExtractorFromZip(dir / L"plain.zip", dir / L"kopie.exe", texts, ZipCommit::kCreateNew).ok());

  for (const wchar_t* name : {L"direkt.exe", L"kopie.exe"}) {
    SCOPED_TRACE(ToUtf8(name));
    const std::string exe = ReadBytes(dir / name);
    ASSERT_EQ(exe.substr(0, stub.size()), stub);
    MemoryByteSource source(exe);
    std::vector<SfxText> found;
    ASSERT_TRUE(ReadSfxTexts(source, &found));
    EXPECT_EQ(found, texts);
    ZipReader zip(source);
    ASSERT_EQ(zip.Open(), ZipError::kNone);
    ASSERT_EQ(zip.entries().size(), 2u);
    std::string data;
    ASSERT_EQ(zip.ReadEntry("M\xc3\xa4rz.txt", 1 << 20, &data), ZipError::kNone);
    EXPECT_EQ(data, std::string(5000, 'x'));
    // The offsets count the stub: the first entry starts right behind the texts.
    EXPECT_EQ(zip.entries()[0].localHeaderOffset, stub.size() + EncodeSfxTexts(texts).size());
  }
  // The copy carries the same entries byte for byte, times included.
  EXPECT_EQ(ReadBytes(dir / L"direkt.exe").size(), ReadBytes(dir / L"kopie.exe").size());
  EXPECT_EQ(WriteSelfExtractorFromZip(dir / L"a.txt", dir / L"nein.exe", texts, ZipCommit::kCreateNew).code,
            ZipWriteCode::kNotZip);
  EXPECT_FALSE(test::NamesIn(dir.path()).count(L"nein.exe"));
}

TEST(SfxArchive, MissingStubRefusesSelfExtractorsAndWritesNothing) {
  TempDir dir;
  ASSERT_TRUE(WriteBytes(dir / L"a.txt", "eins"));
  const std::vector<SfxText> texts = StandardSfxTexts();
  ZipOptions options;
  options.selfExtractor = &texts;
  testing_hooks::HideSfxStub(true);
  std::string_view stub;
  EXPECT_FALSE(SfxStubBytes(&stub));
  const ZipWriteResult one = ZipOneFile({dir / L"a.txt", "a.txt"}, dir / L"a.exe", options);
  ZipBatch batch;
  const ZipWriteResult many = batch.Begin(dir / L"b.exe", options);
  testing_hooks::HideSfxStub(false);
  EXPECT_EQ(one.code, ZipWriteCode::kNoStub);
  EXPECT_EQ(ZipWriteText(one), L"Konnte Zipkomponente nicht laden");
  EXPECT_EQ(many.code, ZipWriteCode::kNoStub);
  EXPECT_EQ(test::NamesIn(dir.path()), std::set<std::wstring>{L"a.txt"});
}

TEST(SfxArchive, TextsAreFoundOnlyBehindOurTrailer) {
  test::ZipMaker maker;
  maker.Add("a.txt", "eins");
  std::vector<SfxText> found;
  const std::string good = SelfExtractorAround(maker, "MZstub");
  MemoryByteSource goodSource(good);
  ASSERT_TRUE(ReadSfxTexts(goodSource, &found));
  EXPECT_EQ(found, StandardSfxTexts());
  // A plain zip, a zip with another comment, and a changed text byte give nothing.
  const std::string plain = maker.Make();
  MemoryByteSource plainSource(plain);
  EXPECT_FALSE(ReadSfxTexts(plainSource, &found));
  std::string damaged = good;
  damaged[10] ^= 1;
  MemoryByteSource damagedSource(damaged);
  EXPECT_FALSE(ReadSfxTexts(damagedSource, &found));
}

#ifdef _WIN32

// Runs the program and gives its exit code (-1 when it could not be started).
int RunProgram(const std::wstring& exe, const std::wstring& arguments) {
  std::wstring line = L"\"" + exe + L"\" " + arguments;
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    return -1;
  }
  WaitForSingleObject(process.hProcess, 120000);
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(code);
}

TEST(SfxProgram, ExtractsIdenticalBytesSilentlyWithLongAndUnicodeNames) {
  TempDir dir;
  const std::wstring deep = L"Ordner \u00e4\u00f6\u00fc\\" + std::wstring(120, L'a') + L"\\" + std::wstring(120, L'b');
  const std::wstring emoji = L"\U0001F600 Gr\u00fc\u00dfe.txt";
  const std::string big = [] {
    std::string s;
    for (int i = 0; s.size() < 3000000; ++i) s += "Zeile " + std::to_string(i) + "\n";
    return s;
  }();
  ASSERT_TRUE(WriteBytes(dir / L"quelle\\klein.txt", "eins"));
  ASSERT_TRUE(WriteBytes(dir / L"quelle\\leer.txt", ""));
  ASSERT_TRUE(WriteBytes(dir / L"quelle\\gross.txt", big));
  const std::vector<SfxText> texts = StandardSfxTexts();
  ZipOptions options;
  options.selfExtractor = &texts;
  ZipBatch batch;
  ASSERT_TRUE(batch.Begin(dir / L"Archiv.exe", options).ok());
  batch.Add({dir / L"quelle\\klein.txt", ToUtf8(deep + L"\\" + emoji)});
  batch.Add({dir / L"quelle\\leer.txt", "leer.txt"});
  batch.Add({dir / L"quelle\\gross.txt", "unter/gross.txt"});
  ASSERT_TRUE(batch.Finish().ok());

  const std::wstring target = dir / L"Ziel mit Leerzeichen";
  ASSERT_EQ(RunProgram(dir / L"Archiv.exe", L"/S /D=" + target), 0);
  EXPECT_EQ(ReadBytes(target + L"\\" + deep + L"\\" + emoji), "eins");
  EXPECT_TRUE(FileExists(target + L"\\leer.txt"));
  EXPECT_EQ(ReadBytes(target + L"\\leer.txt"), "");
  EXPECT_TRUE(ReadBytes(target + L"\\unter\\gross.txt") == big);
}

TEST(SfxProgram, HostileNamesAreRefusedAndNothingLandsOutsideTheFolder) {
  std::string_view stub;
  ASSERT_TRUE(SfxStubBytes(&stub));
  TempDir dir;
  test::ZipMaker maker;
  for (const char* name : {"../draussen.txt", "gut/../../auch_draussen.txt", "..\\zurueck.txt", "/absolut.txt",
                           "\\wurzel.txt", "C:/laufwerk.txt", "C:relativ.txt", "//server/share/unc.txt",
                           "gut/datei.txt:strom"}) {
    maker.Add(name, "b\xc3\xb6se");
  }
  maker.Add("gut/ok.txt", "gut", true);
  ASSERT_TRUE(WriteBytes(dir / L"feind.exe", SelfExtractorAround(maker, stub)));
  CreateFolders(dir / L"tief\\ziel");
  const std::set<std::wstring> before = test::NamesIn(dir.path());

  EXPECT_EQ(RunProgram(dir / L"feind.exe", L"/S /D=" + (dir / L"tief\\ziel")), 1);
  EXPECT_EQ(test::NamesIn(dir / L"tief\\ziel"), std::set<std::wstring>{L"gut"});
  EXPECT_EQ(test::NamesIn(dir / L"tief\\ziel\\gut"), std::set<std::wstring>{L"ok.txt"});
  EXPECT_EQ(test::NamesIn(dir / L"tief"), std::set<std::wstring>{L"ziel"});
  EXPECT_EQ(test::NamesIn(dir.path()), before);
  for (const wchar_t* outside : {L"C:\\laufwerk.txt", L"C:\\absolut.txt", L"C:\\wurzel.txt", L"C:\\relativ.txt"}) {
    EXPECT_FALSE(FileExists(outside)) << ToUtf8(outside);
  }
  // A damaged archive is reported as such.
  std::string cut = ReadBytes(dir / L"feind.exe");
  cut.resize(cut.size() - 30);
  ASSERT_TRUE(WriteBytes(dir / L"kaputt.exe", cut));
  EXPECT_EQ(RunProgram(dir / L"kaputt.exe", L"/S /D=" + (dir / L"k")), 2);
}

// A self-extractor of these entries, written to `exe`.
void WriteSelfExtractor(const std::wstring& exe, const test::ZipMaker& maker) {
  std::string_view stub;
  ASSERT_TRUE(SfxStubBytes(&stub));
  ASSERT_TRUE(WriteBytes(exe, SelfExtractorAround(maker, stub)));
}

bool IsHidden(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_HIDDEN);
}

TEST(SfxProgram, AFailedEntryLeavesTheFileOfItsNameAsItWasAndNothingBehind) {
  TempDir dir;
  test::ZipMaker maker;
  maker.Add("a-first.txt", "erste Datei");
  maker.Add("Bericht.docx", "neuer Bericht, dessen Daten besch\xc3\xa4" "digt sind");
  maker.Add("neu-kaputt.txt", "auch diese Daten sind besch\xc3\xa4" "digt");
  maker.Add("z-last.txt", "letzte Datei", true);
  std::string_view stub;
  ASSERT_TRUE(SfxStubBytes(&stub));
  std::string exe = SelfExtractorAround(maker, stub);
  // One byte of each damaged entry's stored data flipped: their CRC no longer fits.
  for (const char* data : {"neuer Bericht", "auch diese Daten"}) {
    const std::size_t at = exe.find(data);
    ASSERT_NE(at, std::string::npos);
    exe[at + 3] ^= 0x20;
  }
  ASSERT_TRUE(WriteBytes(dir / L"crc.exe", exe));
  const std::wstring target = dir / L"Ablage";
  ASSERT_TRUE(WriteBytes(target + L"\\Bericht.docx", "precious original report"));

  // Silently and with a window's answer alike the old file must survive; silently there is
  // nobody to ask, and the new file would have been numbered.
  EXPECT_EQ(RunProgram(dir / L"crc.exe", L"/S /D=" + target), 1);
  EXPECT_EQ(ReadBytes(target + L"\\Bericht.docx"), "precious original report");
  EXPECT_EQ(ReadBytes(target + L"\\a-first.txt"), "erste Datei");
  EXPECT_EQ(ReadBytes(target + L"\\z-last.txt"), "letzte Datei");
  // No numbered copy of the damaged data, no half-written file, no temporary file.
  EXPECT_EQ(test::NamesIn(target), (std::set<std::wstring>{L"a-first.txt", L"Bericht.docx", L"z-last.txt"}));
  for (const wchar_t* name : {L"a-first.txt", L"z-last.txt"}) EXPECT_FALSE(IsHidden(target + L"\\" + name));
}

TEST(SfxProgram, SilentlyATakenNameIsNumberedNeverReplaced) {
  TempDir dir;
  test::ZipMaker maker;
  maker.Add("foto.jpg", "neues Foto");
  maker.Add("dup.txt", "klein");
  maker.Add("DUP.TXT", "GROSS");
  maker.Add("Ordner/a.txt", "a");
  maker.Add("ordner/A.txt", "A", true);
  maker.Add(".profile", "neu");
  WriteSelfExtractor(dir / L"Archiv.exe", maker);
  const std::wstring target = dir / L"Ziel";
  ASSERT_TRUE(WriteBytes(target + L"\\foto.jpg", "altes Foto"));
  ASSERT_TRUE(WriteBytes(target + L"\\foto(1).jpg", "noch ein altes Foto"));
  ASSERT_TRUE(WriteBytes(target + L"\\.profile", "alt"));

  EXPECT_EQ(RunProgram(dir / L"Archiv.exe", L"/S /D=" + target), 0);
  EXPECT_EQ(test::NamesIn(target), (std::set<std::wstring>{L"foto.jpg", L"foto(1).jpg", L"foto(2).jpg", L"dup.txt",
                                                     L"DUP(1).TXT", L"Ordner", L".profile", L".profile(1)"}));
  EXPECT_EQ(ReadBytes(target + L"\\foto.jpg"), "altes Foto");
  EXPECT_EQ(ReadBytes(target + L"\\foto(1).jpg"), "noch ein altes Foto");
  EXPECT_EQ(ReadBytes(target + L"\\foto(2).jpg"), "neues Foto");
  // Names that differ only in case are two files, as they were two entries.
  EXPECT_EQ(ReadBytes(target + L"\\dup.txt"), "klein");
  EXPECT_EQ(ReadBytes(target + L"\\DUP(1).TXT"), "GROSS");
  EXPECT_EQ(test::NamesIn(target + L"\\Ordner"), (std::set<std::wstring>{L"a.txt", L"A(1).txt"}));
  EXPECT_EQ(ReadBytes(target + L"\\Ordner\\A(1).txt"), "A");
  EXPECT_EQ(ReadBytes(target + L"\\.profile"), "alt");
  EXPECT_EQ(ReadBytes(target + L"\\.profile(1)"), "neu");
  EXPECT_FALSE(IsHidden(target + L"\\foto(2).jpg"));

  // A second run over its own result adds numbered files and changes none.
  EXPECT_EQ(RunProgram(dir / L"Archiv.exe", L"/S /D=" + target), 0);
  EXPECT_EQ(test::NamesIn(target), (std::set<std::wstring>{L"foto.jpg", L"foto(1).jpg", L"foto(2).jpg", L"foto(3).jpg",
                                                     L"dup.txt", L"DUP(1).TXT", L"dup(2).txt", L"DUP(3).TXT",
                                                     L"Ordner", L".profile", L".profile(1)", L".profile(2)"}));
  EXPECT_EQ(ReadBytes(target + L"\\foto(3).jpg"), "neues Foto");
  EXPECT_EQ(ReadBytes(target + L"\\dup(2).txt"), "klein");
  EXPECT_EQ(ReadBytes(target + L"\\DUP(3).TXT"), "GROSS");
  EXPECT_EQ(ReadBytes(target + L"\\dup.txt"), "klein");
  EXPECT_EQ(ReadBytes(target + L"\\DUP(1).TXT"), "GROSS");
  EXPECT_EQ(test::NamesIn(target + L"\\Ordner"), (std::set<std::wstring>{L"a.txt", L"A(1).txt", L"a(2).txt", L"A(3).txt"}));
}

TEST(SfxProgram, NamesWindowsCannotStoreArriveUnderASafeName) {
  TempDir dir;
  test::ZipMaker maker;
  const char* names[] = {"CON", "aux.txt", "COM1.log", "nul/innen.txt", "trail.", "trailsp ", "frage?.txt",
                         "zeichen<>|\"*.txt", "steuer\x01zeichen.txt", "normal.txt"};
  for (const char* name : names) maker.Add(name, std::string("Inhalt von ") + name);
  WriteSelfExtractor(dir / L"Archiv.exe", maker);
  const std::wstring target = dir / L"Ziel";

  EXPECT_EQ(RunProgram(dir / L"Archiv.exe", L"/S /D=" + target), 0);
  EXPECT_EQ(test::NamesIn(target), (std::set<std::wstring>{L"CON_", L"aux_.txt", L"COM1_.log", L"nul_", L"trail_",
                                                     L"trailsp_", L"frage_.txt", L"zeichen_____.txt",
                                                     L"steuer_zeichen.txt", L"normal.txt"}));
  EXPECT_EQ(ReadBytes(target + L"\\CON_"), "Inhalt von CON");
  EXPECT_EQ(ReadBytes(target + L"\\aux_.txt"), "Inhalt von aux.txt");
  EXPECT_EQ(ReadBytes(target + L"\\nul_\\innen.txt"), "Inhalt von nul/innen.txt");
  EXPECT_EQ(ReadBytes(target + L"\\trail_"), "Inhalt von trail.");
}

#endif

}  // namespace
}  // namespace ablagix
