// The main window's frame: the four tabs, the tray icon and its menu, the change of language,
// DPI, the window's position, and the test requests of --test-ui. Each tab is a page of its own
// (run_page, editor_page, settings_page, log_page); runs are RunSession's. The frame routes
// what the controls report to the page that owns them and answers what the pages ask of each
// other (PageHost) and what a run asks of the window (RunView).
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <array>
#include <string>
#include <vector>

#include "app/app_ui.h"
#include "app/control_ids.h"
#include "app/editor_page.h"
#include "app/log_page.h"
#include "app/page.h"
#include "app/run_page.h"
#include "app/run_session.h"
#include "app/run_view.h"
#include "app/settings_page.h"
#include "fileops/win32_handle.h"
#include "log/log_list.h"

namespace ablagix::app {

struct StartOptions {
  std::wstring profilesFile;  // --profiles: start with this profile file
  std::wstring configFolder;  // --config-dir: the settings folder
  bool testUi = false;        // --test-ui: accept the test requests (screenshots, tab switch)
};

class MainWindow : private PageHost, private RunView {
 public:
  MainWindow(HINSTANCE instance, StartOptions options, AppUi& ui);
  ~MainWindow() override;
  MainWindow(const MainWindow&) = delete;
  MainWindow& operator=(const MainWindow&) = delete;

  bool Create(int showCommand);
  // Keyboard navigation between controls and Ctrl+Tab between the tabs.
  bool PreTranslate(MSG* message) override;

 private:
  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  static LRESULT CALLBACK PageProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT Handle(UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT OnCommand(int id, int code);
  LRESULT OnNotify(NMHDR* header);
  LRESULT OnStaticColours(HDC dc, HWND control);
  void OnClose();
  // The page whose controls carry this number (control_ids.h); nullptr for the frame's own.
  TabPage* PageOwning(UINT_PTR id);
  // A control of any page.
  HWND Item(int id) const;
  std::array<TabPage*, kPageCount> Pages();

  void BuildFrame();
  // The tooltips and the controls of the four pages, in the current language.
  void BuildPages();
  void ShowTabCaptions();
  // `choice`: an entry of the language list.
  void ChangeLanguage(const std::wstring& choice);
  void Relayout();
  void ApplyDpi(int dpi);
  void StartUp();
  void RestorePosition();
  void ShutDown();
  LRESULT OnCopyData(const COPYDATASTRUCT* data);
  void OnMinMaxInfo(MINMAXINFO* info);
  void OnTrayIcon(LPARAM event);
  void RestoreFromTray();

  // --- PageHost
  void SelectTab(int page) override;
  void AddTooltip(HWND owner, HWND control, std::wstring text) override;
  bool SaveSetting(std::wstring_view key, std::wstring_view value) override;
  void ApplyListFont(int which) override;
  void RepaintLists() override;
  void ChangeLanguageSoon(const std::wstring& choice) override;
  void SettingsFromControls() override { settingsPage_.ControlsToSettings(); }
  bool AskIfSaveProfile() override { return editorPage_.AskIfSaveProfile(); }
  void EditProfile(const Profile& profile) override { editorPage_.EditProfile(profile); }
  void FilterListSaved(const std::wstring& filterList) override { editorPage_.SetFilterList(filterList); }
  std::wstring ProfileFile() const override { return runPage_.ProfileFile(); }
  void UseProfileFile(const std::wstring& path) override;
  void ReloadProfiles(bool keepChecks, const std::wstring& select) override {
    runPage_.ReloadProfiles(keepChecks, select);
  }
  std::vector<std::wstring> CheckedProfileNames() const override { return runPage_.CheckedProfileNames(); }
  bool HasReferencePoint() const override { return settingsPage_.HasReferencePoint(); }
  // For RunView too.
  TimerSettings TimerSettingsShown() const override { return settingsPage_.TimerSettingsShown(); }

  // --- RunView
  void ShowLogPage() override { SelectTab(kLogPage); }
  void SetStatus(std::wstring_view text) override { logPage_.SetStatus(text); }
  void ShowProgress(bool visible) override { logPage_.ShowProgress(visible); }
  void SetProgress(std::size_t done, std::size_t total) override { logPage_.SetProgress(done, total); }
  void SetLogEmptyText(std::wstring_view text) override { logPage_.SetLogEmptyText(text); }
  void ShowLogRows() override { logPage_.ShowLogRows(); }
  void FollowLogRows() override { logPage_.FollowLogRows(); }
  void HideSortArrow() override { logPage_.HideSortArrow(); }
  void EnableRunControls(bool enabled) override;
  std::optional<LogSaveResult> SaveLogAfterRun() override;
  std::vector<Profile> CheckedProfiles() override { return runPage_.CheckedProfiles(); }

  StartOptions options_;
  WindowContext context_;
  UniqueFont font_;  // the font of the pages, which context_.metrics names
  HWND tabs_ = nullptr;
  HWND tooltip_ = nullptr;
  std::array<UniqueFont, 2> listFonts_;
  int currentPage_ = kRunPage;
  bool shuttingDown_ = false;
  bool rebuilding_ = false;  // the pages are being destroyed for a change of language
  std::wstring languageChoice_;  // the language picked, until the pages are rebuilt for it

  LogList log_;
  RunSession session_{context_, *this, log_};
  RunPage runPage_{context_, *this, session_};
  EditorPage editorPage_{context_, *this};
  SettingsPage settingsPage_{context_, *this};
  LogPage logPage_{context_, *this, session_, log_};
};

}  // namespace ablagix::app
