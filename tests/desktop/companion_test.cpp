#include "desktop/companion.h"

#include <gtest/gtest.h>

#include <set>

#include "profiles/ini_file.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::RecordingUi;
using test::TempDir;

class FakeCompanion : public CompanionHost {
 public:
  explicit FakeCompanion(std::wstring settings) : settings_(std::move(settings)) {}
  UiPort& ui() override { return ui_; }
  std::wstring CompanionSettingsFile() override { return settings_; }
  bool WindowExists(std::uint64_t handle) override { return windows.count(handle) != 0; }
  void SendRecord(std::uint64_t handle, std::uint32_t kind, const std::string& bytes) override {
    sentTo = handle;
    sentKind = kind;
    sentBytes = bytes;
  }
  void StartCompanion(const std::wstring& path) override { started = path; }
  bool PathExists(const std::wstring& path) override { return files.count(path) != 0; }

  RecordingUi ui_;
  std::set<std::uint64_t> windows;
  std::set<std::wstring> files;
  std::uint64_t sentTo = 0;
  std::uint32_t sentKind = 0;
  std::string sentBytes;
  std::wstring started;

 private:
  std::wstring settings_;
};

TEST(CompanionTest, HandleTextAndRecordBytes) {
  EXPECT_EQ(ParseWindowHandle(L"132456"), 132456u);
  EXPECT_EQ(ParseWindowHandle(L" 42 "), 42u);
  EXPECT_EQ(ParseWindowHandle(L""), 0u);
  EXPECT_EQ(ParseWindowHandle(L"0"), 0u);
  EXPECT_EQ(ParseWindowHandle(L"12ab"), 0u);
  EXPECT_EQ(ParseWindowHandle(L"99999999999"), 0u);
  EXPECT_EQ(ParseWindowHandle(L"-2"), 0xFFFFFFFEu);

  // n single-byte characters give n + 1 bytes, the last one zero; umlauts are one byte each.
  const std::string bytes = CompanionRecordBytes(L"C:\\Fotos\\B\u00e4r.jpg");
  ASSERT_EQ(bytes.size(), 17u);
  EXPECT_EQ(bytes.back(), '\0');
  EXPECT_EQ(static_cast<unsigned char>(bytes[10]), 0xE4);
  EXPECT_EQ(CompanionRecordBytes(L"").size(), 1u);
  EXPECT_EQ(CompanionRecordBytes(L"a\U0001F600b"), std::string("a?b\0", 4));
}

TEST(CompanionTest, SendsToTheWindowStartsTheProgramOrSaysWhy) {
  TempDir appData;
  FakeCompanion host(appData / L"Opt.ini");
  const std::wstring path = L"D:\\Archiv\\a.txt";

  // No settings file, then an empty handle: the companion is not known.
  SendPathToCompanion(kCompanionShowPath, path, host);
  ASSERT_TRUE(WriteIniString(host.CompanionSettingsFile(), L"Pfad1", L"Fensterhwnd", L""));
  SendPathToCompanion(kCompanionShowPath, path, host);
  ASSERT_EQ(host.ui_.shown.size(), 2u);
  for (const auto& shown : host.ui_.shown) {
    EXPECT_EQ(shown.text, kCompanionNotFound);
    EXPECT_EQ(shown.icon, MessageIcon::Exclamation);
  }
  host.ui_.shown.clear();

  // A handle that names no window any more starts the companion, without a message.
  ASSERT_TRUE(WriteIniString(host.CompanionSettingsFile(), L"Pfad1", L"Fensterhwnd", L"65604"));
  SendPathToCompanion(kCompanionShowPath, path, host);
  EXPECT_EQ(host.started, path);
  EXPECT_TRUE(host.ui_.shown.empty());
  EXPECT_EQ(host.sentTo, 0u);

  // A live window gets the record, and the user sees the handle in decimal.
  host.windows.insert(65604);
  SendPathToCompanion(kCompanionShowPath, path, host);
  EXPECT_EQ(host.sentTo, 65604u);
  EXPECT_EQ(host.sentKind, 1u);
  EXPECT_EQ(host.sentBytes, std::string("D:\\Archiv\\a.txt\0", 16));
  ASSERT_EQ(host.ui_.shown.size(), 1u);
  EXPECT_EQ(host.ui_.shown[0].text, L"Pfad gesendet an: 65604\r\nPfad = D:\\Archiv\\a.txt");
  EXPECT_EQ(host.ui_.shown[0].icon, MessageIcon::Information);

  // Any other request kind is refused before anything is sent.
  host.sentTo = 0;
  SendPathToCompanion(2, path, host);
  EXPECT_EQ(host.ui_.shown.back().text, kCompanionWrongRequest);
  EXPECT_EQ(host.sentTo, 0u);
}

TEST(CompanionTest, DoubleClickLooksForTheTargetFileInOrder) {
  TempDir appData;
  FakeCompanion host(appData / L"Opt.ini");
  ASSERT_TRUE(WriteIniString(host.CompanionSettingsFile(), L"Pfad1", L"Fensterhwnd", L"7"));
  host.windows.insert(7);

  // The folder part of the target comes first, then the target folder itself.
  host.files = {L"D:\\Fotos\\a.jpg", L"D:\\Fotos\\2024\\a.jpg"};
  EXPECT_EQ(FindLogRowTarget(L"D:\\Fotos\\2024\\", L"a.jpg", L"", host), L"D:\\Fotos\\a.jpg");
  host.files = {L"D:\\Fotos\\2024\\a.jpg"};
  EXPECT_EQ(FindLogRowTarget(L"D:\\Fotos\\2024", L"a.jpg", L"", host), L"D:\\Fotos\\2024\\a.jpg");
  EXPECT_EQ(FindLogRowTarget(L"D:\\Fotos\\2024\\", L"a.jpg", L"", host), L"D:\\Fotos\\2024\\a.jpg");
  // A numbered copy is found under its own name.
  host.files.insert(L"D:\\Fotos\\2024\\a(1).jpg");
  EXPECT_EQ(FindLogRowTarget(L"D:\\Fotos\\2024", L"a.jpg", L"D:\\Fotos\\2024\\a(1).jpg", host),
            L"D:\\Fotos\\2024\\a(1).jpg");
  // Banner rows and rows without a target name nothing.
  EXPECT_EQ(FindLogRowTarget(L"**********", L"Start Fotos", L"", host), L"");
  EXPECT_EQ(FindLogRowTarget(L"", L"a.jpg", L"", host), L"");

  OpenLogRowTarget(L"D:\\Fotos\\2024", L"a.jpg", L"", host);
  EXPECT_EQ(host.sentBytes, std::string("D:\\Fotos\\2024\\a.jpg\0", 20));
  host.ui_.shown.clear();
  host.sentTo = 0;
  OpenLogRowTarget(L"D:\\Fotos\\2023", L"a.jpg", L"", host);
  ASSERT_EQ(host.ui_.shown.size(), 1u);
  EXPECT_EQ(host.ui_.shown[0].text, kTargetPathMissing);
  EXPECT_EQ(host.ui_.shown[0].icon, MessageIcon::Exclamation);
  EXPECT_EQ(host.sentTo, 0u);
}

}  // namespace
}  // namespace ablagix
