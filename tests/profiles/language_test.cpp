#include "profiles/language.h"

#include <gtest/gtest.h>

#include <set>

#include "base/environment.h"
#include "base/text.h"
#include "desktop/recent_folders.h"
#include "engine/run.h"
#include "engine/timer_model.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "log/log_list.h"
#include "log/log_row.h"
#include "metadata/radius.h"
#include "profiles/ini_file.h"
#include "profiles/profile.h"
#include "profiles/profile_editor.h"
#include "test_support.h"

namespace ablagix {
namespace {

class LanguageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SetProgramFolder(dir_.path());
    CreateFolders(dir_ / L"Languages");
    WriteIniString(dir_ / L"Languages\\English.lng", L"Common", L"Alles", L"All");
    WriteIniString(dir_ / L"Languages\\English.lng", L"Common", L"Nichts", L"");
    WriteIniString(dir_ / L"Languages\\English.txt", L"Messages", L"530", L"Please enter a description!");
    WriteIniString(dir_ / L"Languages\\default.lng", L"Common", L"Alles", L"Falsch");
  }
  void TearDown() override {
    SetCurrentLanguage(L"");
    SetProgramFolder(L"");
  }
  test::TempDir dir_;
};

TEST_F(LanguageTest, TranslatesOnlyWhenALanguageWithANonEmptyValueApplies) {
  SetCurrentLanguage(L"");
  EXPECT_EQ(LookupText(L"Alles", L"Alles"), L"Alles");
  SetCurrentLanguage(L"default");  // a file named default.lng is still ignored
  EXPECT_EQ(LookupText(L"Alles", L"Alles"), L"Alles");
  SetCurrentLanguage(L"English");
  EXPECT_EQ(LookupText(L"Alles", L"Alles"), L"All");
  EXPECT_EQ(LookupText(L"Nichts", L"Nichts"), L"Nichts");  // empty value
  EXPECT_EQ(LookupText(L"Unbekannt", L"Unbekannt"), L"Unbekannt");
  EXPECT_EQ(LookupMessage(L"530", L"Bitte Beschreibung eintragen!"), L"Please enter a description!");
  EXPECT_EQ(LookupMessage(L"161", L"Der Quellpfad existiert nicht!"), L"Der Quellpfad existiert nicht!");
  SetCurrentLanguage(L"Klingonisch");  // no such file
  EXPECT_EQ(LookupMessage(L"530", L"Bitte Beschreibung eintragen!"), L"Bitte Beschreibung eintragen!");
}

TEST_F(LanguageTest, WordsAreFoundUnderTheirKeysAndFilledInWhereTheTranslationPutsThem) {
  const std::wstring file = dir_ / L"Languages\\English.lng";
  // An INI key ends at "=", so that caption is found under a key without it.
  WriteIniString(file, L"Common", L"Dateiname (enth\u00e4lt *):", L"File name (contains=*):");
  WriteIniString(file, L"Common", L"%1 von %2 Dateien", L"of %2 files, %1 done");
  SetCurrentLanguage(L"English");
  EXPECT_EQ(Word(L"Dateiname (enth\u00e4lt=*):"), L"File name (contains=*):");
  EXPECT_EQ(Word(L"Alles"), L"All");
  EXPECT_EQ(WordOf(L"Alles"), L"All");
  EXPECT_EQ(Word(L"Bearbeiten..."), L"Bearbeiten...");  // not translated: the German text
  EXPECT_EQ(FillIn(Word(L"%1 von %2 Dateien"), L"3", L"7"), L"of 7 files, 3 done");
  EXPECT_EQ(FillIn(L"100%-Marke %1", L"x"), L"100%-Marke x");  // a "%" before anything else stays

  // The editor keeps the stored words and shows their translations.
  EXPECT_EQ(ListWordShown(L"Alles"), L"All");
  EXPECT_EQ(ListWordStored(L"All", kAllFilesEntry), L"Alles");
  EXPECT_EQ(ListWordStored(L"Alles", kAllFilesEntry), L"Alles");
  EXPECT_EQ(ListWordStored(L"nichts", kNoExcludeEntry), L"nichts");  // typed, not picked
  EXPECT_EQ(ListWordStored(L"All", kNoExcludeEntry), L"All");
  EXPECT_EQ(TimerInfoText(10), L"Der Timer f\u00fchrt alle 10-Minuten oben angehakte Profile vollautomatisch aus.");
}

TEST_F(LanguageTest, OffersTheBuiltInGermanFirstAndEveryLanguageFileByName) {
  EXPECT_EQ(AvailableLanguages(dir_ / L"fehlt"), std::vector<std::wstring>{L"Deutsch"});
  WriteIniString(dir_ / L"Languages\\klingonisch.lng", L"Common", L"Alles", L"x");
  WriteIniString(dir_ / L"Languages\\Deutsch.lng", L"Common", L"Alles", L"x");
  WriteIniString(dir_ / L"Languages\\Nur Meldungen.txt", L"Messages", L"530", L"x");
  CreateFolders(dir_ / L"Languages\\Ordner.lng");
  EXPECT_EQ(AvailableLanguages(dir_.path()), (std::vector<std::wstring>{L"Deutsch", L"English", L"klingonisch"}));
  EXPECT_EQ(LanguageForChoice(L"Deutsch"), L"");
  EXPECT_EQ(LanguageForChoice(L"English"), L"English");
}

// The language files shipped with the program, and the table of every text they can replace.
class ShippedLanguageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    source_ = EnvironmentValue(L"ABLAGIX_SOURCE_DIR");
    ASSERT_FALSE(source_.empty()) << "ABLAGIX_SOURCE_DIR names the source tree (set by ctest)";
  }
  std::wstring Path(std::wstring_view relative) const { return JoinPath(source_, std::wstring(relative)); }

  std::wstring source_;
};

TEST_F(ShippedLanguageTest, TheTableListsEveryListEntryShownInTheWindowUnderAKeyAFileCanHold) {
  std::set<std::wstring> listed;
  std::set<std::wstring> keys;
  for (const InterfaceWord& word : kInterfaceWords) {
    EXPECT_TRUE(listed.insert(std::wstring(word.german)).second) << "twice: " << test::U8(word.german);
    const std::wstring key(Trim(word.Key()));
    // Keys are found case-insensitively and trimmed: two that meet would share one translation.
    EXPECT_TRUE(keys.insert(ToLowerText(key)).second) << "key twice: " << test::U8(key);
    EXPECT_EQ(key.find(L'='), std::wstring::npos) << test::U8(key);
    EXPECT_FALSE(key.empty() || key.front() == L'[' || key.front() == L';') << test::U8(key);
  }
  // The lists take their entries through WordOf, which finds only listed texts.
  std::vector<std::wstring_view> shown(kTimerIntervalEntries.begin(), kTimerIntervalEntries.end());
  shown.insert(shown.end(), kDateKindEntries.begin(), kDateKindEntries.end());
  shown.insert(shown.end(), kDateComparatorEntries.begin(), kDateComparatorEntries.end());
  shown.insert(shown.end(), kDateUnitEntries.begin(), kDateUnitEntries.end());
  shown.insert(shown.end(), kSizeComparatorEntries.begin(), kSizeComparatorEntries.end());
  shown.insert(shown.end(), kSizeUnitEntries.begin(), kSizeUnitEntries.end());
  shown.insert(shown.end(), kActionEntries.begin(), kActionEntries.end());
  shown.insert(shown.end(), kCollisionEntries.begin(), kCollisionEntries.end());
  shown.insert(shown.end(), kExcludeExtensionEntries.begin(), kExcludeExtensionEntries.end());
  shown.insert(shown.end(), kMetadataGroups.begin(), kMetadataGroups.end());
  shown.insert(shown.end(), kComboBox1Entries.begin(), kComboBox1Entries.end());
  for (const ProfileColumn& column : kProfileColumns) shown.push_back(column.caption);
  for (const LogColumnHeader& column : kLogColumns) shown.push_back(column.text);
  for (std::wstring_view text :
       {kAllFilesEntry, kEditFiltersEntry, kChooseMetadataEntry, kNamePartPrompt, kRecentFoldersHeader, kBrowseTitle,
        kPathOk, kPathUnreachable, kReferencePictureTitle, kReferencePictureFilter, kLogEmptyBusy, kLogEmptyDone,
        kLogEmptyTimerStopped, kLogEmptyTimerStarted}) {
    shown.push_back(text);
  }
  for (std::wstring_view text : shown) EXPECT_TRUE(listed.count(std::wstring(text))) << test::U8(text);
  // Every group label of the metadata list is one of the listed labels.
  for (std::wstring_view entry : kMetadataEntries) {
    const std::wstring_view label = entry.substr(0, entry.find(L'>') + 1);
    EXPECT_TRUE(listed.count(std::wstring(label))) << test::U8(entry);
  }
}

TEST_F(ShippedLanguageTest, EnglishTranslatesEveryWordAndEveryNumberedMessage) {
  const IniFile words = IniFile::Load(Path(L"languages\\English.lng"));
  const IniFile messages = IniFile::Load(Path(L"languages\\English.txt"));
  std::set<std::wstring> expected;
  for (const InterfaceWord& word : kInterfaceWords) {
    const std::wstring key(Trim(word.Key()));
    expected.insert(ToLowerText(key));
    const std::wstring english = words.GetString(L"Common", key, L"");
    EXPECT_FALSE(english.empty()) << "no English for " << test::U8(key);
    // The values the program fills in, and the letter that reaches a control from the keyboard.
    for (std::wstring_view mark : {L"%1", L"%2", L"&"}) {
      EXPECT_EQ(word.german.find(mark) != std::wstring_view::npos, english.find(mark) != std::wstring::npos)
          << test::U8(mark) << " in " << test::U8(key) << " = " << test::U8(english);
    }
  }
  // Nothing in the file that the program never asks for (a key misspelt, or a caption gone).
  for (const auto& [key, value] : words.SectionEntries(L"Common")) {
    EXPECT_TRUE(expected.count(ToLowerText(key))) << "not asked for: " << test::U8(key);
  }
  for (const NumberedMessage& message : kNumberedMessages) {
    EXPECT_FALSE(messages.GetString(L"Messages", message.number, L"").empty()) << test::U8(message.number);
  }
  EXPECT_EQ(words.SectionEntries(L"Common").size(), std::size(kInterfaceWords));
  EXPECT_EQ(messages.SectionEntries(L"Messages").size(), std::size(kNumberedMessages));
  // A trailing blank that the text needs survives in quotes.
  EXPECT_EQ(messages.GetString(L"Messages", L"659", L""), L"Overwriting ");
}

// Every numbered message the program asks for is listed, so the English file has it.
TEST_F(ShippedLanguageTest, EveryNumberedMessageInTheSourcesIsListed) {
  std::set<std::wstring> listed;
  for (const NumberedMessage& message : kNumberedMessages) listed.insert(std::wstring(message.number));
  std::set<std::wstring> asked;
  std::vector<std::wstring> folders = {Path(L"src")};
  while (!folders.empty()) {
    const std::wstring folder = folders.back();
    folders.pop_back();
    FolderReader reader;
    ASSERT_TRUE(reader.Open(folder)) << test::U8(folder);
    DirEntry entry;
    while (reader.Next(&entry)) {
      if (entry.name == L"." || entry.name == L"..") continue;
      const std::wstring path = JoinPath(folder, entry.name);
      if (entry.IsDirectory()) {
        folders.push_back(path);
        continue;
      }
      const std::string text = test::ReadBytes(path);
      const std::string call = "LookupMessage(L\"";
      for (size_t at = text.find(call); at != std::string::npos; at = text.find(call, at + 1)) {
        const size_t start = at + call.size();
        const std::string number = text.substr(start, text.find('"', start) - start);
        if (!number.empty() && number.find_first_not_of("0123456789") == std::string::npos) {
          asked.insert(std::wstring(number.begin(), number.end()));
        }
      }
    }
  }
  EXPECT_GE(asked.size(), 6u);
  for (const std::wstring& number : asked) EXPECT_TRUE(listed.count(number)) << test::U8(number);
}

}  // namespace
}  // namespace ablagix
