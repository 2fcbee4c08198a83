#include "profiles/language.h"

#include <gtest/gtest.h>

#include "fileops/files.h"
#include "profiles/ini_file.h"
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

}  // namespace
}  // namespace ablagix
