#include "app/main_window.h"

#include <windows.h>
#include <commctrl.h>

#include "app/control_ids.h"
#include "app/layout_check.h"
#include "app/screenshot.h"
#include "app/win_controls.h"
#include "base/abort_flag.h"
#include "base/environment.h"
#include "fileops/files.h"
#include "fileops/path_text.h"
#include "engine/zip_actions.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"
#include "zip/sfx_archive.h"
#include "profiles/profile_file_choice.h"
#include "profiles/window_rect.h"

namespace ablagix::app {
namespace {

constexpr wchar_t kPageClass[] = L"AblagixPage";

std::wstring TabCaption(int page) {
  switch (page) {
    case kRunPage: return Word(L"Profile ausf\u00fchren");
    case kEditorPage: return Word(L"Profile bearbeiten");
    case kSettingsPage: return Word(L"Einstellungen");
    default: return Word(L"Log-Dateien");
  }
}

// Picture1 hands the tray icon's events to the main window.
LRESULT CALLBACK Picture1Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR, DWORD_PTR) {
  if (message == kTrayMessage) return SendMessageW(GetParent(window), message, wParam, lParam);
  return DefSubclassProc(window, message, wParam, lParam);
}

int WindowDpi(HWND window) {
  UINT dpi = window ? GetDpiForWindow(window) : 0;
  if (dpi == 0) {
    HDC screen = GetDC(nullptr);
    dpi = static_cast<UINT>(GetDeviceCaps(screen, LOGPIXELSX));
    ReleaseDC(nullptr, screen);
  }
  return dpi > 0 ? static_cast<int>(dpi) : 96;
}

WindowRect ToWindowRect(const RECT& r) { return {r.left, r.top, r.right - r.left, r.bottom - r.top}; }

BOOL CALLBACK CollectMonitor(HMONITOR monitor, HDC, LPRECT, LPARAM data) {
  MONITORINFO info{};
  info.cbSize = sizeof info;
  if (GetMonitorInfoW(monitor, &info)) {
    reinterpret_cast<std::vector<WindowRect>*>(data)->push_back(ToWindowRect(info.rcWork));
  }
  return TRUE;
}

// The settings folder given on the command line stands in for every per-user folder.
SettingsFolders FoldersFor(const StartOptions& options) {
  if (options.configFolder.empty()) return FindSettingsFolders(UserDataFolder(), ExecutableFolder());
  return SettingsFoldersIn(options.configFolder);
}

}  // namespace

MainWindow::MainWindow(HINSTANCE instance, StartOptions options, AppUi& ui)
    : instance_(instance), options_(std::move(options)), ui_(ui) {}

MainWindow::~MainWindow() {
  if (metrics_.font) DeleteObject(metrics_.font);
  for (HFONT font : listFonts_) {
    if (font) DeleteObject(font);
  }
}

bool MainWindow::Create(int showCommand) {
  WNDCLASSEXW frame{};
  frame.cbSize = sizeof frame;
  frame.lpfnWndProc = WindowProc;
  frame.hInstance = instance_;
  frame.hIcon = LoadIconW(instance_, MAKEINTRESOURCEW(1));
  frame.hIconSm = static_cast<HICON>(LoadImageW(instance_, MAKEINTRESOURCEW(1), IMAGE_ICON,
                                                GetSystemMetrics(SM_CXSMICON),
                                                GetSystemMetrics(SM_CYSMICON), 0));
  frame.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  frame.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  frame.lpszClassName = kMainWindowClass;
  RegisterClassExW(&frame);

  // The settings come first: the chosen language decides every caption the pages are built with.
  folders_ = FoldersFor(options_);
  SetSettingsFolders(folders_);
  settings_ = ReadAppSettings(folders_.SettingsFilePath);
  SetProgramFolder(ExecutableFolder());
  SetCurrentLanguage(LanguageForChoice(settings_.AXSprache));

  WNDCLASSEXW page = frame;
  page.lpfnWndProc = PageProc;
  page.hIcon = nullptr;
  page.hIconSm = nullptr;
  page.lpszClassName = kPageClass;
  RegisterClassExW(&page);

  window_ = CreateWindowExW(WS_EX_CONTROLPARENT, kMainWindowClass, L"Ablagix",
                            WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                            CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, instance_, this);
  if (!window_) return false;
  ui_.SetOwner(window_);
  StartUp();
  ShowWindow(window_, settings_.WindowState == WindowShowState::Maximised ? SW_SHOWMAXIMIZED : showCommand);
  UpdateWindow(window_);
  return true;
}

bool MainWindow::PreTranslate(MSG* message) {
  if (message->message == WM_KEYDOWN && message->wParam == VK_TAB && GetKeyState(VK_CONTROL) < 0 &&
      (message->hwnd == window_ || IsChild(window_, message->hwnd))) {
    int step = GetKeyState(VK_SHIFT) < 0 ? kPageCount - 1 : 1;
    SelectTab((currentPage_ + step) % kPageCount);
    return true;
  }
  // Enter on a log row opens its file, so the list gets the key before the dialog handling.
  if (message->message == WM_KEYDOWN && message->wParam == VK_RETURN && message->hwnd == Item(kIdExListviewLOG)) {
    return false;
  }
  return IsDialogMessageW(window_, message) != FALSE;
}

LRESULT CALLBACK MainWindow::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_NCCREATE) {
    self = static_cast<MainWindow*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    self->window_ = window;
  }
  if (!self) return DefWindowProcW(window, message, wParam, lParam);
  // Controls being destroyed for a change of language report nothing worth acting on.
  if (self->rebuilding_ && (message == WM_COMMAND || message == WM_NOTIFY)) return 0;
  return self->Handle(message, wParam, lParam);
}

// The pages hand everything their controls report to the main window.
LRESULT CALLBACK MainWindow::PageProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_COMMAND:
    case WM_NOTIFY:
    case WM_CTLCOLORSTATIC:
    case WM_CTLCOLORBTN:
    case WM_CONTEXTMENU:
      return SendMessageW(GetParent(window), message, wParam, lParam);
    default:
      return DefWindowProcW(window, message, wParam, lParam);
  }
}

HWND MainWindow::Item(int id) const {
  for (HWND page : pages_) {
    if (HWND item = GetDlgItem(page, id)) return item;
  }
  return nullptr;
}

LRESULT MainWindow::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
  // Explorer sends this to every top-level window after it restarted: icons in the
  // notification area are gone and must be added again.
  static const UINT taskbarCreated = RegisterWindowMessageW(L"TaskbarCreated");
  if (message == taskbarCreated && taskbarCreated != 0) {
    // Without its icon a hidden window could not be reached any more, so it comes back.
    if (!ui_.ReAddTrayIcon() && !IsWindowVisible(window_)) RestoreFromTray();
    return 0;
  }
  switch (message) {
    case WM_CREATE:
      BuildFrame();
      return 0;
    case WM_SIZE:
      Relayout();
      return 0;
    case WM_GETMINMAXINFO:
      OnMinMaxInfo(reinterpret_cast<MINMAXINFO*>(lParam));
      return 0;
    case WM_DPICHANGED: {
      ApplyDpi(HIWORD(wParam));
      const RECT* suggested = reinterpret_cast<const RECT*>(lParam);
      SetWindowPos(window_, nullptr, suggested->left, suggested->top,
                   suggested->right - suggested->left, suggested->bottom - suggested->top,
                   SWP_NOZORDER | SWP_NOACTIVATE);
      return 0;
    }
    case WM_NOTIFY: {
      auto* header = reinterpret_cast<NMHDR*>(lParam);
      if (header->hwndFrom == tabs_) {
        if (header->code == TCN_SELCHANGING) {
          // Leaving the editor with unsaved changes asks first; a failed save keeps the editor.
          if (currentPage_ == kEditorPage && !askIfSaveProfil()) return TRUE;
          return FALSE;
        }
        if (header->code == TCN_SELCHANGE) SelectTab(TabCtrl_GetCurSel(tabs_));
        return 0;
      }
      if (header->idFrom == kIdProfileList) return OnProfileListNotify(header);
      if (header->idFrom == kIdExListviewLOG) return OnLogListNotify(header);
      if (header->idFrom == kIdFilterTable && header->code == LVN_ITEMCHANGED) OnFilterSelection();
      return 0;
    }
    case WM_COMMAND: {
      const int id = LOWORD(wParam);
      const int code = HIWORD(wParam);
      if (id >= kIdTokenMenuBase) {
        InsertToken(id);
      } else if (id == kIdMnuPopUp0) {
        RestoreFromTray();
      } else if (id == kIdMnuPopUp3) {
        PostMessageW(window_, WM_CLOSE, 0, 0);
      } else if (id == kIdMnuPopUp1) {
        // The menu just closes.
      } else if (id == kIdCommandButton13 || id == kIdCommandButton4) {
        if (code == BN_CLICKED) OnRunButton(id == kIdCommandButton4);
      } else if (id == kIdCommandButton6) {
        if (code == BN_CLICKED) OnTimerButton();
      } else if (id == kIdWatchButton) {
        if (code == BN_CLICKED) OnWatchButton();
      } else if (id == kIdComboBox1) {
        if (code == CBN_SELCHANGE) OnLogChooser();
      } else if (id == kIdLogClear || id == kIdCommandButton7 || id == kIdLogSave || id == kIdLogUndo) {
        if (code != BN_CLICKED) return 0;
        if (id == kIdLogClear) OnClearLog();
        if (id == kIdCommandButton7) OnRunCheckedButton();
        if (id == kIdLogSave) OnSaveLogButton();
        if (id == kIdLogUndo) OnUndoButton();
      } else if (id >= kIdDescriptionLabel && id < kIdFilterGroup) {
        OnEditorCommand(id, code);
      } else if (id >= kIdFilterGroup && id < kIdExListviewLOG) {
        OnSettingsCommand(id, code);
      }
      return 0;
    }
    case WM_APP:  // an include-list pick that opened the filter table puts the old text back
      SetText(Item(kIdInclude), ListWordShown(editor_.values.includeExtText));
      return 0;
    case WM_CTLCOLORSTATIC: {
      HWND control = reinterpret_cast<HWND>(lParam);
      int id = GetDlgCtrlID(control);
      if (id == kIdColorSample1 || id == kIdColorSample2) {
        HDC dc = reinterpret_cast<HDC>(wParam);
        bool first = id == kIdColorSample1;
        COLORREF back = first ? settings_.BackColor1 : settings_.BackColor2;
        SetTextColor(dc, first ? settings_.ForeColor1 : settings_.ForeColor2);
        SetBkColor(dc, back);
        SetDCBrushColor(dc, back);
        return reinterpret_cast<LRESULT>(GetStockObject(DC_BRUSH));
      }
      if (id == kIdTextWarning) {
        HDC dc = reinterpret_cast<HDC>(wParam);
        SetTextColor(dc, RGB(180, 0, 0));
        SetBkColor(dc, GetSysColor(COLOR_BTNFACE));
        return reinterpret_cast<LRESULT>(GetSysColorBrush(COLOR_BTNFACE));
      }
      return DefWindowProcW(window_, message, wParam, lParam);
    }
    case kChangeLanguageMessage:
      ChangeLanguage(languageChoice_);
      return 0;
    case WM_TIMER:
      if (wParam == kTimer1) OnTimerTick();
      if (wParam == kWatchTimer) OnWatchTick();
      return 0;
    case kWatchChangesMessage:
      OnWatchTick();
      return 0;
    case WM_COPYDATA:
      return OnCopyData(reinterpret_cast<const COPYDATASTRUCT*>(lParam));
    case kTrayMessage:
      OnTrayIcon(lParam);
      return 0;
    case WM_CLOSE:
      if (running_) {
        // The run is inside this window's message handling: it stops first, then we close.
        RequestAbort();
        closeAfterRun_ = true;
        return 0;
      }
      ShutDown();
      DestroyWindow(window_);
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
  }
  return DefWindowProcW(window_, message, wParam, lParam);
}

void MainWindow::AddTooltip(HWND owner, HWND control, std::wstring text) {
  TOOLINFOW info{};
  info.cbSize = sizeof info;
  info.uFlags = TTF_IDISHWND | TTF_SUBCLASS;
  info.hwnd = owner;
  info.uId = reinterpret_cast<UINT_PTR>(control);
  info.lpszText = text.data();  // the tooltip keeps a copy
  SendMessageW(tooltip_, TTM_ADDTOOLW, 0, reinterpret_cast<LPARAM>(&info));
}

// The icon in the notification area: a click brings the window back, the right button opens
// its menu.
void MainWindow::OnTrayIcon(LPARAM event) {
  switch (LOWORD(event)) {
    case WM_LBUTTONDOWN:
      RestoreFromTray();
      return;
    case WM_RBUTTONUP: {
      HMENU menu = CreatePopupMenu();
      AppendMenuW(menu, MF_STRING, kIdMnuPopUp0, Word(L"\u00d6ffnen").c_str());
      AppendMenuW(menu, MF_STRING, kIdMnuPopUp1, Word(L"Abbrechen").c_str());
      AppendMenuW(menu, MF_SEPARATOR, 0, nullptr);
      AppendMenuW(menu, MF_STRING, kIdMnuPopUp3, Word(L"Beenden").c_str());
      POINT at{};
      GetCursorPos(&at);
      // The menu closes when the user clicks elsewhere only while the window is in front.
      SetForegroundWindow(window_);
      TrackPopupMenu(menu, TPM_RIGHTBUTTON, at.x, at.y, 0, window_, nullptr);
      PostMessageW(window_, WM_NULL, 0, 0);
      DestroyMenu(menu);
      return;
    }
  }
}

bool MainWindow::SaveSetting(std::wstring_view key, std::wstring_view value) {
  FsStatus status;
  return TellIfNotSaved(WriteAppSetting(folders_.SettingsFilePath, key, value, &status), status, ui_,
                        L"Die Einstellung " + std::wstring(key), folders_.SettingsFilePath);
}

void MainWindow::RestoreFromTray() {
  ui_.RemoveTrayIcon();
  ShowWindow(window_, SW_SHOWNORMAL);
  SetForegroundWindow(window_);
}

void MainWindow::BuildFrame() {
  metrics_ = MakeFontMetrics(WindowDpi(window_));
  tabs_ = CreateWindowExW(0, WC_TABCONTROLW, L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | WS_CLIPSIBLINGS,
                          0, 0, 100, 100, window_, reinterpret_cast<HMENU>(kIdTabs), instance_, nullptr);
  SendMessageW(tabs_, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_.font), FALSE);
  for (int i = 0; i < kPageCount; ++i) {
    TCITEMW item{};
    TabCtrl_InsertItem(tabs_, i, &item);
    pages_[static_cast<size_t>(i)] =
        CreateWindowExW(WS_EX_CONTROLPARENT, kPageClass, L"", WS_CHILD | WS_CLIPSIBLINGS, 0, 0, 100,
                        100, window_, nullptr, instance_, nullptr);
  }
  HWND picture1 = CreateWindowExW(0, WC_STATICW, L"", WS_CHILD, 0, 0, 0, 0, window_,
                                  reinterpret_cast<HMENU>(static_cast<INT_PTR>(kIdPicture1)), instance_, nullptr);
  SetWindowSubclass(picture1, Picture1Proc, 0, 0);
  ui_.SetTrayWindow(picture1);
  ShowTabCaptions();
  BuildPages();
  SelectTab(kRunPage);
}

void MainWindow::ShowTabCaptions() {
  for (int i = 0; i < kPageCount; ++i) {
    std::wstring caption = TabCaption(i);
    TCITEMW item{};
    item.mask = TCIF_TEXT;
    item.pszText = caption.data();
    TabCtrl_SetItem(tabs_, i, &item);
  }
}

void MainWindow::BuildPages() {
  tooltip_ = CreateWindowExW(WS_EX_TOPMOST, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX,
                             CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, window_, nullptr,
                             instance_, nullptr);
  SendMessageW(tooltip_, TTM_SETMAXTIPWIDTH, 0, 400);
  BuildRunPage();
  BuildEditorPage();
  BuildSettingsPage();
  BuildLogPage();
}

// A language takes effect at once: every page is built anew with its texts, and everything the
// controls held (the editor's unsaved values, check marks, the log) is put back.
void MainWindow::ChangeLanguage(const std::wstring& choice) {
  if (running_) return;
  ControlsToEditor();
  const bool modified = editor_.isModified;
  ControlsToSettings();
  HWND list = Item(kIdProfileList);
  const std::vector<std::wstring> checked = CheckedProfileNames();
  const int selected = ListView_GetNextItem(list, -1, LVNI_SELECTED);
  std::vector<int> order(kProfileColumnCount);
  if (ListView_GetColumnOrderArray(list, kProfileColumnCount, order.data())) settings_.HeaderPosition = order;
  const int filterRow = ListView_GetNextItem(Item(kIdFilterTable), -1, LVNI_SELECTED);
  const std::wstring status = GetText(Item(kIdLogStatus));
  // Coordinates typed or taken from a picture, not yet stored.
  const std::wstring lat = GetText(Item(kIdLat));
  const std::wstring lon = GetText(Item(kIdLon));
  const ReferencePoint reference = chosenReference_;

  settings_.AXSprache = LanguageForChoice(choice);
  SetCurrentLanguage(settings_.AXSprache);
  SaveSetting(L"AXSprache", settings_.AXSprache);

  rebuilding_ = true;
  std::vector<HWND> controls;
  for (HWND page : pages_) {
    for (HWND child = GetWindow(page, GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) controls.push_back(child);
  }
  for (HWND control : controls) DestroyWindow(control);
  DestroyWindow(tooltip_);
  rebuilding_ = false;
  ShowTabCaptions();
  BuildPages();

  FillIncludeList();
  FillFilterTable();
  if (filterRow >= 0 && filterRow < static_cast<int>(filterRows_.size())) {
    ListView_SetItemState(Item(kIdFilterTable), filterRow, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
  }
  FillNameHistory();
  SettingsToControls();
  SetText(Item(kIdLat), lat);
  SetText(Item(kIdLon), lon);
  chosenReference_ = reference;
  ApplyListFont(0);
  ApplyListFont(1);
  SetText(Item(kIdProfileFileLabel), profileFileLabel_);
  list = Item(kIdProfileList);
  FillProfileList(checked, selected >= 0 && selected < static_cast<int>(profiles_.size())
                               ? profiles_[static_cast<size_t>(selected)].Beschreibung
                               : std::wstring());
  if (!settings_.HeaderPosition.empty()) {
    ListView_SetColumnOrderArray(list, static_cast<int>(settings_.HeaderPosition.size()),
                                 settings_.HeaderPosition.data());
  }
  EditorToControls();
  editor_.isModified = modified;
  ShowLogRows();
  SetLogEmptyText(logEmptyText_);
  SetStatus(status);
  if (timer_.running()) SetText(Item(kIdCommandButton6), Word(L"&Timer stoppen"));
  if (watch_) SetText(Item(kIdWatchButton), Word(L"\u00dc&berwachung stoppen"));
  Relayout();
  SelectTab(currentPage_);
  SetFocus(Item(kIdLanguage));
}

void MainWindow::Relayout() {
  if (!tabs_) return;
  RECT client{};
  GetClientRect(window_, &client);
  const int margin = metrics_.X(4);
  RECT tabRect{margin, margin, client.right - margin, client.bottom - margin};
  MoveWindow(tabs_, tabRect.left, tabRect.top, tabRect.right - tabRect.left, tabRect.bottom - tabRect.top, TRUE);
  RECT display = tabRect;
  TabCtrl_AdjustRect(tabs_, FALSE, &display);
  for (int i = 0; i < kPageCount; ++i) {
    HWND page = pages_[static_cast<size_t>(i)];
    SetWindowPos(page, HWND_TOP, display.left, display.top, display.right - display.left,
                 display.bottom - display.top, SWP_NOACTIVATE);
    layouts_[static_cast<size_t>(i)].Arrange(display.right - display.left, display.bottom - display.top);
  }
}

void MainWindow::OnMinMaxInfo(MINMAXINFO* info) const {
  if (!tabs_) return;
  // The largest page at its designed size, plus the tab strip and the frame.
  int width = 0;
  int height = 0;
  for (const Layout& layout : layouts_) {
    width = std::max(width, metrics_.X(layout.designWidth()));
    height = std::max(height, metrics_.Y(layout.designHeight()));
  }
  RECT rect{0, 0, width + 2 * metrics_.X(4) + 8, height + 2 * metrics_.Y(4) + metrics_.Y(14) + 8};
  AdjustWindowRectExForDpi(&rect, WS_OVERLAPPEDWINDOW, FALSE, WS_EX_CONTROLPARENT,
                           static_cast<UINT>(metrics_.dpi));
  // Never larger than the monitor: on a small screen with large fonts the pages clip at the
  // bottom rather than the window becoming impossible to fit.
  MONITORINFO monitor{};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(window_, MONITOR_DEFAULTTONEAREST), &monitor);
  info->ptMinTrackSize.x = std::min(rect.right - rect.left, monitor.rcWork.right - monitor.rcWork.left);
  info->ptMinTrackSize.y = std::min(rect.bottom - rect.top, monitor.rcWork.bottom - monitor.rcWork.top);
}

void MainWindow::ApplyDpi(int dpi) {
  HFONT old = metrics_.font;
  metrics_ = MakeFontMetrics(dpi);
  SendMessageW(tabs_, WM_SETFONT, reinterpret_cast<WPARAM>(metrics_.font), TRUE);
  for (const Layout& layout : layouts_) layout.ApplyFont();
  if (old) DeleteObject(old);
  ApplyListFont(0);
  ApplyListFont(1);
  Relayout();
}

void MainWindow::SelectTab(int page) {
  if (page < 0 || page >= kPageCount) return;
  if (page != currentPage_ && currentPage_ == kEditorPage && !shuttingDown_ && !askIfSaveProfil()) {
    TabCtrl_SetCurSel(tabs_, currentPage_);
    return;
  }
  currentPage_ = page;
  TabCtrl_SetCurSel(tabs_, page);
  for (int i = 0; i < kPageCount; ++i) {
    ShowWindow(pages_[static_cast<size_t>(i)], i == page ? SW_SHOW : SW_HIDE);
  }
}

void MainWindow::StartUp() {
  filterList_ = ReadStoredFilterList(folders_);
  BackupDefaultProfileFile(folders_);
  if (!options_.profilesFile.empty()) {
    SetProfileFile(options_.profilesFile, ProfileFileLabel(options_.profilesFile));
  } else {
    ProfileFileChoice choice = ChooseProfileFile(folders_, settings_.IniPfad);
    SetProfileFile(choice.ProfileFilePath, choice.label);
  }
  // Self-extracting archives need the stub built into the program; without it they cannot be
  // made (every such file then reads "Fehler!"), and the user hears it once, now.
  std::string_view stub;
  if (settings_.AXCreateEXE && !SfxStubBytes(&stub)) {
    ui_.ShowMessage(std::wstring(kZipComponentMissing), MessageIcon::Critical, MessageButtons::Ok);
  }
  FillIncludeList();
  filterRows_ = ReadFilterTable(folders_);
  FillFilterTable();
  nameHistory_ = ParseNameHistory(ReadAppSetting(folders_.SettingsFilePath, L"FilenameVerlauf"));
  FillNameHistory();
  SettingsToControls();
  ApplyListFont(0);
  ApplyListFont(1);
  RestorePosition();
  ReloadProfiles(false);
  if (!settings_.HeaderPosition.empty()) {
    ListView_SetColumnOrderArray(Item(kIdProfileList), static_cast<int>(settings_.HeaderPosition.size()),
                                 settings_.HeaderPosition.data());
  }
  editor_.NewProfile();
  EditorToControls();
}

void MainWindow::RestorePosition() {
  RECT current{};
  GetWindowRect(window_, &current);
  MINMAXINFO limits{};
  OnMinMaxInfo(&limits);
  // A first start opens at the size the pages were designed for.
  if (!settings_.Position) {
    current.right = current.left + limits.ptMinTrackSize.x;
    current.bottom = current.top + limits.ptMinTrackSize.y;
  }
  std::vector<WindowRect> monitors;
  EnumDisplayMonitors(nullptr, nullptr, CollectMonitor, reinterpret_cast<LPARAM>(&monitors));
  const WindowRect area{GetSystemMetrics(SM_XVIRTUALSCREEN), GetSystemMetrics(SM_YVIRTUALSCREEN),
                        GetSystemMetrics(SM_CXVIRTUALSCREEN), GetSystemMetrics(SM_CYVIRTUALSCREEN)};
  const int twips = 1440 / std::max(1, metrics_.dpi);
  WindowRect rect = RestoreWindowRect(settings_.Position, ToWindowRect(current), {twips, twips}, monitors, area);
  rect.width = std::max(rect.width, static_cast<int>(limits.ptMinTrackSize.x));
  rect.height = std::max(rect.height, static_cast<int>(limits.ptMinTrackSize.y));
  SetWindowPos(window_, nullptr, rect.left, rect.top, rect.width, rect.height,
               SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOREDRAW);
}

void MainWindow::ShutDown() {
  shuttingDown_ = true;
  ui_.RemoveTrayIcon();
  KillTimer(window_, kTimer1);
  timer_.Stop();
  StopWatching();
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  GetWindowPlacement(window_, &placement);
  const bool minimised = IsIconic(window_) != FALSE;
  settings_.WindowState = IsZoomed(window_) ? WindowShowState::Maximised : WindowShowState::Normal;
  RECT rect{};
  GetWindowRect(window_, &rect);
  if (IsZoomed(window_)) rect = placement.rcNormalPosition;
  const int twips = 1440 / std::max(1, metrics_.dpi);
  settings_.Position = PixelsToTwips(ToWindowRect(rect), {twips, twips});
  ControlsToSettings();
  HWND list = Item(kIdProfileList);
  std::vector<int> order(kProfileColumnCount);
  if (ListView_GetColumnOrderArray(list, kProfileColumnCount, order.data())) settings_.HeaderPosition = order;
  FsStatus status;
  TellIfNotSaved(WriteShutdownSettings(folders_.SettingsFilePath, settings_, minimised, &status), status, ui_,
                 L"Die Einstellungen", folders_.SettingsFilePath);
  // The answer does not keep the window open: the user asked to close.
  askIfSaveProfil();
}

LRESULT MainWindow::OnCopyData(const COPYDATASTRUCT* data) {
  if (!options_.testUi || !data) return FALSE;
  std::wstring text(static_cast<const wchar_t*>(data->lpData), data->cbData / sizeof(wchar_t));
  while (!text.empty() && text.back() == L'\0') text.pop_back();
  if (data->dwData == kCopyDataScreenshot) {
    // "path" for the main window, "path|handle" for another window of the program (a dialog).
    HWND target = window_;
    if (const size_t bar = text.find(L'|'); bar != std::wstring::npos) {
      target = reinterpret_cast<HWND>(static_cast<INT_PTR>(_wtoi64(text.c_str() + bar + 1)));
      text.resize(bar);
    }
    return SaveWindowPng(target, text) ? TRUE : FALSE;
  }
  if (data->dwData == kCopyDataSelectTab) {
    NMHDR header{tabs_, static_cast<UINT_PTR>(kIdTabs), static_cast<UINT>(TCN_SELCHANGING)};
    if (Handle(WM_NOTIFY, kIdTabs, reinterpret_cast<LPARAM>(&header))) return FALSE;
    SelectTab(_wtoi(text.c_str()));
    return currentPage_ == _wtoi(text.c_str()) ? TRUE : FALSE;
  }
  if (data->dwData == kCopyDataCheckLayout) {
    int findings = 0;
    for (int i = 0; i < kPageCount; ++i) {
      for (const std::wstring& finding : FindLayoutFaults(pages_[static_cast<size_t>(i)])) {
        ui_.Note(L"LAYOUT|" + std::to_wstring(i) + L"|" + finding);
        ++findings;
      }
    }
    return findings + 1;
  }
  if (data->dwData == kCopyDataShowLogRow) {
    HWND list = Item(kIdExListviewLOG);
    ListView_EnsureVisible(list, _wtoi(text.c_str()), FALSE);
    UpdateWindow(list);
    return TRUE;
  }
  return FALSE;
}

}  // namespace ablagix::app
