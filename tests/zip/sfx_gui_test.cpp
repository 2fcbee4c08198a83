// The self-extractor's window under Wine in Xvfb, driven from this process as a person would
// use it: its German texts must be there and not cut off, the folder is typed in, "Entpacken"
// is clicked, and the file must arrive. Screenshots land in FOLDER:
//   sfx_gui_test FOLDER
#include <windows.h>

#include <cstdio>
#include <string>
#include <vector>

#include "app/screenshot.h"
#include "base/text.h"
#include "fileops/files.h"
#include "zip/zip_writer.h"

using namespace ablagix;

namespace {

int g_failures = 0;

void Check(bool ok, const std::wstring& what) {
  if (!ok) {
    ++g_failures;
    std::fprintf(stderr, "FEHLER: %s\n", ToUtf8(what).c_str());
  }
}

std::wstring WindowsPath(std::wstring path) {
  if (!path.empty() && path[0] == L'/') path = L"Z:" + path;
  for (auto& c : path) {
    if (c == L'/') c = L'\\';
  }
  return path;
}

std::wstring TextOf(HWND h) {
  std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(h)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(GetWindowTextW(h, text.data(), static_cast<int>(text.size()))));
  return text;
}

HWND WaitForWindow(DWORD process) {
  for (int i = 0; i < 300; ++i) {
    HWND found = nullptr;
    for (HWND h = FindWindowW(L"AblagixSelbstentpacker", nullptr); h;
         h = FindWindowExW(nullptr, h, L"AblagixSelbstentpacker", nullptr)) {
      DWORD owner = 0;
      GetWindowThreadProcessId(h, &owner);
      if (owner == process && IsWindowVisible(h)) found = h;
    }
    if (found) return found;
    Sleep(100);
  }
  return nullptr;
}

std::vector<HWND> Children(HWND parent) {
  std::vector<HWND> children;
  EnumChildWindows(
      parent,
      [](HWND h, LPARAM list) {
        reinterpret_cast<std::vector<HWND>*>(list)->push_back(h);
        return TRUE;
      },
      reinterpret_cast<LPARAM>(&children));
  return children;
}

// Whether the text fits its control in the system's message font, as the program lays it out.
bool Fits(HWND control, const std::wstring& text, bool button) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  HFONT font = CreateFontIndirectW(&metrics.lfMessageFont);
  HDC dc = GetDC(nullptr);
  HGDIOBJ old = SelectObject(dc, font);
  RECT client{};
  GetClientRect(control, &client);
  RECT need{0, 0, client.right, 0};
  DrawTextW(dc, text.c_str(), -1, &need, DT_CALCRECT | (button ? DT_SINGLELINE : DT_WORDBREAK) | DT_NOPREFIX);
  SelectObject(dc, old);
  ReleaseDC(nullptr, dc);
  DeleteObject(font);
  return need.right <= client.right && need.bottom <= client.bottom;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) return 2;
  const std::wstring folder = WindowsPath(argv[1]);
  CreateFolders(folder);
  const std::wstring source = folder + L"\\Br\u00fccke \u00e4\u00f6\u00fc.txt";
  WriteFileAtomic(source, "Inhalt der Datei\n");
  const std::wstring exe = folder + L"\\Archiv.exe";
  RemoveFile(exe);
  const std::vector<SfxText> texts = StandardSfxTexts();
  ZipOptions options;
  options.selfExtractor = &texts;
  const ZipWriteResult written = ZipOneFile({source, "Br\xc3\xbc" "cke \xc3\xa4\xc3\xb6\xc3\xbc.txt"}, exe, options);
  Check(written.ok(), L"Archiv schreiben: " + ZipWriteText(written));
  if (!written.ok()) return 1;

  std::wstring line = L"\"" + exe + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(), &startup, &process)) {
    Check(false, L"Programm starten");
    return 1;
  }
  HWND window = WaitForWindow(process.dwProcessId);
  Check(window != nullptr, L"Fenster erscheint");
  if (!window) {
    TerminateProcess(process.hProcess, 9);
    return 1;
  }
  Sleep(800);
  Check(TextOf(window) == L"Kramdock Selbstextrahierende EXE", L"Fenstertitel");
  const std::vector<std::wstring> expected = {
      L"Bitte dr\u00fccken sie Entpacken, um die Datei(en) zu entpacken.",
      L"Bitte w\u00e4hlen Sie den Zielordner aus:", L"Entpacken", L"Schlie\u00dfen"};
  HWND edit = nullptr;
  HWND unzip = nullptr;
  HWND status = nullptr;
  std::vector<std::wstring> seen;
  for (HWND child : Children(window)) {
    wchar_t cls[64] = {};
    GetClassNameW(child, cls, 64);
    const std::wstring text = TextOf(child);
    seen.push_back(text);
    if (lstrcmpiW(cls, L"Edit") == 0) edit = child;
    if (text == L"Entpacken") unzip = child;
    if (lstrcmpiW(cls, L"Static") == 0 && text.empty()) status = child;
    if (!text.empty() && lstrcmpiW(cls, L"Edit") != 0) {
      Check(Fits(child, text, lstrcmpiW(cls, L"Button") == 0), L"Text passt in sein Feld: " + text);
    }
  }
  for (const std::wstring& text : expected) {
    bool found = false;
    for (const std::wstring& s : seen) found = found || s == text;
    Check(found, L"Text im Fenster: " + text);
  }
  Check(app::SaveWindowPng(window, folder + L"\\sfx-fenster.png"), L"Bildschirmfoto");

  // A folder typed in, then "Entpacken".
  const std::wstring target = folder + L"\\entpackt";
  SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(target.c_str()));
  PostMessageW(unzip, BM_CLICK, 0, 0);
  bool done = false;
  for (int i = 0; i < 200 && !done; ++i) {
    Sleep(100);
    done = status && TextOf(status) == L"Fertig";
  }
  Check(done, L"Status zeigt \"Fertig\"");
  Sleep(300);
  Check(app::SaveWindowPng(window, folder + L"\\sfx-fertig.png"), L"Bildschirmfoto nach dem Entpacken");
  std::string back;
  Check(ReadFileBytes(target + L"\\Br\u00fccke \u00e4\u00f6\u00fc.txt", &back) && back == "Inhalt der Datei\n",
        L"Datei entpackt");
  PostMessageW(window, WM_CLOSE, 0, 0);
  Check(WaitForSingleObject(process.hProcess, 10000) == WAIT_OBJECT_0, L"Programm endet");
  DWORD code = 1;
  GetExitCodeProcess(process.hProcess, &code);
  Check(code == 0, L"Exit-Code 0");
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  std::fprintf(stderr, "%s\n", g_failures ? "sfx_gui_test: Fehler" : "sfx_gui_test: alles in Ordnung");
  return g_failures ? 1 : 0;
}
