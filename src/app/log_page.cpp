#include "app/log_page.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <vector>

#include "app/control_ids.h"
#include "app/escape_poll.h"
#include "app/page_size.h"
#include "app/win_controls.h"
#include "base/text.h"
#include "desktop/companion.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "fileops/win32_handle.h"
#include "log/export_text.h"
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
class LogPage::BarProgress : public ExportProgress {
 public:
  explicit BarProgress(LogPage& page) : page_(page) {}
  void Start(std::size_t rows) override {
    page_.ShowProgress(true);
    page_.SetProgress(0, rows);
  }
  void Advance(std::size_t rowsDone) override {
    const ULONGLONG now = GetTickCount64();
    if (now - last_ < 50) return;
    last_ = now;
    HWND bar = page_.Item(kIdLogProgress);
    SendMessageW(bar, PBM_SETPOS, static_cast<WPARAM>(rowsDone), 0);
    UpdateWindow(bar);
  }
  void Reset() override { page_.ShowProgress(false); }

 private:
  LogPage& page_;
  ULONGLONG last_ = 0;
};

void LogPage::BuildControls(Layout& l) {
  const FontMetrics& metrics = l.metrics();
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
    column.cx = MulDiv(kLogColumns[static_cast<size_t>(i)].width, metrics.dpi, 96);
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
  BuildButtons(l, buttonsY);
  SetLogEmptyText(L"");
}

void LogPage::BuildButtons(Layout& l, int buttonsY) {
  const FontMetrics& metrics = l.metrics();
  const int W = kPageWidth;
  // The label names the chooser (its mnemonic reaches it) where a cue text is not drawn.
  const std::wstring chooserCaption = Word(L"&Haken:");
  const int captionWidth = metrics.TextWidth(chooserCaption) + 2;
  l.Add(WC_STATICW, chooserCaption, SS_LEFT, kMargin, buttonsY + 3, captionWidth, 8, kIdLogChooserCaption, kMoveY);
  const int chooserX = kMargin + captionWidth + 3;
  int chooserWidth = 150;
  for (std::wstring_view entry : kComboBox1Entries) {
    chooserWidth = std::max(chooserWidth, metrics.TextWidth(WordOf(entry)) + 20);  // and the drop-down arrow
  }
  HWND chooser = l.Combo(chooserX, buttonsY, chooserWidth, kIdComboBox1, kMoveY);
  FillComboWords(chooser, kComboBox1Entries);
  const std::wstring cue = Word(L"Haken setzen oder entfernen ...");
  SendMessageW(chooser, CB_SETCUEBANNER, 0, reinterpret_cast<LPARAM>(cue.c_str()));
  const std::wstring clear = Word(L"Log &l\u00f6schen");
  const std::wstring undo = Word(L"Letzten Lauf &r\u00fcckg\u00e4ngig machen");
  const std::wstring checked = Word(L"Ausf\u00fchren nur bei an&gehakten Dateien");
  const std::wstring save = Word(L"Log s&peichern...");
  const int clearWidth = std::max(kButtonWidth, metrics.TextWidth(clear) + 12);
  const int undoWidth = std::max(kButtonWidth, metrics.TextWidth(undo) + 12);
  const int saveWidth = std::max(kButtonWidth, metrics.TextWidth(save) + 12);
  const int checkedWidth = std::max(kButtonWidth, metrics.TextWidth(checked) + 12);
  // Left the commands on the list's rows, right those that change files; created in the
  // order they stand, so Tab goes from left to right.
  const int saveX = W - kMargin - saveWidth;
  const int checkedX = saveX - 4 - checkedWidth;
  const int undoX = checkedX - 4 - undoWidth;
  l.Button(clear, chooserX + chooserWidth + 4, buttonsY, clearWidth, kIdLogClear, kMoveY);
  l.Button(undo, undoX, buttonsY, undoWidth, kIdLogUndo, kMoveXY);
  l.Button(checked, checkedX, buttonsY, checkedWidth, kIdCommandButton7, kMoveXY);
  l.Button(save, saveX, buttonsY, saveWidth, kIdLogSave, kMoveXY);
  host_.AddTooltip(page_, Item(kIdLogUndo),
                   Word(L"Holt die Dateien des letzten ausgef\u00fchrten Laufs zur\u00fcck und entfernt seine Kopien"));
  host_.AddTooltip(page_, Item(kIdCommandButton7),
                   Word(L"F\u00fchrt die Aktion jeder angehakten Zeile f\u00fcr ihre Datei noch einmal aus"));
  host_.AddTooltip(page_, Item(kIdLogSave), Word(L"Speichert das Log im gew\u00e4hlten Format (Einstellungen)"));
}

// Draws the empty-list text, which the list holds as its window text so that screen readers
// name the empty list by it.
LRESULT CALLBACK LogPage::LogListProc(HWND list, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                      DWORD_PTR data) {
  auto* self = reinterpret_cast<LogPage*>(data);
  AppSettings& settings = self->context_.settings;
  if (message == WM_PAINT) RestoreColumnOrderOnce(list, settings.LogHeaderPosition);
  if (message == WM_NCDESTROY) RemovePropW(list, kOrderRestored);
  if (message == kStoreLogOrder) {
    // The order the user dragged the headers into is kept for the reports of ablagix-cli and
    // for the next start.
    settings.LogHeaderPosition = ColumnOrderOf(list);
    self->host_.SaveSetting(L"LogHeaderPosition", ColumnOrderText(settings.LogHeaderPosition));
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
    WindowDc dc(list);
    SelectedObject font(dc.get(), reinterpret_cast<HFONT>(SendMessageW(list, WM_GETFONT, 0, 0)));
    SetBkMode(dc.get(), TRANSPARENT);
    SetTextColor(dc.get(), GetSysColor(COLOR_GRAYTEXT));
    std::wstring text = GetText(list);
    DrawTextW(dc.get(), text.c_str(), static_cast<int>(text.size()), &area, DT_CENTER | DT_WORDBREAK | DT_NOPREFIX);
  } else if (message == WM_SETTEXT) {
    InvalidateRect(list, nullptr, TRUE);
  }
  return result;
}

void LogPage::SetLogEmptyText(std::wstring_view text) {
  logEmptyText_ = std::wstring(text);
  SetText(Item(kIdExListviewLOG), text.empty() ? std::wstring() : WordOf(text));
}

void LogPage::FollowLogRows() {
  HWND list = List();
  ListView_SetItemCountEx(list, static_cast<int>(log_.size()), LVSICF_NOINVALIDATEALL | LVSICF_NOSCROLL);
  if (!log_.empty()) ListView_EnsureVisible(list, static_cast<int>(log_.size()) - 1, FALSE);
  UpdateWindow(list);
}

void LogPage::ShowLogRows() {
  HWND list = Item(kIdExListviewLOG);
  ListView_SetItemCountEx(list, static_cast<int>(log_.size()), LVSICF_NOINVALIDATEALL);
  InvalidateRect(list, nullptr, TRUE);
  if (!log_.empty()) ListView_EnsureVisible(list, static_cast<int>(log_.size()) - 1, FALSE);
}

void LogPage::ShowProgress(bool visible) {
  HWND bar = Item(kIdLogProgress);
  if (!visible) SendMessageW(bar, PBM_SETPOS, 0, 0);
  ShowWindow(bar, visible ? SW_SHOW : SW_HIDE);
}

void LogPage::SetProgress(std::size_t done, std::size_t total) {
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

void LogPage::SetStatus(std::wstring_view text) {
  HWND status = Item(kIdLogStatus);
  SetText(status, text);
  UpdateWindow(status);
}

void LogPage::OnCommand(int id, int code) {
  if (id == kIdComboBox1) {
    if (code == CBN_SELCHANGE) OnLogChooser();
    return;
  }
  if (code != BN_CLICKED) return;
  switch (id) {
    case kIdLogClear: OnClearLog(); return;
    case kIdCommandButton7: session_.RunCheckedRows(); return;
    case kIdLogSave: OnSaveLogButton(); return;
    case kIdLogUndo: session_.UndoLastRun(); return;
  }
}

LRESULT LogPage::OnNotify(NMHDR* header) {
  if (header->idFrom != kIdExListviewLOG) return 0;
  HWND list = header->hwndFrom;
  switch (header->code) {
    case LVN_GETDISPINFOW:
      OnGetDispInfo(reinterpret_cast<NMLVDISPINFOW*>(header)->item);
      return 0;
    case NM_CLICK:
      OnCheckBoxClick(list, reinterpret_cast<NMITEMACTIVATE*>(header)->ptAction);
      return 0;
    case LVN_KEYDOWN:
      OnListKey(list, reinterpret_cast<NMLVKEYDOWN*>(header)->wVKey);
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
      if (!session_.running()) SortLog(reinterpret_cast<NMLISTVIEW*>(header)->iSubItem);
      return 0;
    case NM_CUSTOMDRAW:
      return OnCustomDraw(reinterpret_cast<NMLVCUSTOMDRAW*>(header));
  }
  return 0;
}

void LogPage::OnGetDispInfo(LVITEMW& item) {
  if (item.iItem < 0 || static_cast<size_t>(item.iItem) >= log_.size()) return;
  const auto row = static_cast<size_t>(item.iItem);
  if (item.mask & LVIF_TEXT) {
    logCell_ = log_.Text(row, item.iSubItem);
    lstrcpynW(item.pszText, logCell_.c_str(), item.cchTextMax);
  }
  if (item.mask & LVIF_STATE) {
    item.state = INDEXTOSTATEIMAGEMASK(log_.Checked(row) ? 2 : 1);
    item.stateMask = LVIS_STATEIMAGEMASK;
  }
}

// An owner-data list keeps no check state of its own: a click on the box toggles the model.
void LogPage::OnCheckBoxClick(HWND list, POINT at) {
  LVHITTESTINFO hit{};
  hit.pt = at;
  ListView_HitTest(list, &hit);
  if ((hit.flags & LVHT_ONITEMSTATEICON) && hit.iItem >= 0 && static_cast<size_t>(hit.iItem) < log_.size()) {
    log_.SetChecked(static_cast<size_t>(hit.iItem), !log_.Checked(static_cast<size_t>(hit.iItem)));
    ListView_RedrawItems(list, hit.iItem, hit.iItem);
  }
}

void LogPage::OnListKey(HWND list, WORD key) {
  // Ctrl+A highlights every row, for "Alle markierten anhaken" and the like.
  if (key == 'A' && GetKeyState(VK_CONTROL) < 0) {
    ListView_SetItemState(list, -1, LVIS_SELECTED, LVIS_SELECTED);
    return;
  }
  // Space toggles the check boxes of the highlighted rows, as in a list with its own boxes.
  if (key == VK_SPACE) {
    for (int row = ListView_GetNextItem(list, -1, LVNI_SELECTED); row >= 0;
         row = ListView_GetNextItem(list, row, LVNI_SELECTED)) {
      if (static_cast<size_t>(row) < log_.size()) log_.SetChecked(static_cast<size_t>(row), !log_.Checked(static_cast<size_t>(row)));
    }
    InvalidateRect(list, nullptr, FALSE);
  }
}

LRESULT LogPage::OnCustomDraw(NMLVCUSTOMDRAW* draw) {
  if (draw->nmcd.dwDrawStage == CDDS_ITEMPREPAINT && draw->nmcd.dwItemSpec < log_.size()) {
    LRESULT result = StripedRowsCustomDraw(draw, context_.settings);
    const LogRowColours colours = log_.Colours(draw->nmcd.dwItemSpec);
    if (colours.background) draw->clrTextBk = ToColorRef(*colours.background);
    if (colours.text) draw->clrText = ToColorRef(*colours.text);
    return result;
  }
  return StripedRowsCustomDraw(draw, context_.settings);
}

// New rows are appended unsorted, so the header no longer shows an order.
void LogPage::HideSortArrow() {
  SetSortArrow(ListView_GetHeader(Item(kIdExListviewLOG)), log_.sortedColumn(), 0);
}

void LogPage::SortLog(int column) {
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

void LogPage::OnLogChooser() {
  HWND chooser = Item(kIdComboBox1);
  const int position = ComboPos(chooser);
  // The shown entry is cleared at once, so that the same entry can be picked again.
  SetComboPos(chooser, -1);
  if (position < 0 || position >= static_cast<int>(kComboBox1Entries.size()) || session_.running()) return;
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

void LogPage::OnClearLog() {
  if (session_.running()) return;
  log_.Clear();
  HWND list = Item(kIdExListviewLOG);
  ClearListHighlight(list);
  ShowLogRows();
  SetStatus(L"");
}

void LogPage::OpenLogRow(size_t row) {
  WindowCompanionHost host(context_.ui, context_.window, JoinPath(context_.folders.AppDataFolder, L"Opt.ini"));
  OpenLogRowTarget(log_.Text(row, LogColumn::Zielpfad), log_.Text(row, LogColumn::Datei),
                   log_.Text(row, LogColumn::Ziel2), host);
}

LogSaveResult LogPage::SaveLogNow(bool automatic) {
  AppSettings& settings = context_.settings;
  host_.SettingsFromControls();
  // Text and CSV follow the columns as the list shows them.
  RestoreColumnOrderOnce(List(), settings.LogHeaderPosition);
  settings.LogHeaderPosition = ColumnOrderOf(List());
  // The window answers while the report is written, so nothing may change the log meanwhile:
  // the same guard as a run (after a run, the run's own guard is still up).
  const bool held = session_.HoldForExport(L"Log wird gespeichert \u2026 (Esc bricht ab)");
  BarProgress progress(*this);
  PollingUi exportUi(context_.ui, [this](MSG* message) { return host_.PreTranslate(message); }, 20);
  WindowLogSaveHost host(context_.ui, exportUi, &progress);
  SetCursor(LoadCursorW(nullptr, IDC_WAIT));
  LogSaveResult result = SaveLog(log_, settings, context_.folders.SettingsFilePath, automatic, host);
  SetCursor(LoadCursorW(nullptr, IDC_ARROW));
  ShowProgress(false);
  if (held) session_.ReleaseExport();
  return result;
}

void LogPage::OnSaveLogButton() {
  if (session_.running()) return;
  const LogSaveResult result = SaveLogNow(false);
  if (result.outcome == LogSaveOutcome::Saved) {
    SetStatus(L"Log gespeichert: " + result.path);
  } else if (result.outcome == LogSaveOutcome::Failed) {
    SetStatus(L"Log nicht gespeichert");
    // The PDF writer has already said why.
    if (ReportFormatForPath(result.path) != ReportFormat::Pdf) {
      context_.ui.ShowMessage(L"Das Log konnte nicht gespeichert werden:\r\n" + result.path, MessageIcon::Critical,
                      MessageButtons::Ok);
    }
  }
}

void LogPage::KeepForRebuild() { keptStatus_ = GetText(Item(kIdLogStatus)); }

void LogPage::RestoreAfterRebuild() {
  ShowLogRows();
  SetLogEmptyText(logEmptyText_);
  SetStatus(keptStatus_);
}

}  // namespace ablagix::app
