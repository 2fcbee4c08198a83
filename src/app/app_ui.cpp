#include "app/app_ui.h"

#include <commctrl.h>
#include <commdlg.h>
#include <shellapi.h>
#include <shlobj.h>

#include <vector>

#include "app/resource_ids.h"
#include "base/text.h"
#include "desktop/shell_open.h"
#include "fileops/append_file.h"
#include "fileops/file_ops.h"
#include "fileops/win32_handle.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"

namespace ablagix::app {
namespace {

// "Name|pattern|..." becomes the NUL-separated, double-NUL-terminated form of the dialogs.
std::wstring DialogFilter(const std::wstring& filter) {
  std::wstring out = filter;
  for (auto& c : out) {
    if (c == L'|') c = L'\0';
  }
  out.push_back(L'\0');
  out.push_back(L'\0');
  return out;
}

struct InputArgs {
  const std::wstring* title;
  const std::wstring* prompt;
  std::wstring text;
};

INT_PTR CALLBACK InputProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam) {
  auto* args = reinterpret_cast<InputArgs*>(GetWindowLongPtrW(dialog, DWLP_USER));
  switch (message) {
    case WM_INITDIALOG:
      args = reinterpret_cast<InputArgs*>(lParam);
      SetWindowLongPtrW(dialog, DWLP_USER, lParam);
      SetWindowTextW(dialog, args->title->c_str());
      SetDlgItemTextW(dialog, IDC_INPUT_PROMPT, args->prompt->c_str());
      SetDlgItemTextW(dialog, IDC_INPUT_TEXT, args->text.c_str());
      SetDlgItemTextW(dialog, IDCANCEL, Word(L"Abbrechen").c_str());
      SendDlgItemMessageW(dialog, IDC_INPUT_TEXT, EM_SETSEL, 0, -1);
      return TRUE;
    case WM_COMMAND:
      if (LOWORD(wParam) == IDOK) {
        int length = GetWindowTextLengthW(GetDlgItem(dialog, IDC_INPUT_TEXT));
        std::wstring text(static_cast<size_t>(length) + 1, L'\0');
        GetDlgItemTextW(dialog, IDC_INPUT_TEXT, text.data(), length + 1);
        text.resize(static_cast<size_t>(length));
        args->text = text;
        EndDialog(dialog, IDOK);
        return TRUE;
      }
      if (LOWORD(wParam) == IDCANCEL) {
        EndDialog(dialog, IDCANCEL);
        return TRUE;
      }
      break;
  }
  return FALSE;
}

class WindowsUi : public AppUi {
 public:
  explicit WindowsUi(HINSTANCE instance) : instance_(instance) {}

  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon,
                            MessageButtons buttons) override {
    UINT flags = 0;
    switch (icon) {
      case MessageIcon::Information: flags |= MB_ICONINFORMATION; break;
      case MessageIcon::Exclamation: flags |= MB_ICONEXCLAMATION; break;
      case MessageIcon::Critical: flags |= MB_ICONERROR; break;
      case MessageIcon::Question: flags |= MB_ICONQUESTION; break;
    }
    switch (buttons) {
      case MessageButtons::Ok: flags |= MB_OK; break;
      case MessageButtons::OkCancel: flags |= MB_OKCANCEL; break;
      case MessageButtons::YesNo: flags |= MB_YESNO; break;
      case MessageButtons::YesNoCancel: flags |= MB_YESNOCANCEL; break;
    }
    switch (MessageBoxW(owner_, text.c_str(), L"Ablagix", flags)) {
      case IDYES: return MessageAnswer::Yes;
      case IDNO: return MessageAnswer::No;
      case IDCANCEL: return MessageAnswer::Cancel;
      default: return MessageAnswer::Ok;
    }
  }

  std::optional<std::wstring> OpenFile(const FileDialogArgs& args) override {
    return FileDialog(args, false);
  }
  std::optional<std::wstring> SaveFile(const FileDialogArgs& args) override {
    return FileDialog(args, true);
  }

  std::optional<std::wstring> ChooseFolder(const std::wstring& title, const std::wstring& startFolder) override {
    BROWSEINFOW info{};
    info.hwndOwner = owner_;
    info.lpszTitle = title.c_str();
    info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
    // Without a folder of its own the chooser opens on the system drive.
    const std::wstring start = BrowseStartFolder(startFolder);
    info.lParam = reinterpret_cast<LPARAM>(start.c_str());
    info.lpfn = [](HWND dialog, UINT message, LPARAM, LPARAM data) -> int {
      if (message == BFFM_INITIALIZED) SendMessageW(dialog, BFFM_SETSELECTIONW, TRUE, data);
      return 0;
    };
    const UniqueCoTaskMemory list(SHBrowseForFolderW(&info));
    if (!list) return std::nullopt;
    std::vector<wchar_t> path(32768);
    if (!SHGetPathFromIDListEx(static_cast<PCIDLIST_ABSOLUTE>(list.get()), path.data(),
                               static_cast<DWORD>(path.size()), GPFIDL_DEFAULT)) {
      return std::nullopt;
    }
    return std::wstring(path.data());
  }

  std::optional<std::wstring> AskText(const std::wstring& title, const std::wstring& prompt,
                                      const std::wstring& initial) override {
    InputArgs args{&title, &prompt, initial};
    if (DialogBoxParamW(instance_, MAKEINTRESOURCEW(IDD_INPUT), owner_, InputProc,
                        reinterpret_cast<LPARAM>(&args)) != IDOK) {
      return std::nullopt;
    }
    return args.text;
  }

  bool ChooseFontFor(LOGFONTW* font) override {
    CHOOSEFONTW choose{};
    choose.lStructSize = sizeof choose;
    choose.hwndOwner = owner_;
    choose.lpLogFont = font;
    choose.Flags = CF_SCREENFONTS | CF_INITTOLOGFONTSTRUCT | CF_NOVERTFONTS;
    return ChooseFontW(&choose) != FALSE;
  }

  bool ChooseColorFor(COLORREF* color) override {
    static COLORREF custom[16] = {};
    CHOOSECOLORW choose{};
    choose.lStructSize = sizeof choose;
    choose.hwndOwner = owner_;
    choose.rgbResult = *color;
    choose.lpCustColors = custom;
    choose.Flags = CC_RGBINIT | CC_FULLOPEN;
    if (!ChooseColorW(&choose)) return false;
    *color = choose.rgbResult;
    return true;
  }

  void OpenWithProgram(const std::wstring& path) override {
    // A link opens itself; any other file needs a program registered for it, or the user
    // picks one in the "open with" chooser.
    wchar_t program[MAX_PATH] = {};
    const bool associated = FindNoCase(path, L".lnk") != std::wstring::npos ||
                            reinterpret_cast<INT_PTR>(FindExecutableW(path.c_str(), nullptr, program)) > 32;
    if (!associated) {
      StartProgram(L"RunDLL32.exe", L"shell32.dll, OpenAs_RunDLL " + path);
      return;
    }
    const INT_PTR result =
        reinterpret_cast<INT_PTR>(ShellExecuteW(owner_, nullptr, path.c_str(), nullptr, nullptr, SW_SHOWNORMAL));
    if (result >= 1 && result <= 31) {
      ShowMessage(L"Datei wurde vermutlich gel\u00f6scht oder verschoben!", MessageIcon::Critical, MessageButtons::Ok);
    }
  }

  bool StartProgram(const std::wstring& program, const std::wstring& parameters) override {
    return reinterpret_cast<INT_PTR>(ShellExecuteW(owner_, L"open", program.c_str(), parameters.c_str(), nullptr,
                                                   SW_SHOWNORMAL)) > 32;
  }

  bool StartElevated(const std::wstring& program, const std::wstring& parameters) override {
    return reinterpret_cast<INT_PTR>(ShellExecuteW(owner_, L"runas", program.c_str(), parameters.c_str(), nullptr,
                                                   SW_SHOWNORMAL)) > 32;
  }

  bool AddTrayIcon() override {
    if (trayIcon_) return true;
    NOTIFYICONDATAW data = TrayData();
    data.uFlags = NIF_MESSAGE | NIF_ICON | NIF_TIP;
    trayIcon_ = Shell_NotifyIconW(NIM_ADD, &data) != FALSE;
    return trayIcon_;
  }

  bool ReAddTrayIcon() override {
    if (!trayIcon_) return true;
    trayIcon_ = false;
    return AddTrayIcon();
  }

  void ShowBalloon(const std::wstring& title, const std::wstring& text) override {
    AddTrayIcon();
    if (!trayIcon_) return;
    NOTIFYICONDATAW data = TrayData();
    data.uFlags = NIF_TIP | NIF_INFO;
    title.copy(data.szInfoTitle, std::size(data.szInfoTitle) - 1);
    text.copy(data.szInfo, std::size(data.szInfo) - 1);
    data.dwInfoFlags = NIIF_INFO;
    Shell_NotifyIconW(NIM_MODIFY, &data);
  }

  void RemoveTrayIcon() override {
    if (!trayIcon_) return;
    NOTIFYICONDATAW data = TrayData();
    Shell_NotifyIconW(NIM_DELETE, &data);
    trayIcon_ = false;
  }

 private:
  NOTIFYICONDATAW TrayData() const {
    NOTIFYICONDATAW data{};
    data.cbSize = sizeof data;
    data.hWnd = TrayWindow();
    data.uID = kTrayIconId;
    data.uCallbackMessage = kTrayMessage;
    data.hIcon = reinterpret_cast<HICON>(GetClassLongPtrW(owner_, GCLP_HICONSM));
    lstrcpynW(data.szTip, L"Ablagix", static_cast<int>(std::size(data.szTip)));
    return data;
  }

  std::optional<std::wstring> FileDialog(const FileDialogArgs& args, bool save) {
    std::vector<wchar_t> path(32768, L'\0');
    args.suggestedName.copy(path.data(), std::min(args.suggestedName.size(), path.size() - 1));
    std::wstring filter = DialogFilter(args.filter);
    OPENFILENAMEW ofn{};
    ofn.lStructSize = sizeof ofn;
    ofn.hwndOwner = owner_;
    ofn.lpstrFilter = filter.c_str();
    ofn.lpstrFile = path.data();
    ofn.nMaxFile = static_cast<DWORD>(path.size());
    ofn.lpstrTitle = args.title.empty() ? nullptr : args.title.c_str();
    ofn.lpstrInitialDir = args.folder.empty() ? nullptr : args.folder.c_str();
    ofn.lpstrDefExt = args.defaultExtension.empty() ? nullptr : args.defaultExtension.c_str();
    ofn.Flags = OFN_EXPLORER | OFN_HIDEREADONLY |
                (save ? OFN_OVERWRITEPROMPT : OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST);
    BOOL ok = save ? GetSaveFileNameW(&ofn) : GetOpenFileNameW(&ofn);
    if (!ok) return std::nullopt;
    return std::wstring(path.data());
  }

  HINSTANCE instance_;
  bool trayIcon_ = false;
};

class ScriptedUi : public AppUi {
 public:
  ScriptedUi(std::wstring answers, std::wstring record)
      : answersFile_(std::move(answers)), recordFile_(std::move(record)) {}

  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon,
                            MessageButtons buttons) override {
    static const wchar_t* kIcons[] = {L"Information", L"Exclamation", L"Critical", L"Question"};
    Record(L"MESSAGE|" + std::wstring(kIcons[static_cast<int>(icon)]) + L"|" + text);
    std::optional<std::wstring> answer = NextAnswer();
    bool asks = buttons == MessageButtons::YesNo || buttons == MessageButtons::YesNoCancel;
    if (answer == L"No") return MessageAnswer::No;
    if (answer == L"Cancel") return MessageAnswer::Cancel;
    return asks ? MessageAnswer::Yes : MessageAnswer::Ok;
  }
  std::optional<std::wstring> OpenFile(const FileDialogArgs& args) override { return Path(args.title); }
  std::optional<std::wstring> SaveFile(const FileDialogArgs& args) override { return Path(args.title); }
  std::optional<std::wstring> ChooseFolder(const std::wstring& title, const std::wstring&) override {
    return Path(title);
  }
  std::optional<std::wstring> AskText(const std::wstring& title, const std::wstring&,
                                      const std::wstring&) override {
    return Path(title);
  }
  bool ChooseFontFor(LOGFONTW*) override { return Path(L"Schriftart").has_value(); }
  bool ChooseColorFor(COLORREF*) override { return Path(L"Farbe").has_value(); }
  void OpenWithProgram(const std::wstring& path) override { Record(L"OPEN|" + path); }
  bool StartProgram(const std::wstring& program, const std::wstring& parameters) override {
    Record(L"START|" + program + L"|" + parameters);
    return true;
  }
  bool StartElevated(const std::wstring& program, const std::wstring& parameters) override {
    Record(L"ELEVATED|" + program + L"|" + parameters);
    return true;
  }
  // An answer line "TRAY-FAILS" makes the next add fail, as on a system without a
  // notification area.
  bool AddTrayIcon() override {
    if (trayIcon_) return true;
    if (PeekAnswer() == L"TRAY-FAILS") {
      NextAnswer();
      Record(L"TRAY|add-failed");
      return false;
    }
    trayIcon_ = true;
    Record(L"TRAY|add");
    return true;
  }
  bool ReAddTrayIcon() override {
    if (!trayIcon_) return true;
    trayIcon_ = false;
    return AddTrayIcon();
  }
  void ShowBalloon(const std::wstring& title, const std::wstring& text) override {
    AddTrayIcon();
    Record(L"BALLOON|" + title + L"|" + text);
  }
  void RemoveTrayIcon() override {
    if (!trayIcon_) return;
    trayIcon_ = false;
    Record(L"TRAY|remove");
  }
  void Note(const std::wstring& line) override { Record(line); }

 private:
  std::optional<std::wstring> Path(const std::wstring& title) {
    Record(L"DIALOG|" + title);
    std::optional<std::wstring> answer = NextAnswer();
    if (!answer || *answer == L"Cancel") return std::nullopt;
    return answer;
  }

  std::optional<std::wstring> PeekAnswer() {
    std::string bytes;
    if (!ReadFileBytes(answersFile_, &bytes)) return std::nullopt;
    std::wstring text = FromUtf8(bytes);
    if (text.starts_with(L'\xFEFF')) text.erase(0, 1);
    std::wstring line = text.substr(0, text.find(L'\n'));
    if (!line.empty() && line.back() == L'\r') line.pop_back();
    return line;
  }

  std::optional<std::wstring> NextAnswer() {
    std::string bytes;
    if (!ReadFileBytes(answersFile_, &bytes)) return std::nullopt;
    std::wstring text = FromUtf8(bytes);
    if (text.starts_with(L'\xFEFF')) text.erase(0, 1);  // an editor's byte-order mark
    size_t end = text.find(L'\n');
    std::wstring line = text.substr(0, end);
    if (!line.empty() && line.back() == L'\r') line.pop_back();
    std::wstring rest = end == std::wstring::npos ? L"" : text.substr(end + 1);
    WriteFileAtomic(answersFile_, ToUtf8(rest));
    if (line.empty() && end == std::wstring::npos) return std::nullopt;
    return line;
  }

  // Appended line by line, so that the test can read the record while the window goes on.
  void Record(const std::wstring& line) {
    AppendFile record;
    if (record.OpenExisting(recordFile_) != AppendFile::Opened::kOk && !record.Create(recordFile_)) return;
    if (!record.Append(ToUtf8(line) + "\n")) return;
  }

  std::wstring answersFile_;
  std::wstring recordFile_;
  bool trayIcon_ = false;
};

}  // namespace

std::unique_ptr<AppUi> MakeWindowsUi(HINSTANCE instance) { return std::make_unique<WindowsUi>(instance); }

std::unique_ptr<AppUi> MakeScriptedUi(std::wstring answersFile, std::wstring recordFile) {
  return std::make_unique<ScriptedUi>(std::move(answersFile), std::move(recordFile));
}

}  // namespace ablagix::app
