#include "sfx/sfx_window.h"

#include <commctrl.h>
#include <shlobj.h>

#include <algorithm>
#include <atomic>

#include "fileops/win32_handle.h"
#include "sfx/sfx_extract.h"
#include "sfx/sfx_question.h"

namespace ablagix::sfx {
namespace {

enum : int {
  kIdFolder = 101,
  kIdBrowse,
  kIdUnzip,
  kIdClose,
  kIdProgress,
  kIdStatus,
};
constexpr UINT kProgressMessage = WM_APP + 1;  // wParam: per mille
constexpr UINT kDoneMessage = WM_APP + 2;
constexpr UINT kAskMessage = WM_APP + 3;  // lParam: Question*, answered before SendMessage returns

// Layout in 96-dpi units, scaled to the screen.
constexpr int kClientWidth = 500;
constexpr int kMargin = 14;
constexpr int kGap = 8;
constexpr int kLineHeight = 24;
constexpr int kButtonHeight = 28;
constexpr int kButtonMinWidth = 96;
constexpr int kBrowseWidth = 34;

struct Window {
  HWND hwnd = nullptr;
  UniqueFont font;
  int dpi = 96;
  ByteSource* archive = nullptr;
  std::vector<SfxText> texts;
  std::wstring initialFolder;
  UniqueKernelHandle worker;  // the extracting thread while it runs
  std::atomic<bool> cancel{false};
  bool closeWhenDone = false;
  ExtractReport report;
  std::wstring folder;
  int exitCode = 0;

  std::wstring Text(const char* name) const { return SfxTextValue(texts, name, L""); }
  int Scale(int v) const { return MulDiv(v, dpi, 96); }
};

// Asked by the worker, answered by the window's thread, which owns every dialog.
struct Question {
  const TakenName* taken = nullptr;
  TakenAnswer answer;
};

HWND Control(Window& w, const wchar_t* cls, const std::wstring& text, DWORD style, int id) {
  HWND h = CreateWindowExW(0, cls, text.c_str(), WS_CHILD | WS_VISIBLE | style, 0, 0, 0, 0, w.hwnd,
                           reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), GetModuleHandleW(nullptr), nullptr);
  SendMessageW(h, WM_SETFONT, reinterpret_cast<WPARAM>(w.font.get()), TRUE);
  return h;
}

// The height that `text` needs when wrapped to `width` pixels in the window's font.
int TextHeight(const Window& w, const std::wstring& text, int width) {
  const WindowDc dc(w.hwnd);
  const SelectedObject font(dc.get(), w.font.get());
  RECT r{0, 0, width, 0};
  DrawTextW(dc.get(), text.c_str(), -1, &r, DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX);
  return r.bottom;
}

int TextWidth(const Window& w, const std::wstring& text) {
  const WindowDc dc(w.hwnd);
  const SelectedObject font(dc.get(), w.font.get());
  SIZE size{};
  GetTextExtentPoint32W(dc.get(), text.c_str(), static_cast<int>(text.size()), &size);
  return size.cx;
}

// Places every control from its text's real size, so no German text is cut off whatever
// font and scaling the system uses. Returns the client height needed.
int Layout(Window& w) {
  const int width = w.Scale(kClientWidth);
  const int margin = w.Scale(kMargin);
  const int gap = w.Scale(kGap);
  const int inner = width - 2 * margin;
  int y = margin;
  auto place = [&](int id, int x, int top, int cx, int cy) { MoveWindow(GetDlgItem(w.hwnd, id), x, top, cx, cy, TRUE); };

  const int mainHeight = TextHeight(w, w.Text("MainText"), inner);
  place(kIdStatus + 1, margin, y, inner, mainHeight);
  y += mainHeight + 2 * gap;
  const int labelHeight = TextHeight(w, w.Text("MainUnzipLabel"), inner);
  place(kIdStatus + 2, margin, y, inner, labelHeight);
  y += labelHeight + gap / 2;
  const int browse = w.Scale(kBrowseWidth);
  place(kIdFolder, margin, y, inner - browse - gap / 2, w.Scale(kLineHeight));
  place(kIdBrowse, margin + inner - browse, y, browse, w.Scale(kLineHeight));
  y += w.Scale(kLineHeight) + 2 * gap;
  const int statusHeight = std::max(TextHeight(w, w.Text("ProgressTitle"), inner), TextHeight(w, w.Text("ProgressCaption"), inner));
  place(kIdStatus, margin, y, inner, statusHeight);
  y += statusHeight + gap / 2;
  place(kIdProgress, margin, y, inner, w.Scale(18));
  y += w.Scale(18) + 2 * gap;
  const int padding = w.Scale(28);
  const int unzipWidth = std::max(w.Scale(kButtonMinWidth), TextWidth(w, w.Text("MainUnzipBtn")) + padding);
  const int closeWidth = std::max(w.Scale(kButtonMinWidth), TextWidth(w, w.Text("MainCloseBtn")) + padding);
  const int buttonHeight = w.Scale(kButtonHeight);
  place(kIdClose, width - margin - closeWidth, y, closeWidth, buttonHeight);
  place(kIdUnzip, width - margin - closeWidth - gap - unzipWidth, y, unzipWidth, buttonHeight);
  y += buttonHeight + margin;
  return y;
}

void SetBusy(Window& w, bool busy) {
  EnableWindow(GetDlgItem(w.hwnd, kIdUnzip), !busy);
  EnableWindow(GetDlgItem(w.hwnd, kIdBrowse), !busy);
  EnableWindow(GetDlgItem(w.hwnd, kIdFolder), !busy);
}

DWORD WINAPI ExtractThread(void* param) {
  Window& w = *static_cast<Window*>(param);
  int lastShown = -1;
  ExtractCallbacks callbacks;
  callbacks.progress = [&w, &lastShown](std::uint64_t done, std::uint64_t total) {
    const int permille = total ? static_cast<int>(done * 1000 / total) : 1000;
    if (permille != lastShown) {
      lastShown = permille;
      PostMessageW(w.hwnd, kProgressMessage, static_cast<WPARAM>(permille), 0);
    }
    return !w.cancel.load();
  };
  callbacks.askTaken = [&w](const TakenName& taken) {
    Question question;
    question.taken = &taken;
    SendMessageW(w.hwnd, kAskMessage, 0, reinterpret_cast<LPARAM>(&question));
    return question.answer;
  };
  w.report = ExtractArchive(*w.archive, w.folder, callbacks);
  PostMessageW(w.hwnd, kDoneMessage, 0, 0);
  return 0;
}

void BrowseForFolder(Window& w) {
  const std::wstring title = w.Text("MainUnzipLabel");
  BROWSEINFOW info{};
  info.hwndOwner = w.hwnd;
  info.lpszTitle = title.c_str();
  info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
  const UniqueCoTaskMemory chosen(SHBrowseForFolderW(&info));
  if (!chosen) return;
  std::wstring path(32768, L'\0');
  if (SHGetPathFromIDListEx(static_cast<PCIDLIST_ABSOLUTE>(chosen.get()), path.data(), static_cast<DWORD>(path.size()),
                            GPFIDL_DEFAULT)) {
    path.resize(wcslen(path.c_str()));
    SetDlgItemTextW(w.hwnd, kIdFolder, path.c_str());
  }
}

void StartExtraction(Window& w) {
  HWND edit = GetDlgItem(w.hwnd, kIdFolder);
  std::wstring folder(static_cast<std::size_t>(GetWindowTextLengthW(edit)) + 1, L'\0');
  folder.resize(static_cast<std::size_t>(GetWindowTextW(edit, folder.data(), static_cast<int>(folder.size()))));
  if (folder.empty()) {
    MessageBoxW(w.hwnd, w.Text("MainUnzipLabel").c_str(), w.Text("Title").c_str(), MB_OK | MB_ICONINFORMATION);
    return;
  }
  w.folder = folder;
  w.cancel = false;
  SetBusy(w, true);
  SetDlgItemTextW(w.hwnd, kIdStatus, w.Text("ProgressTitle").c_str());
  SendDlgItemMessageW(w.hwnd, kIdProgress, PBM_SETPOS, 0, 0);
  w.worker.reset(CreateThread(nullptr, 0, ExtractThread, &w, 0, nullptr));
  if (!w.worker) {
    SetBusy(w, false);
    MessageBoxW(w.hwnd, L"Das Entpacken konnte nicht gestartet werden.", w.Text("Title").c_str(), MB_OK | MB_ICONERROR);
  }
}

void FinishExtraction(Window& w) {
  WaitForSingleObject(w.worker.get(), INFINITE);
  w.worker.reset();
  SetBusy(w, false);
  SendDlgItemMessageW(w.hwnd, kIdProgress, PBM_SETPOS, 1000, 0);
  SetDlgItemTextW(w.hwnd, kIdStatus, w.Text("ProgressCaption").c_str());
  w.exitCode = ExitCode(w.report);
  if (w.closeWhenDone) {
    DestroyWindow(w.hwnd);
    return;
  }
  const std::wstring problems = ReportText(w.report);
  if (!problems.empty()) {
    // Renamed, numbered or cancelled by the person: news, not a warning.
    const bool news = w.report.failed.empty() && w.report.refused.empty();
    MessageBoxW(w.hwnd, problems.c_str(), w.Text("Title").c_str(),
                MB_OK | (news ? MB_ICONINFORMATION : MB_ICONWARNING));
  }
}

LRESULT CALLBACK WindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* w = reinterpret_cast<Window*>(GetWindowLongPtrW(hwnd, GWLP_USERDATA));
  switch (message) {
    case WM_NCCREATE: {
      w = static_cast<Window*>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams);
      w->hwnd = hwnd;
      SetWindowLongPtrW(hwnd, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(w));
      break;
    }
    case WM_COMMAND:
      if (!w) break;
      switch (LOWORD(wParam)) {
        case kIdBrowse: BrowseForFolder(*w); return 0;
        case kIdUnzip: StartExtraction(*w); return 0;
        case IDCANCEL:
        case kIdClose: SendMessageW(hwnd, WM_CLOSE, 0, 0); return 0;
        case IDOK: StartExtraction(*w); return 0;
      }
      break;
    case kProgressMessage:
      SendDlgItemMessageW(hwnd, kIdProgress, PBM_SETPOS, wParam, 0);
      return 0;
    case kDoneMessage:
      FinishExtraction(*w);
      return 0;
    case kAskMessage: {
      auto* question = reinterpret_cast<Question*>(lParam);
      if (w->cancel) {
        question->answer.choice = TakenChoice::kCancel;
      } else {
        question->answer = AskAboutTakenName(hwnd, QuestionLook{w->font.get(), w->dpi, w->Text("Title")}, *question->taken);
      }
      return 0;
    }
    case WM_CLOSE:
      if (w && w->worker) {
        // Closing while extracting cancels; the window goes once the worker has stopped.
        w->cancel = true;
        w->closeWhenDone = true;
        return 0;
      }
      DestroyWindow(hwnd);
      return 0;
    case WM_DESTROY:
      PostQuitMessage(0);
      return 0;
  }
  return DefWindowProcW(hwnd, message, wParam, lParam);
}

}  // namespace

int RunWindow(HINSTANCE instance, ByteSource& archive, const std::vector<SfxText>& texts,
              const std::wstring& initialFolder) {
  INITCOMMONCONTROLSEX controls{sizeof controls, ICC_PROGRESS_CLASS | ICC_STANDARD_CLASSES};
  InitCommonControlsEx(&controls);

  Window w;
  w.archive = &archive;
  w.texts = texts;
  w.initialFolder = initialFolder;
  w.dpi = GetDeviceCaps(WindowDc(nullptr).get(), LOGPIXELSY);
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  w.font.reset(CreateFontIndirectW(&metrics.lfMessageFont));

  WNDCLASSEXW wc{};
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = WindowProc;
  wc.hInstance = instance;
  wc.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(1));
  wc.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));
  wc.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  wc.lpszClassName = L"AblagixSelbstentpacker";
  RegisterClassExW(&wc);

  const DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;
  CreateWindowExW(WS_EX_CONTROLPARENT, wc.lpszClassName, w.Text("Title").c_str(), style, CW_USEDEFAULT, CW_USEDEFAULT,
                  100, 100, nullptr, nullptr, instance, &w);
  if (!w.hwnd) return 2;
  Control(w, L"STATIC", w.Text("MainText"), SS_LEFT | SS_NOPREFIX, kIdStatus + 1);
  Control(w, L"STATIC", w.Text("MainUnzipLabel"), SS_LEFT | SS_NOPREFIX, kIdStatus + 2);
  Control(w, L"EDIT", w.initialFolder, WS_BORDER | WS_TABSTOP | ES_AUTOHSCROLL, kIdFolder);
  Control(w, L"BUTTON", L"...", WS_TABSTOP | BS_PUSHBUTTON, kIdBrowse);
  Control(w, L"STATIC", L"", SS_LEFT | SS_NOPREFIX, kIdStatus);
  Control(w, PROGRESS_CLASSW, L"", 0, kIdProgress);
  Control(w, L"BUTTON", w.Text("MainUnzipBtn"), WS_TABSTOP | BS_DEFPUSHBUTTON, kIdUnzip);
  Control(w, L"BUTTON", w.Text("MainCloseBtn"), WS_TABSTOP | BS_PUSHBUTTON, kIdClose);
  SendDlgItemMessageW(w.hwnd, kIdProgress, PBM_SETRANGE32, 0, 1000);

  const int height = Layout(w);
  RECT frame{0, 0, w.Scale(kClientWidth), height};
  AdjustWindowRectEx(&frame, style, FALSE, WS_EX_CONTROLPARENT);
  const int cx = frame.right - frame.left;
  const int cy = frame.bottom - frame.top;
  RECT work{};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &work, 0);
  SetWindowPos(w.hwnd, nullptr, work.left + (work.right - work.left - cx) / 2, work.top + (work.bottom - work.top - cy) / 2,
               cx, cy, SWP_NOZORDER);
  ShowWindow(w.hwnd, SW_SHOWNORMAL);
  SetFocus(GetDlgItem(w.hwnd, kIdUnzip));

  MSG msg;
  while (GetMessageW(&msg, nullptr, 0, 0) > 0) {
    if (IsDialogMessageW(w.hwnd, &msg)) continue;
    TranslateMessage(&msg);
    DispatchMessageW(&msg);
  }
  return w.exitCode;
}

}  // namespace ablagix::sfx
