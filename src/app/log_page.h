// "Log-Dateien": the log list as a virtual list over the LogList model, its check-box chooser,
// sorting by header click, "Log löschen", "Log speichern...", "Letzten Lauf rückgängig
// machen", the double-click that hands a file to the companion, and the status line with the
// progress bar that runs, undos and exports use.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "app/page.h"
#include "app/run_session.h"
#include "log/log_list.h"
#include "log/log_save.h"

namespace ablagix::app {

class LogPage : public TabPage {
 public:
  LogPage(WindowContext& context, PageHost& host, RunSession& session, LogList& log)
      : TabPage(context, host), session_(session), log_(log) {}

  void OnCommand(int id, int code) override;
  LRESULT OnNotify(NMHDR* header) override;
  void KeepForRebuild() override;
  void RestoreAfterRebuild() override;

  HWND List() const { return Item(kIdExListviewLOG); }
  void ShowLogRows();
  void FollowLogRows();
  void SetLogEmptyText(std::wstring_view text);
  void SetStatus(std::wstring_view text);
  void ShowProgress(bool visible);
  void SetProgress(std::size_t done, std::size_t total);
  void HideSortArrow();
  LogSaveResult SaveLogNow(bool automatic);

 private:
  class BarProgress;

  void BuildControls(Layout& l) override;
  void BuildButtons(Layout& l, int buttonsY);
  static LRESULT CALLBACK LogListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                      DWORD_PTR self);
  void OnGetDispInfo(LVITEMW& item);
  void OnCheckBoxClick(HWND list, POINT at);
  void OnListKey(HWND list, WORD key);
  LRESULT OnCustomDraw(NMLVCUSTOMDRAW* draw);
  void SortLog(int column);
  void OnLogChooser();
  void OnClearLog();
  void OpenLogRow(std::size_t row);
  void OnSaveLogButton();

  RunSession& session_;
  LogList& log_;
  std::wstring logCell_;       // the text handed to the log list for the cell it asked for
  std::wstring logEmptyText_;  // the German text the empty log list shows, for a change of language
  std::wstring keptStatus_;    // the status line across a change of language
};

}  // namespace ablagix::app
