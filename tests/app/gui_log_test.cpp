// The log page: a real run with an error and a skipped file and their colours on screen,
// automatic and manual saving, header sorting, the check-box chooser, the checked-rows pass,
// the double-click hand-off to a stand-in companion window, timer balloons, and Esc during
// the second of three profiles.
#include <windows.h>
#include <commctrl.h>

#include <cstdio>
#include <string>
#include <vector>

#include "gui_driver.h"

namespace gui {
namespace {

// What the stand-in companion received.
struct Received {
  ULONG_PTR kind = 0;
  DWORD size = 0;
  std::string bytes;
  int count = 0;
} g_received;

LRESULT CALLBACK CompanionProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_COPYDATA) {
    const auto* data = reinterpret_cast<const COPYDATASTRUCT*>(lParam);
    g_received.kind = data->dwData;
    g_received.size = data->cbData;
    g_received.bytes.assign(static_cast<const char*>(data->lpData), data->cbData);
    ++g_received.count;
    return TRUE;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

int FindLogRow(const std::wstring& name) {
  for (int row = 0; row < LogRows(); ++row) {
    if (ListText(kIdExListviewLOG, row, 0) == name) return row;
  }
  return -1;
}
std::vector<std::wstring> FirstColumn() {
  std::vector<std::wstring> texts;
  for (int row = 0; row < LogRows(); ++row) texts.push_back(ListText(kIdExListviewLOG, row, 0));
  return texts;
}
std::wstring CheckMarks() {
  std::wstring marks;
  for (int row = 0; row < LogRows(); ++row) marks += RowChecked(kIdExListviewLOG, row) ? L'x' : L'-';
  return marks;
}
void Pick(int entry) {
  PickComboEntry(kIdComboBox1, entry);
  Check(SendMessageW(Control(kIdComboBox1), CB_GETCURSEL, 0, 0) == CB_ERR,
        L"Auswahlfeld nach Eintrag " + std::to_wstring(entry) + L" wieder leer");
}

struct PixelCount {
  int background = 0;
  int text = 0;
  int total = 0;
};
// Counts the pixels of a log row in the screenshot that have the expected background and
// text colours (a little tolerance for smoothed letters is not needed: both are pure).
PixelCount CountRowPixels(const Image& image, int row, COLORREF background, COLORREF text) {
  RECT rect = ItemRect(kIdExListviewLOG, row);
  MapWindowPoints(Control(kIdExListviewLOG), g_main, reinterpret_cast<POINT*>(&rect), 2);
  PixelCount count;
  for (int y = rect.top + 2; y < rect.bottom - 2; ++y) {
    for (int x = rect.left + 24; x < rect.left + 190 && x < image.width; ++x) {
      if (y < 0 || y >= image.height || x < 0) continue;
      const unsigned char* p = image.rgb.data() + (static_cast<size_t>(y) * static_cast<size_t>(image.width) + static_cast<size_t>(x)) * 3;
      const COLORREF c = RGB(p[0], p[1], p[2]);
      ++count.total;
      if (c == background) ++count.background;
      if (c == text) ++count.text;
    }
  }
  return count;
}

std::wstring FirstFileIn(const std::wstring& folder, const std::wstring& pattern) {
  WIN32_FIND_DATAW found{};
  HANDLE search = FindFirstFileW((folder + L"\\" + pattern).c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return {};
  FindClose(search);
  return folder + L"\\" + found.cFileName;
}

// The display order of the log list's columns, read through the program's memory.
std::vector<int> LogColumnOrder() {
  std::vector<int> order(14);
  void* remote = VirtualAllocEx(g_process, nullptr, order.size() * sizeof(int), MEM_COMMIT, PAGE_READWRITE);
  SendMessageW(Control(kIdExListviewLOG), LVM_GETCOLUMNORDERARRAY, order.size(), reinterpret_cast<LPARAM>(remote));
  ReadProcessMemory(g_process, remote, order.data(), order.size() * sizeof(int), nullptr);
  VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
  return order;
}

// Drags a header with the mouse, as a user does: pressed on column `from`, moved in steps,
// let go over the left part of column `to`.
void DragHeader(int id, int from, int to) {
  HWND header = reinterpret_cast<HWND>(SendMessageW(Control(id), LVM_GETHEADER, 0, 0));
  auto rectOf = [&](int column) {
    void* remote = VirtualAllocEx(g_process, nullptr, sizeof(RECT), MEM_COMMIT, PAGE_READWRITE);
    SendMessageW(header, HDM_GETITEMRECT, static_cast<WPARAM>(column), reinterpret_cast<LPARAM>(remote));
    RECT rect{};
    ReadProcessMemory(g_process, remote, &rect, sizeof rect, nullptr);
    VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
    return rect;
  };
  const RECT source = rectOf(from);
  const RECT target = rectOf(to);
  const int y = (source.top + source.bottom) / 2;
  const int startX = (source.left + source.right) / 2;
  const int endX = target.left + 4;
  SendMessageW(header, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(startX, y));
  for (int step = 1; step <= 10; ++step) {
    const int x = startX + (endX - startX) * step / 10;
    SendMessageW(header, WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(x, y));
  }
  SendMessageW(header, WM_LBUTTONUP, 0, MAKELPARAM(endX, y));
  Sleep(100);  // the order is stored after the header has settled
}

void PressEscape(bool down) {
  INPUT input{};
  input.type = INPUT_KEYBOARD;
  input.ki.wVk = VK_ESCAPE;
  input.ki.dwFlags = down ? 0 : KEYEVENTF_KEYUP;
  SendInput(1, &input, sizeof input);
}

// What every stage of the log scenario works in: the folders, the profile file and the program.
struct LogWorld {
  std::wstring exe;
  std::wstring root;
  std::wstring config;
  std::wstring profiles;
  std::wstring autoFolder;
  // Enough files that the second profile is still busy when Esc arrives; the test's set-up
  // makes them (natively, in a moment).
  int many = 30000;
};

// The folders, files and thirteen profiles of the scenario, fresh for every run.
void WriteLogWorld(const LogWorld& w) {
  const std::wstring& root = w.root;
  const std::wstring& autoFolder = w.autoFolder;
  const std::wstring& profiles = w.profiles;
  for (const wchar_t* folder : {L"", L"\\Quelle1", L"\\Ziel1", L"\\Quelle2", L"\\Ziel2", L"\\Viele", L"\\Schredder"}) {
    CreateDirectoryW((root + folder).c_str(), nullptr);
  }
  while (true) {
    std::wstring old = FirstFileIn(autoFolder, L"*.txt");
    if (old.empty()) break;
    DeleteFileW(old.c_str());
  }
  RemoveDirectoryW(autoFolder.c_str());
  RemoveDirectoryW((root + L"\\Berichte").c_str());
  WriteFileText(root + L"\\Quelle1\\belegt.txt", L"gesperrt");
  WriteFileText(root + L"\\Quelle1\\da.txt", L"neu");
  WriteFileText(root + L"\\Ziel1\\da.txt", L"alt");
  DeleteFileW((root + L"\\Ziel1\\belegt.txt").c_str());
  WriteFileText(root + L"\\Quelle2\\eins.txt", L"1");
  auto profile = [&](const std::wstring& name, const std::wstring& source, const std::wstring& action,
                     const std::wstring& target, const std::wstring& collision) {
    return L"[" + name + L"]\r\nQuelle=" + root + L"\\" + source + L"\r\nUnterverzeich=0\r\nFilter=Alles\r\nAktion=" +
           action + L"\r\nZiel=" + (target.empty() ? L"" : root + L"\\" + target) + L"\r\nKollision=" + collision +
           L"\r\nCase=0\r\nZippen=0\r\n";
  };
  WriteFileText(profiles, profile(L"Fehler und \u00dcbersprungen", L"Quelle1", L"Kopieren", L"Ziel1", L"2") +
                              profile(L"Melden", L"Quelle2", L"Benachrichtigen", L"", L"1") +
                              profile(L"Eins", L"Quelle2", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Drei", L"Quelle2", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Schreddern", L"Schredder", L"L\u00f6schenS", L"", L"1") +
                              // Seven times the many files (rows 6 to 12): a log of over 200,000 rows.
                              profile(L"Viele 1", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele 2", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele 3", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele 4", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele 5", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele 6", L"Viele", L"Kopieren", L"Ziel2", L"1") +
                              profile(L"Viele 7", L"Viele", L"Kopieren", L"Ziel2", L"1"));
}

// A real run: the locked file fails, the existing one is skipped; the log is saved
// automatically into a folder that does not exist yet.
void ALockedFileFailsAndTheLogIsSavedAutomatically(const LogWorld& w) {
  const std::wstring& root = w.root;
  const std::wstring& autoFolder = w.autoFolder;
  HANDLE lock = CreateFileW((root + L"\\Quelle1\\belegt.txt").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0,
                            nullptr);
  Check(lock != INVALID_HANDLE_VALUE, L"Datei gesperrt");
  SendMessageW(Control(kIdCheckBox17), BM_SETCHECK, BST_CHECKED, 0);
  SetTextOf(kIdTextBox7, autoFolder);
  CheckRow(0, true);
  Click(kIdCommandButton13);
  Check(LogRows() == 4, L"vier Zeilen: " + std::to_wstring(LogRows()));
  const int failed = FindLogRow(L"belegt.txt");
  const int skipped = FindLogRow(L"da.txt");
  Check(failed > 0 && skipped > 0, L"beide Dateien im Log");
  CheckEq(ListText(kIdExListviewLOG, failed, 6), L"Fehler! Quelle: Datei wird von einem anderen Programm verwendet",
          L"gesperrte Datei");
  CheckEq(ListText(kIdExListviewLOG, skipped, 6), L"\u00dcbersprungen", L"vorhandene Datei");
  CheckEq(Text(kIdExListviewLOG), L"Keine Dateien gefunden!", L"Leertext nach dem Lauf");
  Check(Has(Text(kIdLogStatus), L"Log gespeichert"), L"Status nennt die Sicherung: " + Text(kIdLogStatus));
  const std::wstring autoSaved = FirstFileIn(autoFolder, L"AXLog*.txt");
  Check(!autoSaved.empty(), L"Log automatisch gespeichert");
  const std::wstring autoText = ReadFileText(autoSaved);
  Check(Has(autoText, L"belegt.txt") && Has(autoText, L"Fehler!"), L"gespeichertes Log enth\u00e4lt die Zeilen");

  // The colours on screen: white on red for the error, blue on yellow for the skipped file.
  Screenshot(L"6-log-farben.png");
  Image shot;
  Check(ReadPng(g_work + L"\\screenshots\\6-log-farben.png", &shot), L"Bildschirmfoto lesbar");
  const PixelCount red = CountRowPixels(shot, failed, RGB(255, 0, 0), RGB(255, 255, 255));
  const PixelCount yellow = CountRowPixels(shot, skipped, RGB(255, 255, 0), RGB(0, 0, 255));
  const PixelCount banner = CountRowPixels(shot, 0, RGB(255, 0, 0), RGB(255, 255, 255));
  Check(red.background * 2 > red.total && red.text > 5,
        L"Fehlerzeile rot mit wei\u00dfer Schrift: " + std::to_wstring(red.background) + L"/" +
            std::to_wstring(red.total) + L", Schrift " + std::to_wstring(red.text));
  Check(yellow.background * 2 > yellow.total && yellow.text > 5,
        L"\u00dcbersprungen gelb mit blauer Schrift: " + std::to_wstring(yellow.background) + L"/" +
            std::to_wstring(yellow.total) + L", Schrift " + std::to_wstring(yellow.text));
  Check(banner.background == 0, L"Startzeile nicht rot");
  CloseHandle(lock);
}

// Sorting: the same header twice is ascending then descending; another header flips
// the order again; only the sorted header shows an arrow.
void SortingFlipsTheOrderAndShowsOneArrow() {
  const std::vector<std::wstring> unsorted = FirstColumn();
  ClickHeader(kIdExListviewLOG, 0);
  const std::vector<std::wstring> ascending = FirstColumn();
  Check((HeaderFormat(kIdExListviewLOG, 0) & HDF_SORTUP) != 0, L"Pfeil aufsteigend");
  ClickHeader(kIdExListviewLOG, 0);
  const std::vector<std::wstring> descending = FirstColumn();
  Check((HeaderFormat(kIdExListviewLOG, 0) & HDF_SORTDOWN) != 0, L"Pfeil absteigend");
  Check(ascending != unsorted || ascending != descending, L"Sortierung \u00e4ndert die Reihenfolge");
  Check(std::vector<std::wstring>(ascending.rbegin(), ascending.rend()) == descending,
        L"zweiter Klick kehrt die Reihenfolge um");
  ClickHeader(kIdExListviewLOG, 1);
  Check((HeaderFormat(kIdExListviewLOG, 0) & (HDF_SORTUP | HDF_SORTDOWN)) == 0, L"alter Pfeil entfernt");
  Check((HeaderFormat(kIdExListviewLOG, 1) & HDF_SORTUP) != 0, L"andere Spalte: Reihenfolge kippt auf aufsteigend");
}

// Double-click: the file goes to the companion window whose handle Kramdock published.
void ADoubleClickSendsTheFileToTheCompanion(const LogWorld& w) {
  const std::wstring& root = w.root;
  const std::wstring& config = w.config;
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = CompanionProc;
  windowClass.hInstance = GetModuleHandleW(nullptr);
  windowClass.lpszClassName = L"KramdockStandIn";
  RegisterClassW(&windowClass);
  HWND companion = CreateWindowW(L"KramdockStandIn", L"Kramdock", WS_OVERLAPPED, 0, 0, 10, 10, nullptr, nullptr,
                                 windowClass.hInstance, nullptr);
  const auto handle = static_cast<unsigned long>(reinterpret_cast<ULONG_PTR>(companion));
  WriteFileText(config + L"\\Opt.ini", L"[Dateifilter1]\r\nFilter=Bilder,Dokumente\r\n0Mask=.jpg,.png,.gif\r\n"
                                       L"1Mask=.pdf,.docx,.odt\r\n[Pfad1]\r\nFensterhwnd=" +
                                           std::to_wstring(handle) + L"\r\n");
  const std::wstring target = root + L"\\Ziel1\\da.txt";
  DoubleClickRow(kIdExListviewLOG, FindLogRow(L"da.txt"));
  Check(g_received.count == 1, L"Kramdock hat eine Nachricht erhalten");
  Check(g_received.kind == 1, L"Art 1");
  Check(g_received.size == target.size() + 1, L"cbData = Zeichen + 1: " + std::to_wstring(g_received.size));
  Check(!g_received.bytes.empty() && g_received.bytes.back() == '\0', L"Nullbyte am Ende");
  Check(g_received.bytes.substr(0, target.size()) == Utf8(target), L"Pfad gesendet");
  Check(Has(TakeRecord(), L"MESSAGE|Information|Pfad gesendet an: " + std::to_wstring(handle)),
        L"Meldung mit dem Fenster als Dezimalzahl");
  DestroyWindow(companion);
  DoubleClickRow(kIdExListviewLOG, FindLogRow(L"da.txt"));
  Check(Has(TakeRecord(), L"START|Kramdock.exe|" + target), L"ohne Fenster wird Kramdock gestartet");
  // Enter on the focused row does the same, through the window's own message loop.
  SelectRow(FindLogRow(L"da.txt"), kIdExListviewLOG);
  PostMessageW(Control(kIdExListviewLOG), WM_KEYDOWN, VK_RETURN, 0);
  std::wstring entered;
  for (int i = 0; i < 50 && entered.empty(); ++i) {
    Sleep(50);
    entered = TakeRecord();
  }
  Check(Has(entered, L"START|Kramdock.exe|" + target), L"Eingabetaste \u00f6ffnet die Zeile");
  DoubleClickRow(kIdExListviewLOG, FindLogRow(L"belegt.txt"));
  Check(Has(TakeRecord(), L"MESSAGE|Exclamation|Zielpfad existiert nicht!"), L"fehlendes Ziel gemeldet");
}

// "Log speichern...": the dialog, the file, the folder remembered, the open question.
void SaveLogAsksWhereAndRemembersTheFolder(const LogWorld& w) {
  const std::wstring& root = w.root;
  const std::wstring& config = w.config;
  const std::wstring saved = root + L"\\Gespeichert.txt";
  DeleteFileW(saved.c_str());
  Answer(saved + L"\nNo\n");
  Click(kIdLogSave);
  std::wstring asked = TakeRecord();
  Check(Has(asked, L"DIALOG|Log speichern"), L"Speicherdialog");
  Check(Has(asked, L"Wollen sie die AXLog-Datei gleich \u00f6ffnen?"), L"Frage nach dem \u00d6ffnen");
  Check(!Has(asked, L"OPEN|"), L"Nein \u00f6ffnet nichts");
  Check(Has(ReadFileText(saved), L"da.txt"), L"Log gespeichert");
  Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"LastSavePath=" + root), L"Ordner gemerkt");
  Answer(root + L"\\Zweites.txt\nYes\n");
  Click(kIdLogSave);
  Check(Has(TakeRecord(), L"OPEN|" + root + L"\\Zweites.txt"), L"Ja \u00f6ffnet die Datei");
}

// "Ausführen nur bei angehakten Dateien": nothing checked does nothing, without a
// question, and the status line says why; the unlocked file is copied now and its row gets
// the new result.
void OnlyCheckedRowsRunAgain(const LogWorld& w) {
  const std::wstring& root = w.root;
  Pick(1);
  const int rowsBefore = LogRows();
  const std::wstring resultBefore = ListText(kIdExListviewLOG, FindLogRow(L"belegt.txt"), 6);
  Click(kIdCommandButton7);
  CheckEq(TakeRecord(), L"", L"ohne Haken keine Meldung");
  CheckEq(Text(kIdLogStatus), L"Keine Zeile angehakt: nichts ausgef\u00fchrt.", L"Statuszeile ohne Haken");
  Check(LogRows() == rowsBefore && ListText(kIdExListviewLOG, FindLogRow(L"belegt.txt"), 6) == resultBefore,
        L"ohne Haken bleibt das Log, wie es war");
  SelectRow(FindLogRow(L"belegt.txt"), kIdExListviewLOG);
  Pick(5);
  Click(kIdCommandButton7);
  CheckEq(ListText(kIdExListviewLOG, FindLogRow(L"belegt.txt"), 6), L"Kopiert", L"neues Ergebnis in der Zeile");
  Check(Has(ReadFileText(root + L"\\Ziel1\\belegt.txt"), L"gesperrt"), L"Datei jetzt kopiert");
}

// The chooser: every entry; the same entry twice performs it twice.
void TheChooserChecksAndRemovesRows() {
  Pick(0);
  CheckEq(CheckMarks(), L"xxxx", L"Alles anhaken");
  Pick(2);
  CheckEq(CheckMarks(), L"----", L"Auswahl umkehren");
  Pick(2);
  CheckEq(CheckMarks(), L"xxxx", L"Auswahl umkehren zum zweiten Mal");
  Pick(1);
  CheckEq(CheckMarks(), L"----", L"Nichts anhaken");
  SelectRow(1, kIdExListviewLOG);
  Pick(3);
  CheckEq(CheckMarks(), L"xx--", L"Oberhalb der Selektion");
  Pick(1);
  Pick(4);
  CheckEq(CheckMarks(), L"-xxx", L"Unterhalb der Selektion");
  Pick(1);
  SetItemState(3, LVIS_SELECTED, LVIS_SELECTED, kIdExListviewLOG);
  Pick(5);
  CheckEq(CheckMarks(), L"-x-x", L"Alle markierten anhaken");
  const std::wstring kept = ListText(kIdExListviewLOG, 0, 0);
  Pick(6);
  Check(LogRows() == 2 && ListText(kIdExListviewLOG, 0, 0) == kept, L"Angehakte entfernt");
  Pick(0);
  Pick(2);
  SelectRow(0, kIdExListviewLOG);
  Pick(5);
  Pick(7);
  Check(LogRows() == 1 && RowChecked(kIdExListviewLOG, 0), L"Ohne Checkbox entfernt");
  Click(kIdLogClear);
  Check(LogRows() == 0, L"Log gel\u00f6scht");
}

// The timer with the tray option: a balloon when it starts, and one when a notify
// profile finds a file.
void TheTimerRunsFromTheTray() {
  SelectTab(0);
  CheckRow(0, false);
  CheckRow(1, true);
  SendMessageW(Control(kIdCheckBox7), BM_SETCHECK, BST_CHECKED, 0);
  SendMessageW(Control(kIdCombo11), CB_SETCURSEL, 1, 0);
  // Without a notification area the window stays open: hidden without an icon it would be lost.
  Answer(L"TRAY-FAILS\r\n");
  Click(kIdCommandButton6);
  Check(Has(TakeRecord(), L"TRAY|add-failed") && IsWindowVisible(g_main), L"ohne Infobereich bleibt das Fenster offen");
  Check(Has(Text(kIdLogStatus), L"Infobereich"), L"Hinweis ohne Infobereich: " + Text(kIdLogStatus));
  Click(kIdCommandButton6);
  TakeRecord();
  Click(kIdCommandButton6);
  const std::wstring started = TakeRecord();
  Check(Has(started, L"TRAY|add") && !IsWindowVisible(g_main), L"Fenster beim Timerstart im Infobereich");
  Check(Has(started, L"BALLOON|Ablagix|Die Timerroutine ist gestartet und l\u00e4uft automatisch im Intervall von 5 Minuten"),
        L"Sprechblase beim Timerstart");
  // Explorer restarts: the icon is added again and the window stays in the tray; when that
  // fails, the window comes back instead of staying hidden without an icon.
  const UINT taskbarCreated = RegisterWindowMessageW(L"TaskbarCreated");
  SendMessageW(g_main, taskbarCreated, 0, 0);
  Check(Has(TakeRecord(), L"TRAY|add") && !IsWindowVisible(g_main), L"Symbol nach Neustart des Explorers wieder da");
  Answer(L"TRAY-FAILS\r\n");
  SendMessageW(g_main, taskbarCreated, 0, 0);
  Check(Has(TakeRecord(), L"TRAY|add-failed") && IsWindowVisible(g_main),
        L"ohne neues Symbol kommt das Fenster zur\u00fcck");
  ShowWindow(g_main, SW_HIDE);
  // The icon's events arrive at the hidden Picture1, which hands them to the window.
  SendMessageW(Control(kIdPicture1), kTrayMessage, kTrayIconId, WM_LBUTTONDOWN);
  Check(IsWindowVisible(g_main), L"Klick auf das Symbol holt das Fenster zur\u00fcck");
  CheckEq(Text(kIdExListviewLOG), L"Timer gestartet, Intervall l\u00e4uft...", L"Leertext mit Timer");
  for (int i = 0; i < 5; ++i) SendMessageW(g_main, WM_TIMER, 1, 0);
  Check(Has(TakeRecord(), L"BALLOON|Ablagix|Bedingung wurde erf\u00fcllt!"), L"Sprechblase der Benachrichtigung");
  CheckEq(ListText(kIdExListviewLOG, FindLogRow(L"eins.txt"), 6), L"benachrichtigt", L"Ergebnis der Benachrichtigung");
  // A timed run with nothing checked says so, and runs nothing.
  CheckRow(1, false);
  const int before = LogRows();
  for (int i = 0; i < 5; ++i) SendMessageW(g_main, WM_TIMER, 1, 0);
  Check(Has(TakeRecord(), L"MESSAGE|Exclamation|Keine Profile angehakt, bitte ausw\u00e4hlen durch anhaken!"),
        L"Timerlauf ohne Haken gemeldet");
  Check(LogRows() == before, L"Timerlauf ohne Haken l\u00e4uft nicht");
  CheckRow(1, true);
  Click(kIdCommandButton6);
  CheckEq(Text(kIdExListviewLOG), L"Timer gestoppt, warte auf Befehle...", L"Leertext nach dem Timer");
  SendMessageW(Control(kIdCheckBox7), BM_SETCHECK, BST_UNCHECKED, 0);
  CheckRow(1, false);
  Click(kIdLogClear);
  SelectTab(3);
  Screenshot(L"9-log-leer-mit-hinweis.png");
}

// Esc during the second of three profiles: the third never starts.
void EscStopsTheSecondOfThreeProfiles(const LogWorld& w) {
  const int many = w.many;
  CheckRow(2, true);
  CheckRow(3, true);
  CheckRow(4, true);
  HWND simulate = Control(kIdCommandButton4);
  PostMessageW(GetParent(simulate), WM_COMMAND, MAKEWPARAM(kIdCommandButton4, BN_CLICKED), reinterpret_cast<LPARAM>(simulate));
  bool inSecond = false;
  for (int i = 0; i < 400 && !inSecond; ++i) {
    const std::wstring status = Text(kIdLogStatus);
    inSecond = status.rfind(L"Viele: ", 0) == 0 && Has(status, L" von ");
    if (!inSecond) Sleep(5);
  }
  Check(inSecond, L"zweites Profil l\u00e4uft: " + Text(kIdLogStatus));
  Screenshot(L"7-log-waehrend-lauf.png");
  Check(!IsWindowEnabled(Control(kIdCommandButton13)) && !IsWindowEnabled(Control(kIdLogClear)),
        L"Kn\u00f6pfe w\u00e4hrend des Laufs gesperrt");
  PressEscape(true);
  for (int i = 0; i < 400 && !IsWindowEnabled(Control(kIdCommandButton13)); ++i) Sleep(50);
  PressEscape(false);
  Check(IsWindowEnabled(Control(kIdCommandButton13)), L"Lauf beendet");
  Check(FindLogRow(L"Start Eins") == 0 && FindLogRow(L"Ende Eins") > 0, L"erstes Profil vollst\u00e4ndig");
  Check(FindLogRow(L"Start Viele") > 0, L"zweites Profil begonnen");
  Check(FindLogRow(L"Start Drei") < 0, L"drittes Profil nicht begonnen");
  Check(LogRows() < many, L"zweites Profil abgebrochen: " + std::to_wstring(LogRows()) + L" Zeilen");
  Check(Text(kIdLogStatus).rfind(L"Abgebrochen", 0) == 0, L"Status: " + Text(kIdLogStatus));
  Screenshot(L"8-log-nach-abbruch.png");
}

// Esc typed into another program while a run goes does not stop it: only Esc in an
// Ablagix window does.
void EscInAnotherProgramDoesNotStopARun(const LogWorld& w) {
  const int many = w.many;
  HWND simulate = Control(kIdCommandButton4);
  CheckRow(2, false);
  CheckRow(4, false);
  Click(kIdLogClear);
  PostMessageW(GetParent(simulate), WM_COMMAND, MAKEWPARAM(kIdCommandButton4, BN_CLICKED), reinterpret_cast<LPARAM>(simulate));
  for (int i = 0; i < 400 && IsWindowEnabled(Control(kIdCommandButton13)); ++i) Sleep(5);
  {
    HWND other = CreateWindowExW(0, L"STATIC", L"Anderes Programm", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0, 300, 200,
                                 nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    SetForegroundWindow(other);
    SetFocus(other);
    PressEscape(true);
    for (int i = 0; i < 400 && !IsWindowEnabled(Control(kIdCommandButton13)); ++i) Sleep(50);
    PressEscape(false);
    DestroyWindow(other);
  }
  Check(IsWindowEnabled(Control(kIdCommandButton13)), L"Lauf beendet");
  Check(Text(kIdLogStatus).rfind(L"Fertig", 0) == 0 && LogRows() == many + 2,
        L"Esc in einem anderen Programm bricht nicht ab: " + Text(kIdLogStatus));
  SetForegroundWindow(g_main);
  CheckRow(3, false);
}

// Shredding shows its wait window; "Abbrechen" there stops it, and the file is kept.
void ShreddingCanBeCancelledInItsWaitWindow(const LogWorld& w) {
  const std::wstring& root = w.root;
  const std::wstring big = root + L"\\Schredder\\gross.bin";
  WriteFileBytes(big, std::string(192u << 20, 'x'));
  for (int row = 2; row <= 4; ++row) CheckRow(row, false);
  CheckRow(5, true);
  HWND run = Control(kIdCommandButton13);
  PostMessageW(GetParent(run), WM_COMMAND, MAKEWPARAM(kIdCommandButton13, BN_CLICKED), reinterpret_cast<LPARAM>(run));
  HWND wait = nullptr;
  for (int i = 0; i < 400 && !wait; ++i) {
    wait = FindWindowW(L"#32770", L"Schreddern");
    if (wait && !IsWindowVisible(wait)) wait = nullptr;  // still being filled
    if (!wait) Sleep(10);
  }
  Check(wait != nullptr, L"Wartefenster des Schredders");
  if (wait) {
    wchar_t text[256] = {};
    GetDlgItemTextW(wait, 121, text, 256);
    Check(Has(text, L"\u00dcberschreibe gross.bin... "), L"Fortschritt: " + std::wstring(text));
    CopyData(kCopyDataScreenshot, g_work + L"\\screenshots\\10-schreddern.png|" +
                                      std::to_wstring(reinterpret_cast<INT_PTR>(wait)));
    SendMessageW(GetDlgItem(wait, 124), BM_CLICK, 0, 0);
  }
  for (int i = 0; i < 400 && !IsWindowEnabled(Control(kIdCommandButton13)); ++i) Sleep(50);
  CheckEq(ListText(kIdExListviewLOG, FindLogRow(L"gross.bin"), 6), L"Fehler! Abgebrochen", L"abgebrochenes Schreddern");
  Check(GetFileAttributesW(big.c_str()) != INVALID_FILE_ATTRIBUTES, L"Datei bleibt nach dem Abbruch");
  Check(!IsWindow(wait), L"Wartefenster nach dem Lauf geschlossen");
  DeleteFileW(big.c_str());
  CheckRow(5, false);
}

// A header dragged to another place moves that column in the text report too, and the
// order is kept for the command line.
void ADraggedHeaderOrdersTheReport(const LogWorld& w) {
  const std::wstring& root = w.root;
  const std::wstring& config = w.config;
  SelectTab(3);
  Click(kIdLogClear);
  CheckRow(2, true);
  Click(kIdCommandButton4);
  CheckRow(2, false);
  SendMessageW(Control(kIdOption5), BM_SETCHECK, BST_CHECKED, 0);  // text
  for (int other = 1; other < 4; ++other) SendMessageW(Control(kIdOption5 + other), BM_SETCHECK, BST_UNCHECKED, 0);
  SendMessageW(Control(kIdCheckBox16), BM_SETCHECK, BST_UNCHECKED, 0);    // tabs between the cells
  SendMessageW(Control(kIdCheck17), BM_SETCHECK, BST_CHECKED, 0);
  SendMessageW(Control(kIdCheckBox17), BM_SETCHECK, BST_UNCHECKED, 0);
  DragHeader(kIdExListviewLOG, 6, 0);  // "Ergebnis" to the front
  Check(LogColumnOrder() == std::vector<int>{6, 0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13},
        L"Spalte \"Ergebnis\" nach vorn gezogen");
  const std::wstring ordered = root + L"\\Spalten.txt";
  DeleteFileW(ordered.c_str());
  Answer(ordered + L"\nNo\n");
  Click(kIdLogSave);
  TakeRecord();
  const std::wstring orderedText = ReadFileText(ordered);
  Check(orderedText.rfind(L"Ergebnis\tDatei\tPfad\tGr\u00f6\u00dfe\t", 0) == 0,
        L"Bericht in der gezogenen Reihenfolge: " + orderedText.substr(0, 40));
  Check(Has(orderedText, L"\r\nKopieren, simuliert\teins.txt\t"), L"Zeilen in der gezogenen Reihenfolge");
  Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"LogHeaderPosition=6,0,1,2,3,4,5,7,8,9,10,11,12,13"),
        L"Reihenfolge gespeichert");
}

// A report of more than 200,000 rows: the window answers while it is written (the bar
// moves), and Esc ends it at once with "Abbruch".
void AHugeReportAnswersAndEndsOnEsc(const LogWorld& w) {
  const std::wstring& exe = w.exe;
  const std::wstring& root = w.root;
  const std::wstring& config = w.config;
  const std::wstring& profiles = w.profiles;
  Click(kIdLogClear);
  for (int row = 6; row <= 12; ++row) CheckRow(row, true);
  Click(kIdCommandButton4);
  for (int row = 6; row <= 12; ++row) CheckRow(row, false);
  const int rows = LogRows();
  Check(rows > 200000, L"langes Log: " + std::to_wstring(rows) + L" Zeilen");
  const std::wstring cut = root + L"\\Abbruch.txt";
  DeleteFileW(cut.c_str());
  Answer(cut + L"\nNo\n");
  HWND save = Control(kIdLogSave);
  PostMessageW(GetParent(save), WM_COMMAND, MAKEWPARAM(kIdLogSave, BN_CLICKED), reinterpret_cast<LPARAM>(save));
  HWND bar = Control(kIdLogProgress);
  LRESULT position = 0;
  for (int i = 0; i < 2000 && position < rows / 20; ++i) {
    Sleep(2);
    position = SendMessageW(bar, PBM_GETPOS, 0, 0);
  }
  Check(position >= rows / 20 && position < rows, L"Balken bewegt sich: " + std::to_wstring(position));
  Check(!IsWindowEnabled(Control(kIdLogClear)), L"Kn\u00f6pfe w\u00e4hrend des Berichts gesperrt");
  Screenshot(L"11-bericht-laeuft.png");
  SetForegroundWindow(g_main);
  const ULONGLONG pressed = GetTickCount64();
  PressEscape(true);
  bool done = false;
  ULONGLONG ended = 0;
  for (int i = 0; i < 2000 && !done; ++i) {
    const std::wstring status = Text(kIdLogStatus);
    done = status.starts_with(L"Log gespeichert");
    if (!done) Sleep(2);
    ended = GetTickCount64();
  }
  PressEscape(false);
  Check(done, L"Bericht beendet: " + Text(kIdLogStatus));
  Check(ended - pressed <= 500, L"Esc beendet den Bericht in " + std::to_wstring(ended - pressed) + L" ms");
  const std::wstring cutText = ReadFileText(cut);
  Check(cutText.size() > 9 && cutText.substr(cutText.size() - 9) == L"\r\nAbbruch", L"Bericht endet mit \"Abbruch\"");
  std::size_t lines = 0;
  for (wchar_t c : cutText) lines += c == L'\n' ? 1 : 0;
  Check(lines > 2 && lines < static_cast<std::size_t>(rows), L"Bericht abgebrochen nach " + std::to_wstring(lines) + L" Zeilen");
  Check(IsWindowEnabled(Control(kIdLogClear)), L"Kn\u00f6pfe nach dem Bericht wieder frei");
  Close();

  // The next start shows the log's columns in the order they were dragged into.
  if (Launch(exe, L"--profiles \"" + profiles + L"\" --config-dir \"" + config + L"\"")) {
    SelectTab(3);
    std::vector<int> order;
    for (int i = 0; i < 50 && order != std::vector<int>{6, 0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13}; ++i) {
      Sleep(20);
      order = LogColumnOrder();
    }
    Check(order == std::vector<int>{6, 0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13}, L"Spalten des Logs beim Start wie gezogen");
    Close();
  }
}

}  // namespace

void RunLogScenario(const std::wstring& exe) {
  LogWorld w;
  w.exe = exe;
  w.root = g_work + L"\\Log";
  w.config = g_work + L"\\config";
  w.autoFolder = w.root + L"\\Berichte\\Auto";
  w.profiles = w.root + L"\\Log.ini";
  WriteLogWorld(w);
  if (!Launch(exe, L"--profiles \"" + w.profiles + L"\" --config-dir \"" + w.config + L"\"")) {
    Check(false, L"Start f\u00fcr das Log");
    return;
  }
  TakeRecord();
  // One window through all stages: each stage starts where the one before left the window.
  ALockedFileFailsAndTheLogIsSavedAutomatically(w);
  SortingFlipsTheOrderAndShowsOneArrow();
  ADoubleClickSendsTheFileToTheCompanion(w);
  SaveLogAsksWhereAndRemembersTheFolder(w);
  OnlyCheckedRowsRunAgain(w);
  TheChooserChecksAndRemovesRows();
  TheTimerRunsFromTheTray();
  EscStopsTheSecondOfThreeProfiles(w);
  EscInAnotherProgramDoesNotStopARun(w);
  ShreddingCanBeCancelledInItsWaitWindow(w);
  ADraggedHeaderOrdersTheReport(w);
  AHugeReportAnswersAndEndsOnEsc(w);
}

}  // namespace gui
