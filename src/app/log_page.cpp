// "Log-Dateien": the log list as a virtual list over the LogList model, its check-box chooser,
// sorting by header click, "Log löschen", "Log speichern...", "Letzten Lauf rückgängig
// machen", the double-click that hands a file to the companion, and the status line with the
// progress bar that runs, undos and exports use.
#include <windows.h>
#include <commctrl.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "app/control_ids.h"
#include "app/escape_poll.h"
#include "app/main_window.h"
#include "app/page_size.h"
#include "app/win_controls.h"
#include "base/abort_flag.h"
#include "base/text.h"
#include "desktop/companion.h"
#include "engine/journal.h"
#include "engine/undo.h"
#include "fileops/files.h"
#include "fileops/path_text.h"
#include "log/export_text.h"
#include "log/log_save.h"
#include "profiles/language.h"
#include "profiles/settings.h"

namespace ablagix::app {
namespace {

COLORREF ToColorRef(const Rgb& c) { return RGB(c.r, c.g, c.b); }

// `arrow`: HDF_SORTUP, HDF_SORTDOWN or 0 for none. A column of -1 is no column.
void SetSortArrow(HWND header, int column, int arrow) {
  if (column < 0) return;
  HDITEMW item{};
  item.mask = HDI_FORMAT;
  Header_GetItem(header, column, &item);
  item.fmt = (item.fmt & ~(HDF_SORTUP | HDF_SORTDOWN)) | arrow;
  Header_SetItem(header, column, &item);
}

// Window handles are 32-bit values that the system sign-extends.
HWND HandleFromNumber(std::uint64_t value) {
  return reinterpret_cast<HWND>(static_cast<std::intptr_t>(static_cast<std::int32_t>(static_cast<std::uint32_t>(value))));
}

class WindowCompanionHost : public CompanionHost {
 public:
  WindowCompanionHost(AppUi& ui, HWND window, std::wstring settingsFile)
      : ui_(ui), window_(window), settingsFile_(std::move(settingsFile)) {}
  UiPort& ui() override { return ui_; }
  std::wstring CompanionSettingsFile() override { return settingsFile_; }
  bool WindowExists(std::uint64_t handle) override { return IsWindow(HandleFromNumber(handle)) != FALSE; }
  void SendRecord(std::uint64_t handle, std::uint32_t kind, const std::string& bytes) override {
    COPYDATASTRUCT data{kind, static_cast<DWORD>(bytes.size()), const_cast<char*>(bytes.data())};
    // Synchronous, but a companion that hangs must not take this window with it.
    DWORD_PTR result = 0;
    SendMessageTimeoutW(HandleFromNumber(handle), WM_COPYDATA, reinterpret_cast<WPARAM>(window_),
                        reinterpret_cast<LPARAM>(&data), SMTO_ABORTIFHUNG, 10000, &result);
  }
  void StartCompanion(const std::wstring& path) override {
    ui_.StartProgram(std::wstring(kCompanionProgram), path);
  }
  bool PathExists(const std::wstring& path) override { return ablagix::PathExists(path); }

 private:
  AppUi& ui_;
  HWND window_;
  std::wstring settingsFile_;
};

// The window's questions while a report is written, and its input: between rows pending
// messages are handled (a few dozen times a second: the bar moves, the window repaints and
// answers), and Esc in one of this program's windows ends the export with "Abbruch".
class ExportUi : public UiPort {
 public:
  ExportUi(AppUi& ui, std::function<bool(MSG*)> preTranslate) : ui_(ui), preTranslate_(std::move(preTranslate)) {}
  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon, MessageButtons buttons) override {
    return ui_.ShowMessage(text, icon, buttons);
  }
  bool PollForAbort() override { return poll_.EscapePressed(preTranslate_); }

 private:
  AppUi& ui_;
  std::function<bool(MSG*)> preTranslate_;
  EscapePoll poll_{20};
};

class WindowLogSaveHost : public LogSaveHost {
 public:
  WindowLogSaveHost(AppUi& ui, UiPort& exportUi, ExportProgress* progress)
      : ui_(ui), exportUi_(exportUi), progress_(progress) {}
  UiPort& ui() override { return exportUi_; }
  LocalDateTime Now() override { return FileTimeToLocal(CurrentFileTime()); }
  std::optional<std::wstring> AskSavePath(const SaveDialogRequest& request) override {
    FileDialogArgs args;
    args.title = L"Log speichern";
    args.filter = request.filter;
    args.folder = request.folder;
    args.suggestedName = request.proposedName;
    args.defaultExtension = request.defaultExtension;
    return ui_.SaveFile(args);
  }
  void OpenWithProgram(const std::wstring& path) override { ui_.OpenWithProgram(path); }
  ExportProgress* Progress() override { return progress_; }

 private:
  AppUi& ui_;
  UiPort& exportUi_;
  ExportProgress* progress_;
};

// Set on the log list once the stored column order has been applied to it.
constexpr wchar_t kOrderRestored[] = L"AblagixLogOrderRestored";
// Posted to the log list after a header was dragged, when the new order is in place.
constexpr UINT kStoreLogOrder = WM_APP + 0x31;

// The order stored when the headers were last dragged, applied once the settings are read:
// when the list is first painted, or before its first report.
void RestoreColumnOrderOnce(HWND list, const std::vector<int>& stored) {
  if (GetPropW(list, kOrderRestored)) return;
  SetPropW(list, kOrderRestored, reinterpret_cast<HANDLE>(1));
  std::vector<int> order = LogColumnOrderOrDefault(stored);
  ListView_SetColumnOrderArray(list, kLogColumnCount, order.data());
}

std::vector<int> ColumnOrderOf(HWND list) {
  std::vector<int> order(kLogColumnCount);
  if (!ListView_GetColumnOrderArray(list, kLogColumnCount, order.data())) return {};
  return order;
}

}  // namespace

// The export moves the same bar as a run.
class MainWindow::BarProgress : public ExportProgress {
 public:
  explicit BarProgress(MainWindow& window) : window_(window) {}
  void Start(std::size_t rows) override {
    window_.ShowProgress(true);
    window_.SetProgress(0, rows);
  }
  void Advance(std::size_t rowsDone) override {
    const ULONGLONG now = GetTickCount64();
    if (now - last_ < 50) return;
    last_ = now;
    HWND bar = window_.Item(kIdLogProgress);
    SendMessageW(bar, PBM_SETPOS, static_cast<WPARAM>(rowsDone), 0);
    UpdateWindow(bar);
  }
  void Reset() override { window_.ShowProgress(false); }

 private:
  MainWindow& window_;
  ULONGLONG last_ = 0;
};

void MainWindow::BuildLogPage() {
  Layout& l = layouts_[kLogPage];
  l.Begin(pages_[kLogPage], &metrics_, kPageWidth, kPageHeight);
  const int W = kPageWidth;
  const int H = kPageHeight;
  const int buttonsY = H - kMargin - kButtonHeight;
  const int statusY = buttonsY - 6 - 10;
  // Owner data: the rows stay in the log model and the list asks only for what it shows, so
  // a log of a hundred thousand rows appears at once.
  HWND list = l.Add(WC_LISTVIEWW, L"", WS_TABSTOP | WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS | LVS_OWNERDATA,
                    kMargin, kMargin, W - 2 * kMargin, statusY - 5 - kMargin, kIdExListviewLOG, kStretchXY);
  ListView_SetExtendedListViewStyle(list, LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT | LVS_EX_HEADERDRAGDROP |
                                              LVS_EX_GRIDLINES | LVS_EX_DOUBLEBUFFER | LVS_EX_LABELTIP);
  // The check boxes live in the model; the list asks for them with the texts.
  ListView_SetCallbackMask(list, LVIS_STATEIMAGEMASK);
  for (int i = 0; i < kLogColumnCount; ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH | LVCF_SUBITEM;
    std::wstring caption = WordOf(kLogColumns[static_cast<size_t>(i)].text);
    column.pszText = caption.data();
    column.cx = MulDiv(kLogColumns[static_cast<size_t>(i)].width, metrics_.dpi, 96);
    column.iSubItem = i;
    ListView_InsertColumn(list, i, &column);
  }
  SetWindowSubclass(list, LogListProc, 0, reinterpret_cast<DWORD_PTR>(this));

  const int half = (W - 2 * kMargin) / 2;
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS, kMargin, statusY + 1, half - 4, 8, kIdLogStatus,
        Anchor{0, 1, 0.5f, 1});
  HWND bar = l.Add(PROGRESS_CLASSW, L"", PBS_SMOOTH, kMargin + half, statusY, W - 2 * kMargin - half, 10,
                   kIdLogProgress, Anchor{0.5f, 1, 1, 1});
  ShowWindow(bar, SW_HIDE);

  const DWORD push = WS_TABSTOP | BS_PUSHBUTTON;
  // The label names the chooser (its mnemonic reaches it) where a cue text is not drawn.
  const std::wstring chooserCaption = Word(L"&Haken:");
  const int captionWidth = metrics_.TextWidth(chooserCaption) + 2;
  l.Add(WC_STATICW, chooserCaption, SS_LEFT, kMargin, buttonsY + 3, captionWidth, 8, kIdLogChooserCaption, kMoveY);
  const int chooserX = kMargin + captionWidth + 3;
  int chooserWidth = 150;
  for (std::wstring_view entry : kComboBox1Entries) {
    chooserWidth = std::max(chooserWidth, metrics_.TextWidth(WordOf(entry)) + 20);  // and the drop-down arrow
  }
  HWND chooser = l.Add(WC_COMBOBOXW, L"", WS_TABSTOP | CBS_DROPDOWNLIST | WS_VSCROLL, chooserX, buttonsY,
                       chooserWidth, kEditHeight, kIdComboBox1, kMoveY);
  FillComboWords(chooser, kComboBox1Entries);
  const std::wstring cue = Word(L"Haken setzen oder entfernen ...");
  SendMessageW(chooser, CB_SETCUEBANNER, 0, reinterpret_cast<LPARAM>(cue.c_str()));
  const std::wstring clear = Word(L"Log &l\u00f6schen");
  const std::wstring undo = Word(L"Letzten Lauf &r\u00fcckg\u00e4ngig machen");
  const std::wstring checked = Word(L"Ausf\u00fchren nur bei an&gehakten Dateien");
  const std::wstring save = Word(L"Log s&peichern...");
  const int clearWidth = std::max(kButtonWidth, metrics_.TextWidth(clear) + 12);
  const int undoWidth = std::max(kButtonWidth, metrics_.TextWidth(undo) + 12);
  const int saveWidth = std::max(kButtonWidth, metrics_.TextWidth(save) + 12);
  const int checkedWidth = std::max(kButtonWidth, metrics_.TextWidth(checked) + 12);
  // Left the commands on the list's rows, right those that change files; created in the
  // order they stand, so Tab goes from left to right.
  const int saveX = W - kMargin - saveWidth;
  const int checkedX = saveX - 4 - checkedWidth;
  const int undoX = checkedX - 4 - undoWidth;
  l.Add(WC_BUTTONW, clear, push, chooserX + chooserWidth + 4, buttonsY, clearWidth, kButtonHeight, kIdLogClear,
        kMoveY);
  l.Add(WC_BUTTONW, undo, push, undoX, buttonsY, undoWidth, kButtonHeight, kIdLogUndo, kMoveXY);
  l.Add(WC_BUTTONW, checked, push, checkedX, buttonsY, checkedWidth, kButtonHeight, kIdCommandButton7, kMoveXY);
  l.Add(WC_BUTTONW, save, push, saveX, buttonsY, saveWidth, kButtonHeight, kIdLogSave, kMoveXY);
  AddTooltip(pages_[kLogPage], Item(kIdLogUndo),
             Word(L"Holt die Dateien des letzten ausgef\u00fchrten Laufs zur\u00fcck und entfernt seine Kopien"));
  AddTooltip(pages_[kLogPage], Item(kIdCommandButton7),
             Word(L"F\u00fchrt die Aktion jeder angehakten Zeile f\u00fcr ihre Datei noch einmal aus"));
  AddTooltip(pages_[kLogPage], Item(kIdLogSave), Word(L"Speichert das Log im gew\u00e4hlten Format (Einstellungen)"));
  SetLogEmptyText(L"");
}

// Draws the empty-list text, which the list holds as its window text so that screen readers
// name the empty list by it.
LRESULT CALLBACK MainWindow::LogListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                         DWORD_PTR data) {
  auto* self = reinterpret_cast<MainWindow*>(data);
  if (message == WM_PAINT) RestoreColumnOrderOnce(list, self->settings_.LogHeaderPosition);
  if (message == WM_NCDESTROY) RemovePropW(list, kOrderRestored);
  if (message == kStoreLogOrder) {
    // The order the user dragged the headers into is kept for the reports of ablagix-cli and
    // for the next start.
    self->settings_.LogHeaderPosition = ColumnOrderOf(list);
    self->SaveSetting(L"LogHeaderPosition", ColumnOrderText(self->settings_.LogHeaderPosition));
    return 0;
  }
  LRESULT result = DefSubclassProc(list, message, wParam, lParam);
  if (message == WM_NOTIFY && reinterpret_cast<NMHDR*>(lParam)->code == HDN_ENDDRAG) {
    PostMessageW(list, kStoreLogOrder, 0, 0);
  }
  if (message == WM_PAINT && ListView_GetItemCount(list) == 0 && GetWindowTextLengthW(list) > 0) {
    RECT area{};
    GetClientRect(list, &area);
    RECT header{};
    GetWindowRect(ListView_GetHeader(list), &header);
    area.top += header.bottom - header.top + 12;
    area.left += 8;
    area.right -= 8;
    HDC dc = GetDC(list);
    HGDIOBJ oldFont = SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(list, WM_GETFONT, 0, 0)));
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, GetSysColor(COLOR_GRAYTEXT));
    std::wstring text = GetText(list);
    DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &area, DT_CENTER | DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(dc, oldFont);
    ReleaseDC(list, dc);
  } else if (message == WM_SETTEXT) {
    InvalidateRect(list, nullptr, TRUE);
  }
  return result;
}

void MainWindow::SetLogEmptyText(std::wstring_view text) {
  logEmptyText_ = std::wstring(text);
  SetText(Item(kIdExListviewLOG), text.empty() ? std::wstring() : WordOf(text));
}

void MainWindow::ShowLogRows() {
  HWND list = Item(kIdExListviewLOG);
  ListView_SetItemCountEx(list, static_cast<int>(log_.size()), LVSICF_NOINVALIDATEALL);
  InvalidateRect(list, nullptr, TRUE);
  if (!log_.empty()) ListView_EnsureVisible(list, static_cast<int>(log_.size()) - 1, FALSE);
}

void MainWindow::ShowProgress(bool visible) {
  HWND bar = Item(kIdLogProgress);
  if (!visible) SendMessageW(bar, PBM_SETPOS, 0, 0);
  ShowWindow(bar, visible ? SW_SHOW : SW_HIDE);
}

void MainWindow::SetProgress(std::size_t done, std::size_t total) {
  HWND bar = Item(kIdLogProgress);
  // An unknown total (a scan still counting) keeps the bar moving without a position.
  const bool marquee = total == 0;
  LONG_PTR style = GetWindowLongPtrW(bar, GWL_STYLE);
  if (marquee != ((style & PBS_MARQUEE) != 0)) {
    SetWindowLongPtrW(bar, GWL_STYLE, marquee ? style | PBS_MARQUEE : style & ~static_cast<LONG_PTR>(PBS_MARQUEE));
    SendMessageW(bar, PBM_SETMARQUEE, marquee ? TRUE : FALSE, 30);
  }
  if (!marquee) {
    SendMessageW(bar, PBM_SETRANGE32, 0, static_cast<LPARAM>(std::min<std::size_t>(total, 0x7FFFFFFF)));
    SendMessageW(bar, PBM_SETPOS, static_cast<WPARAM>(std::min<std::size_t>(done, 0x7FFFFFFF)), 0);
  }
}

void MainWindow::SetStatus(std::wstring_view text) {
  HWND status = Item(kIdLogStatus);
  SetText(status, text);
  UpdateWindow(status);
}

LRESULT MainWindow::OnLogListNotify(NMHDR* header) {
  HWND list = header->hwndFrom;
  switch (header->code) {
    case LVN_GETDISPINFOW: {
      LVITEMW& item = reinterpret_cast<NMLVDISPINFOW*>(header)->item;
      if (item.iItem < 0 || static_cast<size_t>(item.iItem) >= log_.size()) return 0;
      const auto row = static_cast<size_t>(item.iItem);
      if (item.mask & LVIF_TEXT) {
        logCell_ = log_.Text(row, item.iSubItem);
        lstrcpynW(item.pszText, logCell_.c_str(), item.cchTextMax);
      }
      if (item.mask & LVIF_STATE) {
        item.state = INDEXTOSTATEIMAGEMASK(log_.Checked(row) ? 2 : 1);
        item.stateMask = LVIS_STATEIMAGEMASK;
      }
      return 0;
    }
    case NM_CLICK: {
      // An owner-data list keeps no check state of its own: a click on the box toggles the model.
      LVHITTESTINFO hit{};
      hit.pt = reinterpret_cast<NMITEMACTIVATE*>(header)->ptAction;
      ListView_HitTest(list, &hit);
      if ((hit.flags & LVHT_ONITEMSTATEICON) && hit.iItem >= 0 && static_cast<size_t>(hit.iItem) < log_.size()) {
        log_.SetChecked(static_cast<size_t>(hit.iItem), !log_.Checked(static_cast<size_t>(hit.iItem)));
        ListView_RedrawItems(list, hit.iItem, hit.iItem);
      }
      return 0;
    }
    case LVN_KEYDOWN:
      // Ctrl+A highlights every row, for "Alle markierten anhaken" and the like.
      if (reinterpret_cast<NMLVKEYDOWN*>(header)->wVKey == 'A' && GetKeyState(VK_CONTROL) < 0) {
        ListView_SetItemState(list, -1, LVIS_SELECTED, LVIS_SELECTED);
        return 0;
      }
      // Space toggles the check boxes of the highlighted rows, as in a list with its own boxes.
      if (reinterpret_cast<NMLVKEYDOWN*>(header)->wVKey == VK_SPACE) {
        for (int row = ListView_GetNextItem(list, -1, LVNI_SELECTED); row >= 0;
             row = ListView_GetNextItem(list, row, LVNI_SELECTED)) {
          if (static_cast<size_t>(row) < log_.size()) log_.SetChecked(static_cast<size_t>(row), !log_.Checked(static_cast<size_t>(row)));
        }
        InvalidateRect(list, nullptr, FALSE);
      }
      return 0;
    case NM_RETURN: {
      // Enter on the focused row does what a double-click does.
      const int row = ListView_GetNextItem(list, -1, LVNI_FOCUSED);
      if (row >= 0 && static_cast<size_t>(row) < log_.size()) OpenLogRow(static_cast<size_t>(row));
      return 0;
    }
    case NM_DBLCLK: {
      const int row = reinterpret_cast<NMITEMACTIVATE*>(header)->iItem;
      if (row >= 0 && static_cast<size_t>(row) < log_.size()) OpenLogRow(static_cast<size_t>(row));
      return 0;
    }
    case LVN_COLUMNCLICK:
      // The engine appends and rewrites rows by position while it runs.
      if (!running_) SortLog(reinterpret_cast<NMLISTVIEW*>(header)->iSubItem);
      return 0;
    case NM_CUSTOMDRAW: {
      auto* draw = reinterpret_cast<NMLVCUSTOMDRAW*>(header);
      if (draw->nmcd.dwDrawStage == CDDS_ITEMPREPAINT && draw->nmcd.dwItemSpec < log_.size()) {
        LRESULT result = OnListCustomDraw(draw);
        const LogRowColours colours = log_.Colours(draw->nmcd.dwItemSpec);
        if (colours.background) draw->clrTextBk = ToColorRef(*colours.background);
        if (colours.text) draw->clrText = ToColorRef(*colours.text);
        return result;
      }
      return OnListCustomDraw(draw);
    }
  }
  return 0;
}

// New rows are appended unsorted, so the header no longer shows an order.
void MainWindow::HideSortArrow() {
  SetSortArrow(ListView_GetHeader(Item(kIdExListviewLOG)), log_.sortedColumn(), 0);
}

void MainWindow::SortLog(int column) {
  if (column < 0 || column >= kLogColumnCount) return;
  HWND list = Item(kIdExListviewLOG);
  SetCursor(LoadCursorW(nullptr, IDC_WAIT));
  const LogSortResult sorted = log_.SortByColumn(column);
  HWND header = ListView_GetHeader(list);
  SetSortArrow(header, sorted.previousColumn, 0);
  SetSortArrow(header, sorted.column, sorted.order == SortOrder::Ascending ? HDF_SORTUP : HDF_SORTDOWN);
  // Highlighted positions would now point at other rows.
  ClearListHighlight(list);
  InvalidateRect(list, nullptr, FALSE);
  SetCursor(LoadCursorW(nullptr, IDC_ARROW));
}

void MainWindow::OnLogChooser() {
  HWND chooser = Item(kIdComboBox1);
  const int position = ComboPos(chooser);
  // The shown entry is cleared at once, so that the same entry can be picked again.
  SetComboPos(chooser, -1);
  if (position < 0 || position >= static_cast<int>(kComboBox1Entries.size()) || running_) return;
  HWND list = Item(kIdExListviewLOG);
  LogSelection selection;
  const int focused = ListView_GetNextItem(list, -1, LVNI_FOCUSED | LVNI_SELECTED);
  const int first = ListView_GetNextItem(list, -1, LVNI_SELECTED);
  if (focused >= 0 || first >= 0) selection.selected = static_cast<size_t>(focused >= 0 ? focused : first);
  for (int row = first; row >= 0; row = ListView_GetNextItem(list, row, LVNI_SELECTED)) {
    selection.highlighted.push_back(static_cast<size_t>(row));
  }
  const auto command = static_cast<CheckCommand>(position);
  const size_t before = log_.size();
  log_.Apply(command, selection);
  if (log_.size() != before) {
    ClearListHighlight(list);
    ListView_SetItemCountEx(list, static_cast<int>(log_.size()), 0);
  }
  InvalidateRect(list, nullptr, FALSE);
}

void MainWindow::OnClearLog() {
  if (running_) return;
  log_.Clear();
  HWND list = Item(kIdExListviewLOG);
  ClearListHighlight(list);
  ShowLogRows();
  SetStatus(L"");
}

void MainWindow::OpenLogRow(size_t row) {
  WindowCompanionHost host(ui_, window_, JoinPath(folders_.AppDataFolder, L"Opt.ini"));
  OpenLogRowTarget(log_.Text(row, LogColumn::Zielpfad), log_.Text(row, LogColumn::Datei),
                   log_.Text(row, LogColumn::Ziel2), host);
}

LogSaveResult MainWindow::SaveLogNow(bool automatic) {
  ControlsToSettings();
  // Text and CSV follow the columns as the list shows them.
  RestoreColumnOrderOnce(Item(kIdExListviewLOG), settings_.LogHeaderPosition);
  settings_.LogHeaderPosition = ColumnOrderOf(Item(kIdExListviewLOG));
  // The window answers while the report is written, so nothing may change the log meanwhile:
  // the same guard as a run (after a run, the run's own guard is still up).
  const bool inRun = running_;
  if (!inRun) {
    running_ = true;
    timer_.SetBusy(true);
    for (int id : kRunControls) EnableWindow(Item(id), FALSE);
    SetStatus(L"Log wird gespeichert \u2026 (Esc bricht ab)");
  }
  BarProgress progress(*this);
  ExportUi exportUi(ui_, [this](MSG* message) { return PreTranslate(message); });
  WindowLogSaveHost host(ui_, exportUi, &progress);
  SetCursor(LoadCursorW(nullptr, IDC_WAIT));
  LogSaveResult result = SaveLog(log_, settings_, folders_.SettingsFilePath, automatic, host);
  SetCursor(LoadCursorW(nullptr, IDC_ARROW));
  ShowProgress(false);
  if (!inRun) {
    for (int id : kRunControls) EnableWindow(Item(id), TRUE);
    timer_.SetBusy(false);
    running_ = false;
    if (closeAfterRun_) PostMessageW(window_, WM_CLOSE, 0, 0);
  }
  return result;
}

void MainWindow::OnSaveLogButton() {
  if (running_) return;
  const LogSaveResult result = SaveLogNow(false);
  if (result.outcome == LogSaveOutcome::Saved) {
    SetStatus(L"Log gespeichert: " + result.path);
  } else if (result.outcome == LogSaveOutcome::Failed) {
    SetStatus(L"Log nicht gespeichert");
    // The PDF writer has already said why.
    if (ReportFormatForPath(result.path) != ReportFormat::Pdf) {
      ui_.ShowMessage(L"Das Log konnte nicht gespeichert werden:\r\n" + result.path, MessageIcon::Critical,
                      MessageButtons::Ok);
    }
  }
}

// The engine's view of the window while a run is undone: the same input handling as a report
// (pending messages between files, Esc in one of this program's windows stops), and the
// status line and bar of a run.
class MainWindow::UndoHost : public RunHost {
 public:
  explicit UndoHost(MainWindow& window)
      : window_(window), ui_(window.ui_, [&window](MSG* message) { return window.PreTranslate(message); }) {}
  UiPort& ui() override { return ui_; }
  void Notify(const std::wstring& title, const std::wstring& text) override { window_.ui_.ShowBalloon(title, text); }
  LocalDateTime Now() override { return FileTimeToLocal(CurrentFileTime()); }
  bool PollForAbort() override { return ui_.PollForAbort(); }
  // A file brought back across drives is copied; Esc cancels that copy too, and the file
  // stays where the run put it.
  bool CopyProgress(std::uint64_t, std::uint64_t) override {
    if (!PollForAbort()) return true;
    RequestAbort();
    return false;
  }
  void Progress(const RunProgress& progress) override { window_.OnRunProgress(progress); }
  void SetLogEmptyText(std::wstring_view text) override { window_.SetLogEmptyText(text); }

 private:
  MainWindow& window_;
  ExportUi ui_;
};

void MainWindow::OnUndoButton() {
  if (running_) return;
  const std::vector<JournalSummary> runs = ListJournals(JournalFolderIn(folders_));
  if (runs.empty()) {
    ui_.ShowMessage(Word(L"Es gibt keinen ausgef\u00fchrten Lauf, der sich r\u00fcckg\u00e4ngig machen lie\u00dfe."),
                    MessageIcon::Information, MessageButtons::Ok);
    return;
  }
  // The newest run that is not undone yet: runs are undone newest first, one press each, so
  // that an older run never takes files away from where a later run put them. After a watched
  // or timed run has been undone, the next press offers the run before it.
  const auto next = std::find_if(runs.begin(), runs.end(), [](const JournalSummary& run) {
    return run.readable && !run.undone && run.changes > 0;
  });
  if (next == runs.end()) {
    ui_.ShowMessage(FillIn(Word(L"Der letzte Lauf vom %1 ist schon r\u00fcckg\u00e4ngig gemacht."), runs.front().startedText),
                    MessageIcon::Information, MessageButtons::Ok);
    return;
  }
  const JournalSummary* last = &*next;
  {
    std::wstring question =
        next == runs.begin()
            ? FillIn(Word(L"Den letzten Lauf vom %1 mit %2 \u00c4nderung(en) r\u00fcckg\u00e4ngig machen?"),
                     last->startedText, NumberText(last->changes))
            : FillIn(Word(L"Die neueren L\u00e4ufe sind schon r\u00fcckg\u00e4ngig gemacht. Den Lauf vom %1 mit %2 "
                          L"\u00c4nderung(en) r\u00fcckg\u00e4ngig machen?"),
                     last->startedText, NumberText(last->changes));
    if (!last->finished) {
      question += L"\r\n\r\n" + Word(L"Der Lauf wurde nicht zu Ende gef\u00fchrt; r\u00fcckg\u00e4ngig gemacht wird, "
                                       L"was sein Journal festh\u00e4lt.");
    }
    if (ui_.ShowMessage(question, MessageIcon::Question, MessageButtons::YesNo) != MessageAnswer::Yes) return;
  }
  // An unreadable journal goes to the undo all the same: its row in the log says why nothing
  // was done.
  SelectTab(kLogPage);
  BeginRun();
  HideSortArrow();
  SetStatus(Word(L"Lauf wird r\u00fcckg\u00e4ngig gemacht \u2026 (Esc bricht ab)"));
  UndoHost host(*this);
  const UndoSummary undone = UndoRun(last->path, host, log_);
  RunSummary summary;
  summary.files = undone.files;
  summary.errors = undone.errors;
  summary.aborted = undone.aborted;
  EndRun(summary, false);
  // A run that still goes (a watch, a second program) or holds its folders: nothing was done.
  if (undone.busy) ui_.ShowMessage(undone.problem, MessageIcon::Exclamation, MessageButtons::Ok);
  SetStatus(FillIn(undone.aborted ? Word(L"R\u00fcckg\u00e4ngig abgebrochen: %1 Datei(en), %2 Fehler")
                                  : Word(L"R\u00fcckg\u00e4ngig gemacht: %1 Datei(en), %2 Fehler"),
                   NumberText(undone.files), NumberText(undone.errors)));
}

}  // namespace ablagix::app
