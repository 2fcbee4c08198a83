// The main window: the four tabs, the profile list, the profile editor and the settings page.
//
// The window holds no rules of its own: the editor's behaviour lives in ProfileEditor, saving
// in SaveTheProfil, the settings in AppSettings. This class copies values between those and
// the controls, and decides when to ask the user.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "app/app_ui.h"
#include "app/control_ids.h"
#include "app/layout.h"
#include "engine/actions.h"
#include "engine/timer_model.h"
#include "engine/run.h"
#include "engine/watch_service.h"
#include "log/log_list.h"
#include "log/log_save.h"
#include "metadata/radius.h"
#include "profiles/filter_list.h"
#include "profiles/profile.h"
#include "profiles/profile_editor.h"
#include "profiles/settings.h"
#include "profiles/settings_store.h"

namespace ablagix::app {

struct StartOptions {
  std::wstring profilesFile;  // --profiles: start with this profile file
  std::wstring configFolder;  // --config-dir: the settings folder
  bool testUi = false;        // --test-ui: accept the test requests (screenshots, tab switch)
};

enum Page { kRunPage = 0, kEditorPage = 1, kSettingsPage = 2, kLogPage = 3, kPageCount = 4 };

class MainWindow {
  friend class WindowRunHost;

 public:
  MainWindow(HINSTANCE instance, StartOptions options, AppUi& ui);
  ~MainWindow();
  MainWindow(const MainWindow&) = delete;
  MainWindow& operator=(const MainWindow&) = delete;

  bool Create(int showCommand);
  // Keyboard navigation between controls and Ctrl+Tab between the tabs.
  bool PreTranslate(MSG* message);

 private:
  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  static LRESULT CALLBACK PageProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT Handle(UINT message, WPARAM wParam, LPARAM lParam);
  HWND Item(int id) const;

  // --- main_window.cpp: frame, tabs, start-up and shut-down
  void BuildFrame();
  // The tooltips and the controls of the four pages, in the current language.
  void BuildPages();
  void ShowTabCaptions();
  // `choice`: an entry of the language list.
  void ChangeLanguage(const std::wstring& choice);
  void Relayout();
  void ApplyDpi(int dpi);
  void SelectTab(int page);
  void StartUp();
  void RestorePosition();
  void ShutDown();
  // Writes one key of the settings file; a failed write is shown to the user.
  bool SaveSetting(std::wstring_view key, std::wstring_view value);
  LRESULT OnCopyData(const COPYDATASTRUCT* data);
  void OnMinMaxInfo(MINMAXINFO* info) const;
  void AddTooltip(HWND owner, HWND control, std::wstring text);
  void OnTrayIcon(LPARAM event);
  void RestoreFromTray();
  void OnAutostartBox();

  // --- run_page.cpp: profile list, run buttons, runs and the timer
  void BuildRunPage();
  void SetProfileFile(const std::wstring& path, const std::wstring& label);
  // Reads the profile file into the list; `keepChecks` keeps the check marks by name.
  void ReloadProfiles(bool keepChecks, const std::wstring& select = {});
  // Fills the list from the profile file with these profiles checked and `select` selected.
  void FillProfileList(const std::vector<std::wstring>& checked, const std::wstring& select);
  std::vector<Profile> CheckedProfiles() const;
  std::vector<std::wstring> CheckedProfileNames() const;
  void ApplyListFont(int which);
  void OnRunButton(bool simulate);
  void OnTimerButton();
  LRESULT OnProfileListNotify(NMHDR* header);
  LRESULT OnListCustomDraw(NMLVCUSTOMDRAW* draw);
  void BeginRun();
  // `saveLog`: a profile run ends with the automatic save when that is switched on.
  void EndRun(const RunSummary& summary, bool saveLog);
  // With `watched`, the runs a watch started (each over its own files) instead of `profiles`.
  void RunProfilesNow(const std::vector<Profile>& profiles, RunMode mode,
                      const std::vector<WatchRun>* watched = nullptr);
  void OnRunCheckedButton();
  void OnRunProgress(const RunProgress& progress);
  void OnShredProgress(const ShredProgress& progress);
  static INT_PTR CALLBACK ShredWaitProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
  void TimerOptionsFromControls();
  void OnTimerTick();
  // Hides the window into the notification area when the settings ask for it (timer and
  // watching alike); `balloon` is said there.
  void HideIntoTray(const std::wstring& balloon);
  void OnWatchButton();
  void StopWatching();
  // The watchers' changes, on the window's thread: notes into the log, due profiles run.
  void OnWatchTick();

  // --- log_page.cpp: the log list and its commands, the status line and the progress bar
  class BarProgress;
  void BuildLogPage();
  static LRESULT CALLBACK LogListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                      DWORD_PTR self);
  LRESULT OnLogListNotify(NMHDR* header);
  void ShowLogRows();
  void SetLogEmptyText(std::wstring_view text);
  void SetStatus(std::wstring_view text);
  void ShowProgress(bool visible);
  void SetProgress(std::size_t done, std::size_t total);
  void SortLog(int column);
  void HideSortArrow();
  void OnLogChooser();
  void OnClearLog();
  void OpenLogRow(std::size_t row);
  LogSaveResult SaveLogNow(bool automatic);
  void OnSaveLogButton();
  class UndoHost;
  // "Letzten Lauf rückgängig machen": asks, then undoes the newest executed run's journal.
  void OnUndoButton();

  // --- editor_page.cpp
  void BuildEditorPage();
  void EditorToControls();
  void ControlsToEditor();
  void ShowConditionSwitches();
  void OnEditorCommand(int id, int code);
  bool SaveProfile();
  bool askIfSaveProfil();
  void NewProfile();
  void DeleteProfiles();
  void LoadProfileFile();
  void CreateProfileFile();
  void ShowTokenMenu(int buttonId);
  void InsertToken(int commandId);
  void FillNameHistory();
  void FillIncludeList();
  void ShowIncludeMask();
  static LRESULT CALLBACK TextBox6Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                      UINT_PTR id, DWORD_PTR self);

  // --- settings_page.cpp
  void BuildSettingsPage();
  void SettingsToControls();
  void ControlsToSettings();
  void OnSettingsCommand(int id, int code);
  void FillFilterTable();
  void OnFilterSelection();
  void ChooseListFont(int which);
  void ChooseRowColor(int id);

  HINSTANCE instance_;
  StartOptions options_;
  AppUi& ui_;
  HWND window_ = nullptr;
  HWND tabs_ = nullptr;
  HWND tooltip_ = nullptr;
  std::array<HWND, kPageCount> pages_{};
  std::array<Layout, kPageCount> layouts_;
  FontMetrics metrics_;
  std::array<HFONT, 2> listFonts_{};
  int currentPage_ = kRunPage;
  bool shuttingDown_ = false;
  bool rebuilding_ = false;  // the pages are being destroyed for a change of language
  std::wstring languageChoice_;  // the language picked, until the pages are rebuilt for it

  SettingsFolders folders_;
  AppSettings settings_;
  std::wstring profileFile_;
  std::wstring profileFileLabel_;  // what the run page shows of it
  std::vector<Profile> profiles_;
  bool fillingList_ = false;

  LogList log_;
  std::wstring logCell_;  // the text handed to the log list for the cell it asked for
  std::wstring logEmptyText_;  // the German text the empty log list shows, for a change of language
  bool running_ = false;
  bool closeAfterRun_ = false;  // the window was closed during a run, which stops first
  // Every control that could start a second run or change the log under a running one.
  // A change of language rebuilds the log list, so the language waits too.
  static constexpr std::array<int, 11> kRunControls = {
      kIdCommandButton13, kIdCommandButton4, kIdCommandButton6,  kIdWatchButton,     kIdComboBox1, kIdLogClear,
      kIdCommandButton7,  kIdLogSave,        kIdLoadProfileFile, kIdLanguage,        kIdLogUndo};
  std::wstring progressProfile_;
  ULONGLONG lastProgress_ = 0;
  // The shredder's wait window while a run shreds; closed by the user, it stays away.
  HWND shredWait_ = nullptr;
  bool shredWaitClosed_ = false;
  ULONGLONG lastShredUpdate_ = 0;
  // Timer1: ticks once a minute while the interval timer runs.
  static constexpr UINT_PTR kTimer1 = 1;
  TimerModel timer_;
  // "Überwachung starten": looks a few times a second whether a watched profile is due.
  static constexpr UINT_PTR kWatchTimer = 2;
  std::unique_ptr<WatchService> watch_;

  ProfileEditor editor_;
  std::vector<std::wstring> nameHistory_;
  std::wstring filterList_;
  std::vector<FilterRow> filterRows_;
  bool fillingFilters_ = false;
  // The reference picture chosen on the settings page and its coordinates, until stored.
  ReferencePoint chosenReference_;
};

}  // namespace ablagix::app
