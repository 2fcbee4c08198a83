#include "log/log_save.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "base/text.h"
#include "fileops/path_text.h"
#include "profiles/settings.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::U8;

constexpr LocalDateTime kNow = {2025, 2, 3, 9, 5, 7};

TEST(ReportFileName, NamesAndExtensions) {
  EXPECT_EQ(ReportFileName(ReportFormat::Text, kNow), L"AXLog20250203090507.txt");
  EXPECT_EQ(ReportFileName(ReportFormat::Html, {2024, 12, 31, 23, 59, 59}),
            L"AXLog20241231235959.html");
  EXPECT_EQ(ReportFileName(ReportFormat::Pdf, kNow), L"AXLog20250203090507.pdf");

  EXPECT_EQ(ReportFormatForPath(L"C:\\Berichte\\log.PDF"), ReportFormat::Pdf);
  EXPECT_EQ(ReportFormatForPath(L"bericht.Html"), ReportFormat::Html);
  EXPECT_EQ(ReportFormatForPath(L"log.htm"), std::nullopt);
  EXPECT_EQ(ReportFormatForPath(L"C:\\ordner.txt\\log"), std::nullopt);
}

class ScriptedSaveHost : public LogSaveHost {
 public:
  UiPort& ui() override { return ui_; }
  LocalDateTime Now() override { return kNow; }
  std::optional<std::wstring> AskSavePath(const SaveDialogRequest& request) override {
    requests.push_back(request);
    return answer;
  }
  void OpenWithProgram(const std::wstring& path) override { opened.push_back(path); }

  test::RecordingUi ui_;
  std::optional<std::wstring> answer;
  std::vector<SaveDialogRequest> requests;
  std::vector<std::wstring> opened;
};

LogList OneRow() {
  LogList log;
  LogRowTexts t{};
  t[0] = L"a.txt";
  t[1] = L"D:\\x";
  log.AppendTexts(t);
  return log;
}

TEST(SaveLog, AutomaticSaveGoesIntoLogPathWithoutQuestions) {
  test::TempDir dir;
  AppSettings settings;
  settings.reportFormat = ReportFormat::Csv;
  settings.Delimeter = L"|";
  settings.LogPath = dir / L"logs/2025/auto";  // created with its parents
  ScriptedSaveHost host;
  const LogSaveResult result = SaveLog(OneRow(), settings, dir / L"AblagixSetting.ini", true, host);
  EXPECT_EQ(result.outcome, LogSaveOutcome::Saved);
  EXPECT_EQ(NamePart(result.path), L"AXLog20250203090507.csv");
  const std::string bytes = test::ReadBytes(result.path);
  EXPECT_EQ(bytes.substr(0, 12), std::string("D\0a\0t\0e\0i\0|\0", 12));
  EXPECT_TRUE(host.requests.empty());
  EXPECT_TRUE(host.ui_.shown.empty());
  EXPECT_FALSE(PathExists(dir / L"AblagixSetting.ini"));  // LastSavePath is the dialog's alone

  settings.LogPath.clear();
  EXPECT_EQ(SaveLog(OneRow(), settings, dir / L"AblagixSetting.ini", true, host).outcome,
            LogSaveOutcome::Failed);
}

TEST(SaveLog, ManualSaveRemembersTheFolderAndOffersToOpen) {
  test::TempDir dir;
  const std::wstring settingsFile = dir / L"AblagixSetting.ini";
  AppSettings settings;
  settings.reportFormat = ReportFormat::Pdf;
  ScriptedSaveHost host;

  // Cancelling writes nothing and stores nothing.
  EXPECT_EQ(SaveLog(OneRow(), settings, settingsFile, false, host).outcome,
            LogSaveOutcome::Cancelled);
  ASSERT_EQ(host.requests.size(), 1u);
  EXPECT_EQ(host.requests[0].folder, L"C:\\");
  EXPECT_EQ(host.requests[0].filter, L"PDF-Datei (*.pdf)|*.pdf");
  EXPECT_EQ(host.requests[0].defaultExtension, L"pdf");
  EXPECT_EQ(host.requests[0].proposedName, L"AXLog20250203090507.pdf");
  EXPECT_FALSE(PathExists(settingsFile));
  EXPECT_TRUE(host.ui_.shown.empty());

  // Saving stores the chosen folder and asks; "Ja" opens the file.
  host.answer = dir / L"Berichte/mein.pdf";
  ASSERT_TRUE(CreateFolders(dir / L"Berichte"));
  LogSaveResult result = SaveLog(OneRow(), settings, settingsFile, false, host);
  EXPECT_EQ(result.outcome, LogSaveOutcome::Saved);
  EXPECT_TRUE(test::ReadBytes(*host.answer).starts_with("%PDF-"));
  ASSERT_EQ(host.ui_.shown.size(), 1u);
  EXPECT_EQ(U8(host.ui_.shown[0].text), U8(L"Wollen sie die AXLog-Datei gleich \u00f6ffnen?"));
  EXPECT_EQ(host.ui_.shown[0].buttons, MessageButtons::YesNo);
  EXPECT_EQ(host.opened, std::vector<std::wstring>{*host.answer});

  // The next dialog opens there; "Nein" leaves the file closed.
  settings.reportFormat = ReportFormat::Html;
  host.answer = dir / L"Berichte/zwei.html";
  host.ui_.answers.push_back(MessageAnswer::No);
  result = SaveLog(OneRow(), settings, settingsFile, false, host);
  EXPECT_EQ(result.outcome, LogSaveOutcome::Saved);
  EXPECT_EQ(host.requests.back().folder, FolderPart(dir / L"Berichte/mein.pdf"));
  EXPECT_EQ(host.requests.back().filter, L"HTML-Datei (*.html)|*.html");
  EXPECT_EQ(host.opened.size(), 1u);

  // A PDF that cannot be written is reported once, and nothing is offered to open.
  settings.reportFormat = ReportFormat::Pdf;
  host.answer = dir / L"fehlt/x.pdf";
  result = SaveLog(OneRow(), settings, settingsFile, false, host);
  EXPECT_EQ(result.outcome, LogSaveOutcome::Failed);
  ASSERT_EQ(host.ui_.shown.size(), 3u);
  EXPECT_EQ(host.ui_.shown.back().text, L"Konnte PDF nicht speichern");
}

}  // namespace
}  // namespace ablagix
