#include "fileops/path_text.h"

#include <gtest/gtest.h>

namespace ablagix {
namespace {

TEST(PathText, TrailingBackslashIsAddedOnce) {
  EXPECT_EQ(WithTrailingBackslash(L"C:\\"), L"C:\\");
  EXPECT_EQ(WithTrailingBackslash(L"C:\\Fotos"), L"C:\\Fotos\\");
  EXPECT_EQ(WithTrailingBackslash(L"/home/anna"), L"/home/anna/");
  EXPECT_EQ(WithTrailingBackslash(L"/home/anna/"), L"/home/anna/");
}

TEST(PathText, FolderAndNamePartIgnoreOneTrailingBackslash) {
  EXPECT_EQ(FolderPart(L"C:\\a\\b\\"), L"C:\\a\\");
  EXPECT_EQ(NamePart(L"C:\\a\\b\\"), L"b");
  EXPECT_EQ(FolderPart(L"C:\\a\\b.txt"), L"C:\\a\\");
  EXPECT_EQ(NamePart(L"C:\\a\\b.txt"), L"b.txt");
  EXPECT_EQ(FolderPart(L"datei.txt"), L"");
  EXPECT_EQ(NamePart(L"datei.txt"), L"datei.txt");
  EXPECT_EQ(FolderPart(L"/srv/x/y"), L"/srv/x/");
}

TEST(PathText, ExtensionIsBehindTheLastDot) {
  EXPECT_EQ(ExtensionOf(L"archiv.tar.gz"), L"gz");
  EXPECT_EQ(ExtensionOf(L"README"), L"");
  EXPECT_EQ(ExtensionOf(L".profile"), L"profile");
  EXPECT_EQ(ExtensionOf(L"ende."), L"");
}

TEST(PathText, LongPathFormHandlesUncAndPrefixedPaths) {
  EXPECT_EQ(LongPathForm(L"\\\\server\\share\\a.txt"), L"\\\\?\\UNC\\server\\share\\a.txt");
  EXPECT_EQ(LongPathForm(L"C:\\a.txt"), L"\\\\?\\C:\\a.txt");
  EXPECT_EQ(LongPathForm(L"\\\\?\\C:\\a.txt"), L"\\\\?\\C:\\a.txt");
}

// A listed name reaches the system as it is: only "/" and the "." and ".." steps are made
// plain; a trailing dot or blank and a device's name stay, as they are the file's own.
TEST(PathText, NormalizedFullPathChangesTheStepsNeverTheNames) {
  EXPECT_EQ(NormalizedFullPath(L"C:\\W\\src\\trail."), L"C:\\W\\src\\trail.");
  EXPECT_EQ(NormalizedFullPath(L"C:/W//src/./a/../blank "), L"C:\\W\\src\\blank ");
  EXPECT_EQ(NormalizedFullPath(L"C:\\..\\..\\CON"), L"C:\\CON");
  EXPECT_EQ(NormalizedFullPath(L"\\\\server\\share\\..\\x\\"), L"\\\\server\\share\\x\\");
  EXPECT_EQ(NormalizedFullPath(L"\\\\?\\C:\\a\\..\\b."), L"\\\\?\\C:\\a\\..\\b.");
  EXPECT_EQ(NormalizedFullPath(L"relativ\\a."), L"relativ\\a.");
  EXPECT_TRUE(WindowsRewritesName(L"trail."));
  EXPECT_TRUE(WindowsRewritesName(L"blank "));
  EXPECT_TRUE(WindowsRewritesName(L"aux.txt"));
  EXPECT_TRUE(WindowsRewritesName(L"com1"));
  EXPECT_FALSE(WindowsRewritesName(L"computer.txt"));
  EXPECT_FALSE(WindowsRewritesName(L".profile"));
}

// Case counts as the file system counts it: "Fotos" and "fotos" are one folder on Windows and
// two on Linux, where a copy from one to the other is a real copy, not the file onto itself.
TEST(PathText, SameFolderComparesWholeByTheSystemsCaseRuleAndIgnoresATrailingSeparator) {
  EXPECT_EQ(SameFolderText(L"C:\\Daten\\\u00c4lter", L"c:\\daten\\\u00e4lter\\"), FileNamesIgnoreCase());
  EXPECT_EQ(SameFolderText(L"/x/Fotos", L"/x/fotos"), FileNamesIgnoreCase());
  EXPECT_EQ(FolderTextStartsWith(L"/x/Fotos/Alt", L"/x/fotos/"), FileNamesIgnoreCase());
  EXPECT_TRUE(SameFolderText(L"C:\\Daten\\\u00c4lter", L"C:\\Daten\\\u00c4lter\\"));
  EXPECT_TRUE(SameFolderText(L"/srv/daten/", L"/srv/daten"));
  EXPECT_TRUE(SameFolderText(L"C:/Daten", L"C:\\Daten"));
  EXPECT_FALSE(SameFolderText(L"C:\\Daten", L"C:\\Daten\\Alt"));
  EXPECT_FALSE(SameFolderText(L"C:\\Daten\\Alt", L"Alt"));
}

}  // namespace
}  // namespace ablagix
