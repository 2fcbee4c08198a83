#include "app/main_window.h"

#include <windows.h>
#include <commctrl.h>

#include "app/control_ids.h"
#include "app/layout_check.h"
#include "app/screenshot.h"
#include "app/win_controls.h"
#include "base/abort_flag.h"
#include "base/environment.h"
#include "fileops/file_ops.h"
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
  if (dpi == 0) dpi = static_cast<UINT>(GetDeviceCaps(WindowDc(nullptr).get(), LOGPIXELSX));
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

// Every control that could start a second run or change the log under a running one.
// A change of language rebuilds the log list, so the language waits too.
constexpr std::array<int, 11> kRunControls = {
    kIdCommandButton13, kIdCommandButton4, kIdCommandButton6,  kIdWatchButton,     kIdComboBox1, kIdLogClear,
    kIdCommandButton7,  kIdLogSave,        kIdLoadProfileFile, kIdLanguage,        kIdLogUndo};

}  // namespace

MainWindow::MainWindow(HINSTANCE instance, StartOptions options, AppUi& ui)
    : options_(std::move(options)), context_(instance, ui) {}

MainWindow::~MainWindow() = default;

bool MainWindow::Create(int showCommand) {
  WNDCLASSEXW frame{};
  frame.cbSize = sizeof frame;
  frame.lpfnWndProc = WindowProc;
  frame.hInstance = context_.instance;
  frame.hIcon = LoadIconW(context_.instance, MAKEINTRESOURCEW(1));
  frame.hIconSm = static_cast<HICON>(LoadImageW(context_.instance, MAKEINTRESOURCEW(1), IMAGE_ICON,
                                                GetSystemMetrics(SM_CXSMICON),
                                                GetSystemMetrics(SM_CYSMICON), 0));
  frame.hCursor = LoadCursorW(nullptr, IDC_ARROW);
  frame.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  frame.lpszClassName = kMainWindowClass;
  RegisterClassExW(&frame);

  // The settings come first: the chosen language decides every caption the pages are built with.
  context_.folders = FoldersFor(options_);
  SetSettingsFolders(context_.folders);
  context_.settings = ReadAppSettings(context_.folders.SettingsFilePath);
  SetProgramFolder(ExecutableFolder());
  SetCurrentLanguage(LanguageForChoice(context_.settings.AXSprache));

  WNDCLASSEXW page = frame;
  page.lpfnWndProc = PageProc;
  page.hIcon = nullptr;
  page.hIconSm = nullptr;
  page.lpszClassName = kPageClass;
  RegisterClassExW(&page);

  HWND window = CreateWindowExW(WS_EX_CONTROLPARENT, kMainWindowClass, L"Ablagix",
                                WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, CW_USEDEFAULT, CW_USEDEFAULT,
                                CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, context_.instance, this);
  if (!window) return false;
  context_.ui.SetOwner(window);
  StartUp();
  ShowWindow(window,
             context_.settings.WindowState == WindowShowState::Maximised ? SW_SHOWMAXIMIZED : showCommand);
  UpdateWindow(window);
  return true;
}

bool MainWindow::PreTranslate(MSG* message) {
  if (message->message == WM_KEYDOWN && message->wParam == VK_TAB && GetKeyState(VK_CONTROL) < 0 &&
      (message->hwnd == context_.window || IsChild(context_.window, message->hwnd))) {
    int step = GetKeyState(VK_SHIFT) < 0 ? kPageCount - 1 : 1;
    SelectTab((currentPage_ + step) % kPageCount);
    return true;
  }
  // Enter on a log row opens its file, so the list gets the key before the dialog handling.
  if (message->message == WM_KEYDOWN && message->wParam == VK_RETURN && message->hwnd == logPage_.List()) {
    return false;
  }
  return IsDialogMessageW(context_.window, message) != FALSE;
}

LRESULT CALLBACK MainWindow::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* self = reinterpret_cast<MainWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (message == WM_NCCREATE) {
    self = static_cast<MainWindow*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
    self->context_.window = window;
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

std::array<TabPage*, kPageCount> MainWindow::Pages() { return {&runPage_, &editorPage_, &settingsPage_, &logPage_}; }

HWND MainWindow::Item(int id) const {
  for (HWND page : {runPage_.window(), editorPage_.window(), settingsPage_.window(), logPage_.window()}) {
    if (HWND item = GetDlgItem(page, id)) return item;
  }
  return nullptr;
}

TabPage* MainWindow::PageOwning(UINT_PTR id) {
  if (id >= kIdTokenMenuBase) return &editorPage_;  // the target token menus
  if (id >= kIdProfileList && id < kIdDescriptionLabel) return &runPage_;
  if (id >= kIdDescriptionLabel && id < kIdFilterGroup) return &editorPage_;
  if (id >= kIdFilterGroup && id < kIdExListviewLOG) return &settingsPage_;
  if (id >= kIdExListviewLOG && id < kIdPicture1) return &logPage_;
  return nullptr;
}

LRESULT MainWindow::Handle(UINT message, WPARAM wParam, LPARAM lParam) {
  // Explorer sends this to every top-level window after it restarted: icons in the
  // notification area are gone and must be added again.
  static const UINT taskbarCreated = RegisterWindowMessageW(L"TaskbarCreated");
  if (message == taskbarCreated && taskbarCreated != 0) {
    // Without its icon a hidden window could not be reached any more, so it comes back.
    if (!context_.ui.ReAddTrayIcon() && !IsWindowVisible(context_.window)) RestoreFromTray();
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
      SetWindowPos(context_.window, nullptr, suggested->left, suggested->top,
                   suggested->right - suggested->left, suggested->bottom - suggested->top,
                   SWP_NOZORDER | SWP_NOACTIVATE);
      return 0;
    }
    case WM_NOTIFY:
      return OnNotify(reinterpret_cast<NMHDR*>(lParam));
    case WM_COMMAND:
      return OnCommand(LOWORD(wParam), HIWORD(wParam));
    case WM_APP:  // an include-list pick that opened the filter table puts the old text back
      editorPage_.ShowIncludeText();
      return 0;
    case WM_CTLCOLORSTATIC:
      if (LRESULT brush = OnStaticColours(reinterpret_cast<HDC>(wParam), reinterpret_cast<HWND>(lParam))) return brush;
      return DefWindowProcW(context_.window, message, wParam, lParam);
    case kChangeLanguageMessage:
      ChangeLanguage(languageChoice_);
      return 0;
    case WM_TIMER:
      if (wParam == RunSession::kTimer1) session_.OnTimerTick();
      if (wParam == RunSession::kWatchTimer) session_.OnWatchTick();
      return 0;
    case kWatchChangesMessage:
      session_.OnWatchTick();
      return 0;
    case WM_COPYDATA:
      return OnCopyData(reinterpret_cast<const COPYDATASTRUCT*>(lParam));
    case kTrayMessage:
      OnTrayIcon(lParam);
      return 0;
    case WM_CLOSE:
      OnClose();
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
  }
  return DefWindowProcW(context_.window, message, wParam, lParam);
}

LRESULT MainWindow::OnNotify(NMHDR* header) {
  if (header->hwndFrom == tabs_) {
    if (header->code == TCN_SELCHANGING) {
      // Leaving the editor with unsaved changes asks first; a failed save keeps the editor.
      if (currentPage_ == kEditorPage && !AskIfSaveProfile()) return TRUE;
      return FALSE;
    }
    if (header->code == TCN_SELCHANGE) SelectTab(TabCtrl_GetCurSel(tabs_));
    return 0;
  }
  TabPage* page = PageOwning(header->idFrom);
  return page ? page->OnNotify(header) : 0;
}

LRESULT MainWindow::OnCommand(int id, int code) {
  switch (id) {
    case kIdMnuPopUp0:
      RestoreFromTray();
      return 0;
    case kIdMnuPopUp3:
      PostMessageW(context_.window, WM_CLOSE, 0, 0);
      return 0;
    case kIdMnuPopUp1:  // the menu just closes
      return 0;
  }
  if (TabPage* page = PageOwning(static_cast<UINT_PTR>(id))) page->OnCommand(id, code);
  return 0;
}

LRESULT MainWindow::OnStaticColours(HDC dc, HWND control) {
  TabPage* page = PageOwning(static_cast<UINT_PTR>(GetDlgCtrlID(control)));
  HBRUSH brush = page ? page->StaticColours(GetDlgCtrlID(control), dc) : nullptr;
  return reinterpret_cast<LRESULT>(brush);
}

void MainWindow::OnClose() {
  // During a run the run stops first, and the window closes after it.
  if (session_.CloseAfterRun()) return;
  ShutDown();
  DestroyWindow(context_.window);
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
      UniqueMenu menu(CreatePopupMenu());
      AppendMenuW(menu.get(), MF_STRING, kIdMnuPopUp0, Word(L"\u00d6ffnen").c_str());
      AppendMenuW(menu.get(), MF_STRING, kIdMnuPopUp1, Word(L"Abbrechen").c_str());
      AppendMenuW(menu.get(), MF_SEPARATOR, 0, nullptr);
      AppendMenuW(menu.get(), MF_STRING, kIdMnuPopUp3, Word(L"Beenden").c_str());
      POINT at{};
      GetCursorPos(&at);
      // The menu closes when the user clicks elsewhere only while the window is in front.
      SetForegroundWindow(context_.window);
      TrackPopupMenu(menu.get(), TPM_RIGHTBUTTON, at.x, at.y, 0, context_.window, nullptr);
      PostMessageW(context_.window, WM_NULL, 0, 0);
      return;
    }
  }
}

bool MainWindow::SaveSetting(std::wstring_view key, std::wstring_view value) {
  FsStatus status;
  const std::wstring& file = context_.folders.SettingsFilePath;
  return TellIfNotSaved(WriteAppSetting(file, key, value, &status), status, context_.ui,
                        L"Die Einstellung " + std::wstring(key), file);
}

void MainWindow::RestoreFromTray() {
  context_.ui.RemoveTrayIcon();
  ShowWindow(context_.window, SW_SHOWNORMAL);
  SetForegroundWindow(context_.window);
}

void MainWindow::BuildFrame() {
  HWND window = context_.window;
  HINSTANCE instance = context_.instance;
  context_.metrics = MakeFontMetrics(WindowDpi(window));
  font_.reset(context_.metrics.font);
  tabs_ = CreateWindowExW(0, WC_TABCONTROLW, L"", WS_CHILD | WS_VISIBLE | WS_TABSTOP | WS_CLIPSIBLINGS,
                          0, 0, 100, 100, window, reinterpret_cast<HMENU>(kIdTabs), instance, nullptr);
  SendMessageW(tabs_, WM_SETFONT, reinterpret_cast<WPARAM>(context_.metrics.font), FALSE);
  for (int i = 0; i < kPageCount; ++i) {
    TCITEMW item{};
    TabCtrl_InsertItem(tabs_, i, &item);
    Pages()[static_cast<size_t>(i)]->Attach(CreateWindowExW(WS_EX_CONTROLPARENT, kPageClass, L"",
                                                            WS_CHILD | WS_CLIPSIBLINGS, 0, 0, 100, 100, window,
                                                            nullptr, instance, nullptr));
  }
  HWND picture1 = CreateWindowExW(0, WC_STATICW, L"", WS_CHILD, 0, 0, 0, 0, window,
                                  reinterpret_cast<HMENU>(static_cast<INT_PTR>(kIdPicture1)), instance, nullptr);
  SetWindowSubclass(picture1, Picture1Proc, 0, 0);
  context_.ui.SetTrayWindow(picture1);
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
                             CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, context_.window, nullptr,
                             context_.instance, nullptr);
  SendMessageW(tooltip_, TTM_SETMAXTIPWIDTH, 0, 400);
  for (TabPage* page : Pages()) page->Build();
}

// A language takes effect at once: every page is built anew with its texts, and everything the
// controls held (the editor's unsaved values, check marks, the log) is put back.
void MainWindow::ChangeLanguage(const std::wstring& choice) {
  if (session_.running()) return;
  for (TabPage* page : Pages()) page->KeepForRebuild();

  context_.settings.AXSprache = LanguageForChoice(choice);
  SetCurrentLanguage(context_.settings.AXSprache);
  SaveSetting(L"AXSprache", context_.settings.AXSprache);

  rebuilding_ = true;
  std::vector<HWND> controls;
  for (TabPage* page : Pages()) {
    for (HWND child = GetWindow(page->window(), GW_CHILD); child; child = GetWindow(child, GW_HWNDNEXT)) {
      controls.push_back(child);
    }
  }
  for (HWND control : controls) DestroyWindow(control);
  DestroyWindow(tooltip_);
  rebuilding_ = false;
  ShowTabCaptions();
  BuildPages();

  editorPage_.RestoreAfterRebuild();
  settingsPage_.RestoreAfterRebuild();
  ApplyListFont(0);
  ApplyListFont(1);
  runPage_.RestoreAfterRebuild();
  logPage_.RestoreAfterRebuild();
  Relayout();
  SelectTab(currentPage_);
  SetFocus(Item(kIdLanguage));
}

void MainWindow::Relayout() {
  if (!tabs_) return;
  const FontMetrics& metrics = context_.metrics;
  RECT client{};
  GetClientRect(context_.window, &client);
  const int margin = metrics.X(4);
  RECT tabRect{margin, margin, client.right - margin, client.bottom - margin};
  MoveWindow(tabs_, tabRect.left, tabRect.top, tabRect.right - tabRect.left, tabRect.bottom - tabRect.top, TRUE);
  RECT display = tabRect;
  TabCtrl_AdjustRect(tabs_, FALSE, &display);
  for (TabPage* page : Pages()) {
    SetWindowPos(page->window(), HWND_TOP, display.left, display.top, display.right - display.left,
                 display.bottom - display.top, SWP_NOACTIVATE);
    page->layout().Arrange(display.right - display.left, display.bottom - display.top);
  }
}

void MainWindow::OnMinMaxInfo(MINMAXINFO* info) {
  if (!tabs_) return;
  const FontMetrics& metrics = context_.metrics;
  // The largest page at its designed size, plus the tab strip and the frame.
  int width = 0;
  int height = 0;
  for (const TabPage* page : Pages()) {
    width = std::max(width, metrics.X(page->layout().designWidth()));
    height = std::max(height, metrics.Y(page->layout().designHeight()));
  }
  RECT rect{0, 0, width + 2 * metrics.X(4) + 8, height + 2 * metrics.Y(4) + metrics.Y(14) + 8};
  AdjustWindowRectExForDpi(&rect, WS_OVERLAPPEDWINDOW, FALSE, WS_EX_CONTROLPARENT, static_cast<UINT>(metrics.dpi));
  // Never larger than the monitor: on a small screen with large fonts the pages clip at the
  // bottom rather than the window becoming impossible to fit.
  MONITORINFO monitor{};
  monitor.cbSize = sizeof monitor;
  GetMonitorInfoW(MonitorFromWindow(context_.window, MONITOR_DEFAULTTONEAREST), &monitor);
  info->ptMinTrackSize.x = std::min(rect.right - rect.left, monitor.rcWork.right - monitor.rcWork.left);
  info->ptMinTrackSize.y = std::min(rect.bottom - rect.top, monitor.rcWork.bottom - monitor.rcWork.top);
}

void MainWindow::ApplyDpi(int dpi) {
  UniqueFont old = std::move(font_);
  context_.metrics = MakeFontMetrics(dpi);
  font_.reset(context_.metrics.font);
  SendMessageW(tabs_, WM_SETFONT, reinterpret_cast<WPARAM>(context_.metrics.font), TRUE);
  for (const TabPage* page : Pages()) page->layout().ApplyFont();
  old.reset();
  ApplyListFont(0);
  ApplyListFont(1);
  Relayout();
}

void MainWindow::ApplyListFont(int which) {
  const ListFont& font = context_.settings.fonts[static_cast<size_t>(which)];
  LOGFONTW lf{};
  lf.lfHeight = -MulDiv(font.size > 0 ? font.size : 9, context_.metrics.dpi, 72);
  lf.lfWeight = font.bold ? FW_BOLD : FW_NORMAL;
  lf.lfItalic = font.italic ? TRUE : FALSE;
  lf.lfCharSet = DEFAULT_CHARSET;
  lf.lfQuality = CLEARTYPE_QUALITY;
  lstrcpynW(lf.lfFaceName, font.name.c_str(), LF_FACESIZE);
  UniqueFont created(CreateFontIndirectW(&lf));
  HWND list = which == 0 ? runPage_.List() : logPage_.List();
  SendMessageW(list, WM_SETFONT, reinterpret_cast<WPARAM>(created.get()), TRUE);
  // The list no longer uses the font it had.
  listFonts_[static_cast<size_t>(which)] = std::move(created);
}

void MainWindow::RepaintLists() {
  InvalidateRect(runPage_.List(), nullptr, TRUE);
  InvalidateRect(logPage_.List(), nullptr, TRUE);
}

void MainWindow::ChangeLanguageSoon(const std::wstring& choice) {
  languageChoice_ = choice;
  PostMessageW(context_.window, kChangeLanguageMessage, 0, 0);
}

void MainWindow::UseProfileFile(const std::wstring& path) { runPage_.SetProfileFile(path, ProfileFileLabel(path)); }

void MainWindow::EnableRunControls(bool enabled) {
  for (int id : kRunControls) EnableWindow(Item(id), enabled ? TRUE : FALSE);
}

std::optional<LogSaveResult> MainWindow::SaveLogAfterRun() {
  settingsPage_.ControlsToSettings();
  if (!context_.settings.saveLogAutomatically) return std::nullopt;
  return logPage_.SaveLogNow(true);
}

void MainWindow::SelectTab(int page) {
  if (page < 0 || page >= kPageCount) return;
  if (page != currentPage_ && currentPage_ == kEditorPage && !shuttingDown_ && !AskIfSaveProfile()) {
    TabCtrl_SetCurSel(tabs_, currentPage_);
    return;
  }
  currentPage_ = page;
  TabCtrl_SetCurSel(tabs_, page);
  for (int i = 0; i < kPageCount; ++i) {
    ShowWindow(Pages()[static_cast<size_t>(i)]->window(), i == page ? SW_SHOW : SW_HIDE);
  }
}

void MainWindow::StartUp() {
  const SettingsFolders& folders = context_.folders;
  BackupDefaultProfileFile(folders);
  if (!options_.profilesFile.empty()) {
    UseProfileFile(options_.profilesFile);
  } else {
    ProfileFileChoice choice = ChooseProfileFile(folders, context_.settings.IniPfad);
    runPage_.SetProfileFile(choice.ProfileFilePath, choice.label);
  }
  // Self-extracting archives need the stub built into the program; without it they cannot be
  // made (every such file then reads "Fehler!"), and the user hears it once, now.
  std::string_view stub;
  if (context_.settings.zipAsSelfExtractor && !SfxStubBytes(&stub)) {
    context_.ui.ShowMessage(std::wstring(kZipComponentMissing), MessageIcon::Critical, MessageButtons::Ok);
  }
  editorPage_.Start();
  settingsPage_.Start();
  ApplyListFont(0);
  ApplyListFont(1);
  RestorePosition();
  runPage_.ReloadProfiles(false);
  runPage_.ApplyColumnOrder();
  editorPage_.ShowNewProfile();
}
void MainWindow::RestorePosition() {
  RECT current{};
  GetWindowRect(context_.window, &current);
  MINMAXINFO limits{};
  OnMinMaxInfo(&limits);
  // A first start opens at the size the pages were designed for.
  if (!context_.settings.Position) {
    current.right = current.left + limits.ptMinTrackSize.x;
    current.bottom = current.top + limits.ptMinTrackSize.y;
  }
  std::vector<WindowRect> monitors;
  EnumDisplayMonitors(nullptr, nullptr, CollectMonitor, reinterpret_cast<LPARAM>(&monitors));
  const WindowRect area{GetSystemMetrics(SM_XVIRTUALSCREEN), GetSystemMetrics(SM_YVIRTUALSCREEN),
                        GetSystemMetrics(SM_CXVIRTUALSCREEN), GetSystemMetrics(SM_CYVIRTUALSCREEN)};
  const int twips = 1440 / std::max(1, context_.metrics.dpi);
  WindowRect rect = RestoreWindowRect(context_.settings.Position, ToWindowRect(current), {twips, twips}, monitors, area);
  rect.width = std::max(rect.width, static_cast<int>(limits.ptMinTrackSize.x));
  rect.height = std::max(rect.height, static_cast<int>(limits.ptMinTrackSize.y));
  SetWindowPos(context_.window, nullptr, rect.left, rect.top, rect.width, rect.height,
               SWP_NOZORDER | SWP_NOACTIVATE | SWP_NOREDRAW);
}

void MainWindow::ShutDown() {
  shuttingDown_ = true;
  context_.ui.RemoveTrayIcon();
  session_.StopTimer();
  runPage_.StopWatching();
  WINDOWPLACEMENT placement{};
  placement.length = sizeof placement;
  GetWindowPlacement(context_.window, &placement);
  const bool minimised = IsIconic(context_.window) != FALSE;
  context_.settings.WindowState = IsZoomed(context_.window) ? WindowShowState::Maximised : WindowShowState::Normal;
  RECT rect{};
  GetWindowRect(context_.window, &rect);
  if (IsZoomed(context_.window)) rect = placement.rcNormalPosition;
  const int twips = 1440 / std::max(1, context_.metrics.dpi);
  context_.settings.Position = PixelsToTwips(ToWindowRect(rect), {twips, twips});
  settingsPage_.ControlsToSettings();
  runPage_.StoreColumnOrder();
  FsStatus status;
  const std::wstring& file = context_.folders.SettingsFilePath;
  TellIfNotSaved(WriteShutdownSettings(file, context_.settings, minimised, &status), status, context_.ui,
                 L"Die Einstellungen", file);
  // The answer does not keep the window open: the user asked to close.
  AskIfSaveProfile();
}

LRESULT MainWindow::OnCopyData(const COPYDATASTRUCT* data) {
  if (!options_.testUi || !data) return FALSE;
  std::wstring text(static_cast<const wchar_t*>(data->lpData), data->cbData / sizeof(wchar_t));
  while (!text.empty() && text.back() == L'\0') text.pop_back();
  if (data->dwData == kCopyDataScreenshot) {
    // "path" for the main window, "path|handle" for another window of the program (a dialog).
    HWND target = context_.window;
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
      for (const std::wstring& finding : FindLayoutFaults(Pages()[static_cast<size_t>(i)]->window())) {
        context_.ui.Note(L"LAYOUT|" + std::to_wstring(i) + L"|" + finding);
        ++findings;
      }
    }
    return findings + 1;
  }
  if (data->dwData == kCopyDataShowLogRow) {
    HWND list = logPage_.List();
    ListView_EnsureVisible(list, _wtoi(text.c_str()), FALSE);
    UpdateWindow(list);
    return TRUE;
  }
  return FALSE;
}

}  // namespace ablagix::app
