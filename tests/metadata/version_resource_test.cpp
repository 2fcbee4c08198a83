#include "metadata/version_resource.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/text.h"
#include "test_support.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace ablagix {
namespace {

using test::TempDir;
using test::WriteBytes;

std::string U16(std::uint32_t v) { return {static_cast<char>(v), static_cast<char>(v >> 8)}; }
std::string U32(std::uint32_t v) { return U16(v & 0xFFFF) + U16(v >> 16); }
void Pad4(std::string* s) { s->append((4 - s->size() % 4) % 4, '\0'); }

// One block of the version tree: length, value length, type, key, value, children.
std::string Block(std::wstring_view key, const std::string& value, std::uint16_t valueLength, bool text,
                  const std::vector<std::string>& children = {}) {
  std::string body = ToUtf16LeBytes(key, false) + std::string(2, '\0');
  std::string out = U16(0) + U16(valueLength) + U16(text ? 1 : 0) + body;
  Pad4(&out);
  out += value;
  for (const std::string& child : children) {
    Pad4(&out);
    out += child;
  }
  out.replace(0, 2, U16(static_cast<std::uint32_t>(out.size())));
  return out;
}
std::string String(std::wstring_view key, std::wstring_view value) {
  return Block(key, ToUtf16LeBytes(value, false) + std::string(2, '\0'), static_cast<std::uint16_t>(value.size() + 1),
               true);
}

using Table = std::pair<std::wstring, std::vector<std::pair<std::wstring, std::wstring>>>;
std::string VersionBlob(const std::vector<Table>& tables) {
  std::vector<std::string> tableBlocks;
  for (const auto& [key, strings] : tables) {
    std::vector<std::string> entries;
    for (const auto& [name, value] : strings) entries.push_back(String(name, value));
    tableBlocks.push_back(Block(key, "", 0, true, entries));
  }
  std::string fixed = U32(0xFEEF04BD) + U32(0x10000) + std::string(44, '\0');
  return Block(L"VS_VERSION_INFO", fixed, 52, false,
               {Block(L"StringFileInfo", "", 0, true, tableBlocks),
                Block(L"VarFileInfo", "", 0, true, {Block(L"Translation", U32(0x04B00407), 4, false)})});
}

// A resource section with one resource of type `type` and name 1 in each of the languages.
std::string ResourceSection(std::uint32_t rva, std::uint32_t type,
                            const std::vector<std::pair<std::uint16_t, std::string>>& languages) {
  auto directory = [](std::uint32_t count) { return std::string(12, '\0') + U16(0) + U16(count); };
  const auto n = static_cast<std::uint32_t>(languages.size());
  std::string out = directory(1) + U32(type) + U32(0x80000018);           // types at 0
  out += directory(1) + U32(1) + U32(0x80000030);                          // names at 0x18
  out += directory(n);                                                     // languages at 0x30
  const std::uint32_t entries = 0x40 + 8 * n;
  std::uint32_t blobAt = entries + 16 * n;
  std::string dataEntries;
  std::string blobs;
  for (std::uint32_t i = 0; i < n; ++i) {
    out += U32(languages[i].first) + U32(entries + 16 * i);
    dataEntries += U32(rva + blobAt) + U32(static_cast<std::uint32_t>(languages[i].second.size())) + U32(0) + U32(0);
    blobs += languages[i].second;
    Pad4(&blobs);
    blobAt = entries + 16 * n + static_cast<std::uint32_t>(blobs.size());
  }
  return out + dataEntries + blobs;
}

// A DLL with one section holding the resources, complete enough for the system's loader.
std::string Pe(bool pe64, const std::string& resources) {
  constexpr std::uint32_t kRva = 0x1000;
  constexpr std::uint32_t kRaw = 0x200;
  std::string section = resources;
  section.resize((section.size() + 0x1FF) & ~std::size_t{0x1FF}, '\0');
  const auto rawSize = static_cast<std::uint32_t>(section.size());
  std::string dos = "MZ" + std::string(0x3A, '\0') + U32(0x40);
  std::string optional(pe64 ? 240 : 224, '\0');
  auto put = [&optional](std::size_t at, const std::string& bytes) { optional.replace(at, bytes.size(), bytes); };
  put(0, U16(pe64 ? 0x20B : 0x10B));
  if (pe64) {
    put(24, U32(0x80000000) + U32(1));  // image base
  } else {
    put(28, U32(0x10000000));
  }
  put(32, U32(0x1000) + U32(0x200));               // section and file alignment
  put(40, U16(4) + U16(0) + U16(0) + U16(0) + U16(4));  // system, image, subsystem versions
  put(56, U32(kRva + ((rawSize + 0xFFF) & ~0xFFFu)) + U32(kRaw));  // image size, header size
  put(68, U16(2));                                  // windows program
  const std::size_t directories = pe64 ? 112 : 96;
  put(directories - 4, U32(16));
  put(directories + 16, U32(kRva) + U32(static_cast<std::uint32_t>(resources.size())));
  std::string coff = "PE" + std::string(2, '\0') + U16(pe64 ? 0x8664 : 0x14C) + U16(1) + std::string(12, '\0') +
                     U16(static_cast<std::uint32_t>(optional.size())) + U16(pe64 ? 0x2022 : 0x2102);
  std::string table = std::string(".rsrc\0\0\0", 8) + U32(rawSize) + U32(kRva) + U32(rawSize) + U32(kRaw) +
                      std::string(12, '\0') + U32(0x40000040);
  std::string headers = dos + coff + optional + table;
  headers.resize(kRaw, '\0');
  return headers + section;
}

std::string SamplePe(bool pe64) {
  const std::string blob = VersionBlob({
      {L"040904B0", {{L"CompanyName", L"English Ltd"}}},
      {L"040704B0",
       {{L"CompanyName", L"M\u00fcller & S\u00f6hne"},
        {L"FileDescription", L"Werkzeug"},
        {L"FileVersion", L"1.2.3.4"},
        {L"InternalName", L"werkzeug"},
        {L"LegalCopyright", L"\u00a9 2024"},
        {L"OriginalFilename", L"werkzeug.exe"},
        {L"ProductName", L"Ablagix"},
        {L"ProductVersion", L"1.2"},
        {L"Comments", L""}}},
  });
  return Pe(pe64, ResourceSection(0x1000, 16, {{0x0407, blob}}));
}

VersionInfo Read(const std::string& bytes) {
  MemoryByteSource source(bytes);
  return ReadVersionInfo(source);
}

std::vector<std::wstring> AllFields(const VersionInfo& info) {
  std::vector<std::wstring> fields;
  for (int i = 0; i < kVersionFieldCount; ++i) fields.push_back(VersionFieldText(info, i));
  return fields;
}

TEST(VersionResourceTest, FieldsOfPe32AndPe32Plus) {
  const std::vector<std::wstring> expected = {
      L"M\u00fcller & S\u00f6hne", L"Werkzeug", L"1.2.3.4", L"werkzeug", L"\u00a9 2024",
      L" ---",  // no "Trademarks" key at all reads like an empty one
      L"werkzeug.exe", L"Ablagix", L"1.2", L" ---"};
  for (bool pe64 : {false, true}) {
    const VersionInfo info = Read(SamplePe(pe64));
    EXPECT_EQ(info.table, L"040704B0");
    EXPECT_EQ(AllFields(info), expected) << pe64;
    EXPECT_EQ(VersionFieldText(info, 10), L"");
  }
}

TEST(VersionResourceTest, TableAndLanguageChoice) {
  auto tableOf = [](std::vector<std::wstring> keys) {
    std::vector<Table> tables;
    for (const std::wstring& key : keys) tables.push_back({key, {{L"ProductName", key}}});
    const VersionInfo info = Read(Pe(false, ResourceSection(0x1000, 16, {{0x0409, VersionBlob(tables)}})));
    return VersionFieldText(info, kVersionProductName);
  };
  EXPECT_EQ(tableOf({L"040704E4", L"040904B0", L"040704B0"}), L"040704B0");
  EXPECT_EQ(tableOf({L"041104B0", L"040904e4", L"040704e4"}), L"040704e4");
  EXPECT_EQ(tableOf({L"041104B0", L"040904E4"}), L"040904E4");
  EXPECT_EQ(tableOf({L"041104B0", L"040C04B0"}), L"041104B0");

  // Of several languages of the resource the German one is read.
  const std::string english = VersionBlob({{L"040904B0", {{L"ProductName", L"English"}}}});
  const std::string german = VersionBlob({{L"040904B0", {{L"ProductName", L"Deutsch"}}}});
  EXPECT_EQ(VersionFieldText(Read(Pe(true, ResourceSection(0x1000, 16, {{0x0409, english}, {0x0407, german}}))),
                             kVersionProductName),
            L"Deutsch");
}

TEST(VersionResourceTest, FileNamesAndFilesWithoutResource) {
  TempDir dir;
  const std::string pe = SamplePe(true);
  for (const wchar_t* name : {L"Setup.EXE", L"lib.dll", L"control.ocx", L"printer.drv"}) {
    ASSERT_TRUE(WriteBytes(dir / name, pe));
    EXPECT_EQ(VersionFieldValue(dir / name, kVersionProductName), L"Ablagix") << test::U8(name);
  }
  ASSERT_TRUE(WriteBytes(dir / L"readme.txt", pe));
  EXPECT_EQ(VersionFieldValue(dir / L"readme.txt", kVersionProductName), L"Unbekannt");
  ASSERT_TRUE(WriteBytes(dir / L"text.exe", "Hallo"));
  EXPECT_EQ(VersionFieldValue(dir / L"text.exe", kVersionProductName), L"Unbekannt");
  // Resources without a version, and a program without resources at all.
  ASSERT_TRUE(WriteBytes(dir / L"icon.dll", Pe(false, ResourceSection(0x1000, 3, {{0, "icon"}}))));
  EXPECT_EQ(VersionFieldValue(dir / L"icon.dll", kVersionCompanyName), L"Unbekannt");
  std::string bare = Pe(false, "");
  bare.replace(0x40 + 24 + 96 + 16, 4, U32(0));
  ASSERT_TRUE(WriteBytes(dir / L"bare.exe", bare));
  EXPECT_EQ(VersionFieldValue(dir / L"bare.exe", kVersionCompanyName), L"Unbekannt");
  EXPECT_EQ(VersionFieldValue(dir / L"fehlt.exe", kVersionCompanyName), L"Unbekannt");
}

TEST(VersionResourceTest, OddlyWrittenBlocks) {
  // Value lengths in bytes rather than characters, and a value that runs to the block's end
  // without its zero: the text is still the text.
  std::string bytesCounted = Block(L"ProductName", ToUtf16LeBytes(L"Werkzeug", false) + std::string(2, '\0'), 18, true);
  std::string unterminated = Block(L"CompanyName", ToUtf16LeBytes(L"Firma", false), 5, true);
  const std::string fixed = U32(0xFEEF04BD) + std::string(48, '\0');
  const std::string blob = Block(L"VS_VERSION_INFO", fixed, 52, false,
                                 {Block(L"StringFileInfo", "", 0, true,
                                        {Block(L"040704B0", "", 0, true, {bytesCounted, unterminated})})});
  const VersionInfo info = Read(Pe(false, ResourceSection(0x1000, 16, {{0x0407, blob}})));
  EXPECT_EQ(VersionFieldText(info, kVersionProductName), L"Werkzeug");
  EXPECT_EQ(VersionFieldText(info, kVersionCompanyName), L"Firma");
  // A version resource without string tables: the keys are missing, the resource is there.
  const VersionInfo empty = Read(Pe(false, ResourceSection(0x1000, 16, {{0x0407, Block(L"VS_VERSION_INFO", fixed, 52, false)}})));
  EXPECT_EQ(VersionFieldText(empty, kVersionProductName), L" ---");
}

TEST(VersionResourceTest, DamagedFilesNeverCrash) {
  const std::string pe = SamplePe(false);
  for (std::size_t n = 0; n < pe.size(); ++n) (void)AllFields(Read(pe.substr(0, n)));
  for (std::size_t at = 0; at < pe.size(); ++at) {
    if (at >= 0x200 + 0x200 && at % 7 != 0) continue;  // the padding of the section says little
    for (char value : {'\0', '\x01', '\x80', '\xff'}) {
      std::string damaged = pe;
      damaged[at] = value;
      (void)AllFields(Read(damaged));
    }
  }
  // A directory entry that points back at the root; a count beyond the section.
  std::string loop = ResourceSection(0x1000, 16, {});
  loop.replace(0x14, 4, U32(0x80000000));
  EXPECT_FALSE(Read(Pe(false, loop)).found);
  std::string many = ResourceSection(0x1000, 16, {{0x0407, VersionBlob({})}});
  many.replace(0x0E, 2, U16(0xFFFF));
  (void)Read(Pe(false, many));
}

#ifdef _WIN32
// The system's own reader of version resources agrees on the files made here.
TEST(VersionResourceTest, AgreesWithTheSystem) {
  TempDir dir;
  for (bool pe64 : {false, true}) {
    const std::wstring path = dir / (pe64 ? L"tool64.dll" : L"tool32.dll");
    ASSERT_TRUE(WriteBytes(path, SamplePe(pe64)));
    DWORD handle = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &handle);
    ASSERT_GT(size, 0u) << pe64;
    std::vector<char> data(size);
    ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, size, data.data()));
    for (int field = 0; field < kVersionFieldCount; ++field) {
      const std::wstring query = L"\\StringFileInfo\\040704B0\\" + std::wstring(kVersionKeys[field]);
      void* value = nullptr;
      UINT length = 0;
      std::wstring system;
      if (VerQueryValueW(data.data(), query.c_str(), &value, &length) && length > 0) {
        system = static_cast<const wchar_t*>(value);
      }
      if (system.empty()) system = L" ---";
      EXPECT_EQ(VersionFieldValue(path, field), system) << test::U8(kVersionKeys[field]);
    }
  }
}
#endif

}  // namespace
}  // namespace ablagix
