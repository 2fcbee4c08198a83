#include "desktop/shell_open.h"

#include <gtest/gtest.h>

#include <cstdlib>

#ifdef _WIN32
#include <windows.h>
#endif

#include "fileops/file_ops.h"
#include "fileops/short_path.h"
#include "test_support.h"

namespace ablagix {
namespace {

void SetSystemDrive(const wchar_t* value) {
#ifdef _WIN32
  SetEnvironmentVariableW(L"SystemDrive", value);
#else
  if (value) {
    setenv("SystemDrive", test::U8(value).c_str(), 1);
  } else {
    unsetenv("SystemDrive");
  }
#endif
}

TEST(ShellOpen, OnlyWebAddressesGoToTheBrowser) {
  for (const wchar_t* address : {L"https://www.example.org/hilfe", L"HTTP://example.org", L" mailto:info@example.org"}) {
    EXPECT_TRUE(IsWebAddress(address)) << test::U8(address);
  }
  // A program, a file or a bare scheme is never started as a "web address".
  for (const wchar_t* other : {L"C:\\Windows\\notepad.exe", L"file:///C:/x.exe", L"https://", L"www.example.org",
                               L"javascript:alert(1)", L""}) {
    EXPECT_FALSE(IsWebAddress(other)) << test::U8(other);
    EXPECT_FALSE(OpenWebAddress(other)) << test::U8(other);
  }
}

TEST(ShellOpen, FolderChoosersStartOnTheSystemDrive) {
  const std::wstring saved = []() {
#ifdef _WIN32
    wchar_t value[64] = {};
    GetEnvironmentVariableW(L"SystemDrive", value, 64);
    return std::wstring(value);
#else
    const char* value = std::getenv("SystemDrive");
    return value ? std::wstring(value, value + std::char_traits<char>::length(value)) : std::wstring();
#endif
  }();
  SetSystemDrive(L"D:");
  EXPECT_EQ(BrowseStartFolder(L""), L"D:\\");
  EXPECT_EQ(BrowseStartFolder(L"E:\\Fotos"), L"E:\\Fotos");
  SetSystemDrive(nullptr);
  EXPECT_EQ(BrowseStartFolder(L""), L"C:\\");
  SetSystemDrive(saved.empty() ? nullptr : saved.c_str());
}

TEST(ShellOpen, ARestartPassesTheProgramsParametersOn) {
  EXPECT_EQ(CommandLineParameters(L"\"C:\\Programme\\Ablagix\\Ablagix.exe\" --profiles \"D:\\a b.ini\""),
            L"--profiles \"D:\\a b.ini\"");
  EXPECT_EQ(CommandLineParameters(L"C:\\Ablagix.exe   --config-dir X"), L"--config-dir X");
  EXPECT_EQ(CommandLineParameters(L"  Ablagix.exe"), L"");
  EXPECT_EQ(CommandLineParameters(L"\"C:\\Programme\\Ablagix.exe\""), L"");
  EXPECT_EQ(CommandLineParameters(L""), L"");
}

TEST(ShortPath, TheSystemsShortFormOfAnExistingPath) {
  test::TempDir dir;
  const std::wstring path = dir / L"Ein recht langer Ordnername\\Liesmich zuerst bitte.txt";
  ASSERT_TRUE(test::WriteBytes(path, "x"));
  const std::wstring shortForm = ShortPath(path);
  ASSERT_FALSE(shortForm.empty());
  EXPECT_TRUE(FileExists(shortForm));
#ifdef _WIN32
  // Each part of the short form has at most eight characters and a three-letter extension.
  EXPECT_NE(shortForm, path);
  EXPECT_TRUE(shortForm.ends_with(L".TXT") || shortForm.ends_with(L".txt")) << test::U8(shortForm);
  EXPECT_EQ(shortForm.find(L"Liesmich zuerst"), std::wstring::npos) << test::U8(shortForm);
#else
  EXPECT_EQ(shortForm, path);
#endif
  EXPECT_EQ(ShortPath(dir / L"fehlt.txt"), L"");
}

}  // namespace
}  // namespace ablagix
