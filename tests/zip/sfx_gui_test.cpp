// The self-extractor's window under Wine in Xvfb, driven from this process as a person would
// use it: its German texts must be there and not cut off, the folder is typed in, "Entpacken"
// is clicked, and the files must arrive. Then the same archive again into the same folder: the
// question about each file that is already there (replace, keep both, for all, cancel), the
// report that follows, and closing the window in the middle of a file. Screenshots land in
// FOLDER:
//   sfx_gui_test FOLDER
#include <windows.h>

#include <cstdio>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "app/screenshot.h"
#include "base/text.h"
#include "fileops/file_ops.h"
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

// Whether the text fits its control in the control's own font (the system's message font when
// it has none). A check box needs room for its box as well.
bool Fits(HWND control, const std::wstring& text, bool singleLine, int reserved = 0) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0);
  HFONT own = reinterpret_cast<HFONT>(SendMessageW(control, WM_GETFONT, 0, 0));
  HFONT font = own ? own : CreateFontIndirectW(&metrics.lfMessageFont);
  HDC dc = GetDC(nullptr);
  HGDIOBJ old = SelectObject(dc, font);
  RECT client{};
  GetClientRect(control, &client);
  RECT need{0, 0, client.right - reserved, 0};
  DrawTextW(dc, text.c_str(), -1, &need, DT_CALCRECT | (singleLine ? DT_SINGLELINE : DT_WORDBREAK) | DT_NOPREFIX);
  SelectObject(dc, old);
  ReleaseDC(nullptr, dc);
  if (!own) DeleteObject(font);
  return need.right + reserved <= client.right && need.bottom <= client.bottom;
}

std::wstring ClassOf(HWND h) {
  wchar_t cls[64] = {};
  GetClassNameW(h, cls, 64);
  return cls;
}

// A dialog of the process (a question or a message box) with a child whose text holds `text`.
HWND WaitForDialog(DWORD process, const std::wstring& text, int tenths = 100) {
  for (int i = 0; i < tenths; ++i) {
    for (HWND h = FindWindowW(L"#32770", nullptr); h; h = FindWindowExW(nullptr, h, L"#32770", nullptr)) {
      DWORD owner = 0;
      GetWindowThreadProcessId(h, &owner);
      if (owner != process || !IsWindowVisible(h)) continue;
      for (HWND child : Children(h)) {
        if (TextOf(child).find(text) != std::wstring::npos) return h;
      }
    }
    Sleep(100);
  }
  return nullptr;
}

HWND ChildWithText(HWND parent, const std::wstring& text) {
  for (HWND child : Children(parent)) {
    if (TextOf(child) == text) return child;
  }
  return nullptr;
}

// Every text of the dialog must fit its control, whatever the system's font.
void CheckDialogTexts(HWND dialog, const std::wstring& what) {
  for (HWND child : Children(dialog)) {
    const std::wstring cls = ClassOf(child);
    const std::wstring text = TextOf(child);
    if (text.empty() || lstrcmpiW(cls.c_str(), L"Edit") == 0 || !IsWindowVisible(child)) continue;
    const bool button = lstrcmpiW(cls.c_str(), L"Button") == 0;
    const LONG_PTR style = GetWindowLongPtrW(child, GWL_STYLE) & BS_TYPEMASK;
    const bool checkBox = button && (style == BS_AUTOCHECKBOX || style == BS_CHECKBOX);
    Check(Fits(child, text, button, checkBox ? GetSystemMetrics(SM_CXMENUCHECK) + 4 : 0),
          what + L": Text passt in sein Feld: " + text);
  }
}

// Clicks a button of a dialog by its text, without waiting for what the click sets off.
bool Click(HWND dialog, const std::wstring& text) {
  HWND button = ChildWithText(dialog, text);
  Check(button != nullptr, L"Knopf \"" + text + L"\" vorhanden");
  if (!button) return false;
  PostMessageW(button, BM_CLICK, 0, 0);
  return true;
}

bool WaitUntilGone(HWND dialog) {
  for (int i = 0; i < 100 && IsWindow(dialog); ++i) Sleep(50);
  return !IsWindow(dialog);
}

std::string Read(const std::wstring& path) {
  std::string bytes;
  return ReadFileBytes(path, &bytes) ? bytes : "<fehlt>";
}

std::set<std::wstring> Listing(const std::wstring& folder) {
  std::set<std::wstring> names;
  WIN32_FIND_DATAW found{};
  HANDLE find = FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (find == INVALID_HANDLE_VALUE) return names;
  do {
    const std::wstring name = found.cFileName;
    if (name != L"." && name != L"..") names.insert(name);
  } while (FindNextFileW(find, &found));
  FindClose(find);
  return names;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) return 2;
  const std::wstring folder = WindowsPath(argv[1]);
  CreateFolders(folder);
  const std::wstring first = L"Br\u00fccke \u00e4\u00f6\u00fc.txt";
  const std::wstring second = L"Zweite.txt";
  const std::string firstData = "Inhalt der Datei\n";
  const std::string secondData(300000, 'z');  // more than one piece, so closing can stop it midway
  WriteFileAtomic(folder + L"\\" + first, firstData);
  WriteFileAtomic(folder + L"\\" + second, secondData);
  const std::wstring exe = folder + L"\\Archiv.exe";
  RemoveFile(exe);
  const std::vector<SfxText> texts = StandardSfxTexts();
  ZipOptions options;
  options.selfExtractor = &texts;
  ZipBatch batch;
  Check(batch.Begin(exe, options).ok(), L"Archiv beginnen");
  batch.Add({folder + L"\\" + first, ToUtf8(first)});
  batch.Add({folder + L"\\" + second, ToUtf8(second)});
  const ZipWriteResult written = batch.Finish();
  Check(written.ok(), L"Archiv schreiben: " + ZipWriteText(written));
  if (!written.ok()) return 1;
  const std::wstring target = folder + L"\\entpackt";
  for (const std::wstring& name : Listing(target)) RemoveFile(target + L"\\" + name);

  std::wstring line = L"\"" + exe + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, folder.c_str(), &startup, &process)) {
    Check(false, L"Programm starten");
    return 1;
  }
  const DWORD pid = process.dwProcessId;
  HWND window = WaitForWindow(pid);
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
    const std::wstring cls = ClassOf(child);
    const std::wstring text = TextOf(child);
    seen.push_back(text);
    if (lstrcmpiW(cls.c_str(), L"Edit") == 0) edit = child;
    if (text == L"Entpacken") unzip = child;
    if (lstrcmpiW(cls.c_str(), L"Static") == 0 && text.empty()) status = child;
    if (!text.empty() && lstrcmpiW(cls.c_str(), L"Edit") != 0) {
      Check(Fits(child, text, lstrcmpiW(cls.c_str(), L"Button") == 0), L"Text passt in sein Feld: " + text);
    }
  }
  for (const std::wstring& text : expected) {
    bool found = false;
    for (const std::wstring& s : seen) found = found || s == text;
    Check(found, L"Text im Fenster: " + text);
  }
  Check(app::SaveWindowPng(window, folder + L"\\sfx-fenster.png"), L"Bildschirmfoto");

  // The status line reads "Fertig" after every run; it is cleared first, so that the "Fertig"
  // waited for is this run's.
  auto unzipAndWait = [&](const std::wstring& what, const std::function<void()>& meanwhile) {
    SendMessageW(status, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L""));
    PostMessageW(unzip, BM_CLICK, 0, 0);
    meanwhile();
    bool done = false;
    for (int i = 0; i < 200 && !done; ++i) {
      Sleep(100);
      done = TextOf(status) == L"Fertig";
    }
    Check(done, what + L": Status zeigt \"Fertig\"");
  };
  // The report box after a run: its text, then closed with OK.
  auto report = [&](const std::wstring& what, const std::vector<std::wstring>& lines, const std::wstring& png) {
    HWND box = WaitForDialog(pid, lines.front());
    Check(box != nullptr, what + L": Bericht erscheint");
    if (!box) return;
    std::wstring all;
    for (HWND child : Children(box)) all += TextOf(child) + L"\n";
    for (const std::wstring& text : lines) Check(all.find(text) != std::wstring::npos, what + L": Bericht nennt " + text);
    if (!png.empty()) Check(app::SaveWindowPng(box, folder + L"\\" + png), what + L": Bildschirmfoto des Berichts");
    PostMessageW(box, WM_COMMAND, IDOK, 0);
    Check(WaitUntilGone(box), what + L": Bericht schlie\u00dft");
  };
  // The question about a taken name; answered by a click on `button`, `forAll` ticked first.
  auto answer = [&](const std::wstring& name, const std::wstring& button, bool forAll, const std::wstring& png) {
    HWND question = WaitForDialog(pid, L"\u201E" + name + L"\u201C ist im Zielordner schon vorhanden.");
    Check(question != nullptr, L"Frage zu " + name + L" erscheint");
    if (!question) return;
    Sleep(300);
    CheckDialogTexts(question, L"Frage");
    for (const wchar_t* text : {L"Ersetzen", L"Beide behalten", L"Abbrechen"}) {
      Check(ChildWithText(question, text) != nullptr, L"Frage hat den Knopf " + std::wstring(text));
    }
    if (!png.empty()) Check(app::SaveWindowPng(question, folder + L"\\" + png), L"Bildschirmfoto der Frage");
    if (forAll) Click(question, L"F\u00fcr alle weiteren vorhandenen Dateien \u00fcbernehmen");
    Sleep(100);
    Click(question, button);
    Check(WaitUntilGone(question), L"Frage schlie\u00dft");
  };
  const std::wstring numberedHeading = L"Diese Dateien wurden nummeriert, weil ihr Name im Zielordner schon vergeben war:";

  // 1. Into an empty folder: no question, no report.
  SendMessageW(edit, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(target.c_str()));
  unzipAndWait(L"Erster Lauf", [] {});
  Sleep(300);
  Check(WaitForDialog(pid, L"", 5) == nullptr, L"Erster Lauf: kein Bericht");
  Check(app::SaveWindowPng(window, folder + L"\\sfx-fertig.png"), L"Bildschirmfoto nach dem Entpacken");
  Check(Read(target + L"\\" + first) == firstData, L"Datei entpackt");
  Check(Read(target + L"\\" + second) == secondData, L"Zweite Datei entpackt");

  // 2. Both names taken: the first replaced, the second kept beside the old one.
  WriteFileAtomic(target + L"\\" + first, "alt 1");
  WriteFileAtomic(target + L"\\" + second, "alt 2");
  unzipAndWait(L"Zweiter Lauf", [&] {
    answer(first, L"Ersetzen", false, L"sfx-frage.png");
    answer(second, L"Beide behalten", false, L"");
  });
  report(L"Zweiter Lauf", {numberedHeading, L"Zweite.txt \u2192 Zweite(1).txt"}, L"sfx-bericht.png");
  Check(Read(target + L"\\" + first) == firstData, L"Ersetzt: die Datei aus dem Archiv");
  Check(Read(target + L"\\" + second) == "alt 2", L"Beide behalten: die alte Datei bleibt");
  Check(Read(target + L"\\Zweite(1).txt") == secondData, L"Beide behalten: die neue nummeriert");

  // 3. "Beide behalten" for all: one question for both files.
  unzipAndWait(L"Dritter Lauf", [&] {
    answer(first, L"Beide behalten", true, L"");
    Sleep(500);
    Check(WaitForDialog(pid, L"\u201E" + second + L"\u201C", 5) == nullptr, L"F\u00fcr alle: keine zweite Frage");
  });
  report(L"Dritter Lauf", {numberedHeading, first + L" \u2192 Br\u00fccke \u00e4\u00f6\u00fc(1).txt",
                           L"Zweite.txt \u2192 Zweite(2).txt"}, L"");

  // 4. Cancelled at the second question: the first file of this run stays.
  unzipAndWait(L"Vierter Lauf", [&] {
    answer(first, L"Beide behalten", false, L"");
    answer(second, L"Abbrechen", false, L"");
  });
  report(L"Vierter Lauf", {L"Das Entpacken wurde abgebrochen. Die bis dahin entpackten Dateien bleiben im Zielordner."},
         L"");
  Check(Read(target + L"\\Br\u00fccke \u00e4\u00f6\u00fc(2).txt") == firstData, L"Abgebrochen: die erste Datei bleibt");

  // 5. The window closed while the second file is written: that file goes, the rest stays.
  SendMessageW(status, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L""));
  PostMessageW(unzip, BM_CLICK, 0, 0);
  answer(first, L"Beide behalten", false, L"");
  HWND last = WaitForDialog(pid, L"\u201E" + second + L"\u201C ist im Zielordner schon vorhanden.");
  Check(last != nullptr, L"F\u00fcnfter Lauf: Frage zur zweiten Datei");
  PostMessageW(window, WM_CLOSE, 0, 0);
  Sleep(300);
  if (last) Click(last, L"Beide behalten");
  Check(WaitForSingleObject(process.hProcess, 10000) == WAIT_OBJECT_0, L"Programm endet");
  DWORD code = 0;
  GetExitCodeProcess(process.hProcess, &code);
  Check(code == 4, L"Exit-Code 4 nach dem Abbruch");
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  const std::set<std::wstring> wanted = {first, L"Br\u00fccke \u00e4\u00f6\u00fc(1).txt", L"Br\u00fccke \u00e4\u00f6\u00fc(2).txt",
                                         L"Br\u00fccke \u00e4\u00f6\u00fc(3).txt", second, L"Zweite(1).txt",
                                         L"Zweite(2).txt"};
  const std::set<std::wstring> found = Listing(target);
  std::wstring names;
  for (const std::wstring& name : found) names += L" \"" + name + L"\"";
  Check(found == wanted, L"Zielordner nach allen L\u00e4ufen, ohne halbe oder tempor\u00e4re Datei:" + names);
  for (const std::wstring& name : found) {
    const DWORD attributes = GetFileAttributesW((target + L"\\" + name).c_str());
    Check(!(attributes & FILE_ATTRIBUTE_HIDDEN), L"Nicht versteckt: " + name);
  }
  std::fprintf(stderr, "%s\n", g_failures ? "sfx_gui_test: Fehler" : "sfx_gui_test: alles in Ordnung");
  return g_failures ? 1 : 0;
}
