// "Letzten Lauf rückgängig machen" on the log page: nothing to undo before the first run; a
// real run that moves and copies; the question names the run, and "Nein" changes nothing;
// "Ja" brings the files back (a taken name numbered), removes the copy and shows one row per
// file; a second press finds the run undone. The button is reached by its mnemonic as well.
#include <windows.h>
#include <commctrl.h>

#include <string>

#include "gui_driver.h"

namespace gui {
namespace {

bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

// Removes every file of `folder` (one level) and the folder itself, so that a repeated test
// starts as the first one did.
void RemoveFolder(const std::wstring& folder) {
  WIN32_FIND_DATAW found{};
  HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &found);
  if (search != INVALID_HANDLE_VALUE) {
    do {
      if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) DeleteFileW((folder + L"\\" + found.cFileName).c_str());
    } while (FindNextFileW(search, &found));
    FindClose(search);
  }
  RemoveDirectoryW(folder.c_str());
}

// The result column of the last row of `name` in the log.
std::wstring ResultOfLast(const std::wstring& name) {
  for (int row = LogRows() - 1; row >= 0; --row) {
    if (ListText(kIdExListviewLOG, row, 0) == name) return ListText(kIdExListviewLOG, row, 6);
  }
  return L"(keine Zeile)";
}

void PressAlt(WORD key) {
  INPUT input[4] = {};
  for (INPUT& i : input) i.type = INPUT_KEYBOARD;
  input[0].ki.wVk = VK_MENU;
  input[1].ki.wVk = key;
  input[2].ki.wVk = key;
  input[2].ki.dwFlags = KEYEVENTF_KEYUP;
  input[3].ki.wVk = VK_MENU;
  input[3].ki.dwFlags = KEYEVENTF_KEYUP;
  SendInput(4, input, sizeof(INPUT));
}

}  // namespace

void RunUndoScenario(const std::wstring& exe) {
  const std::wstring root = g_work + L"\\Rueckgaengig";
  const std::wstring config = root + L"\\config";
  for (const wchar_t* folder : {L"\\Eingang", L"\\Ablage", L"\\Belege", L"\\Kopien", L"\\config\\Journal"}) {
    RemoveFolder(root + folder);
  }
  DeleteFileW((config + L"\\AblagixSetting.ini").c_str());
  for (const wchar_t* folder : {L"", L"\\Eingang", L"\\Belege", L"\\config"}) CreateDirectoryW((root + folder).c_str(), nullptr);
  WriteFileText(root + L"\\Eingang\\brief.txt", L"Brief");
  WriteFileText(root + L"\\Eingang\\foto.jpg", L"Foto");
  WriteFileText(root + L"\\Belege\\rechnung.pdf", L"Rechnung");
  const std::wstring profiles = root + L"\\Profile.ini";
  WriteFileText(profiles, L"[Ablegen]\r\nQuelle=" + root + L"\\Eingang\r\nUnterverzeich=0\r\nFilter=Alles\r\n"
                          L"Aktion=Verschieben\r\nZiel=" + root + L"\\Ablage\r\nKollision=1\r\nCase=0\r\nZippen=0\r\n"
                          L"[Sichern]\r\nQuelle=" + root + L"\\Belege\r\nUnterverzeich=0\r\nFilter=Alles\r\n"
                          L"Aktion=Kopieren\r\nZiel=" + root + L"\\Kopien\r\nKollision=1\r\nCase=0\r\nZippen=0\r\n");
  if (!Launch(exe, L"--profiles \"" + profiles + L"\" --config-dir \"" + config + L"\"")) {
    Check(false, L"Start f\u00fcr das R\u00fcckg\u00e4ngigmachen");
    return;
  }
  SetWindowPos(g_main, nullptr, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  TakeRecord();

  // --- No run yet: a clear message, and the log stays empty.
  SelectTab(3);
  Click(kIdLogUndo);
  Check(Has(TakeRecord(), L"MESSAGE|Information|Es gibt keinen ausgef\u00fchrten Lauf, der sich r\u00fcckg\u00e4ngig "
                          L"machen lie\u00dfe."),
        L"ohne Lauf: nichts r\u00fcckg\u00e4ngig zu machen");
  Check(LogRows() == 0, L"ohne Lauf keine Zeilen");

  // --- A real run: two files moved, one copied. Meanwhile a new file takes one moved file's
  // old name.
  CheckRow(0, true);
  CheckRow(1, true);
  Click(kIdCommandButton13);
  Check(Exists(root + L"\\Ablage\\brief.txt") && Exists(root + L"\\Ablage\\foto.jpg") &&
            !Exists(root + L"\\Eingang\\brief.txt") && Exists(root + L"\\Kopien\\rechnung.pdf"),
        L"Lauf hat verschoben und kopiert");
  const int runRows = LogRows();
  Check(runRows == 7, L"Zeilen des Laufs: " + std::to_wstring(runRows));
  WriteFileText(root + L"\\Eingang\\brief.txt", L"neuer Brief");
  TakeRecord();

  // --- "Nein": the question names the run's time and its changes; nothing happens.
  Answer(L"No\n");
  Click(kIdLogUndo);
  const std::wstring asked = TakeRecord();
  const std::wstring question = L"MESSAGE|Question|Den letzten Lauf vom ";
  const size_t at = asked.find(question);
  Check(at != std::wstring::npos, L"Frage vor dem R\u00fcckg\u00e4ngigmachen: " + asked);
  if (at != std::wstring::npos) {
    // "dd.mm.yyyy hh:nn:ss"
    const std::wstring when = asked.substr(at + question.size(), 19);
    Check(when.size() == 19 && when[2] == L'.' && when[5] == L'.' && when[10] == L' ' && when[13] == L':',
          L"Zeitpunkt des Laufs in der Frage: " + when);
    Check(Has(asked, question + when + L" mit 3 \u00c4nderung(en) r\u00fcckg\u00e4ngig machen?"),
          L"Zahl der \u00c4nderungen in der Frage: " + asked);
  }
  Check(LogRows() == runRows && Exists(root + L"\\Ablage\\foto.jpg"), L"\"Nein\" \u00e4ndert nichts");

  // --- The mnemonic reaches the button from the keyboard ("Nein" again).
  Answer(L"No\n");
  SetForegroundWindow(g_main);
  SetFocus(Control(kIdExListviewLOG));
  PressAlt('R');
  bool askedByKey = false;
  for (int i = 0; i < 100 && !askedByKey; ++i) {
    askedByKey = Has(ReadFileText(Record()), question);
    if (!askedByKey) Sleep(50);
  }
  Check(askedByKey, L"Alt+R fragt nach dem R\u00fcckg\u00e4ngigmachen");
  TakeRecord();

  // --- "Ja": the moved files come back, the taken name gets "(1)", the copy goes; one row
  // per file with its own result word.
  Answer(L"Yes\n");
  Click(kIdLogUndo);
  TakeRecord();
  Check(IsWindowEnabled(Control(kIdLogUndo)) && IsWindowEnabled(Control(kIdCommandButton13)),
        L"Kn\u00f6pfe nach dem R\u00fcckg\u00e4ngigmachen wieder frei");
  CheckEq(ReadFileText(root + L"\\Eingang\\foto.jpg"), L"Foto", L"foto.jpg zur\u00fcck");
  CheckEq(ReadFileText(root + L"\\Eingang\\brief.txt"), L"neuer Brief", L"der neue Brief bleibt");
  CheckEq(ReadFileText(root + L"\\Eingang\\brief(1).txt"), L"Brief", L"der alte Brief daneben");
  Check(!Exists(root + L"\\Ablage") && !Exists(root + L"\\Kopien"), L"die Ordner des Laufs sind wieder weg");
  Check(!Exists(root + L"\\Kopien\\rechnung.pdf") && Exists(root + L"\\Belege\\rechnung.pdf"),
        L"Kopie entfernt, Original bleibt");
  // Three files and the row that says the two folders the run made were taken away again.
  Check(LogRows() == runRows + 6, L"Zeilen nach dem R\u00fcckg\u00e4ngigmachen: " + std::to_wstring(LogRows()));
  CheckEq(ResultOfLast(L"foto.jpg"), L"Zur\u00fcckgeholt", L"Ergebnis foto.jpg");
  CheckEq(ResultOfLast(L"brief.txt"), L"Zur\u00fcckgeholt", L"Ergebnis brief.txt");
  CheckEq(ResultOfLast(L"rechnung.pdf"), L"Entfernt", L"Ergebnis rechnung.pdf");
  CheckEq(Text(kIdLogStatus), L"R\u00fcckg\u00e4ngig gemacht: 3 Datei(en), 0 Fehler", L"Status");
  Screenshot(L"12-log-nach-rueckgaengig.png");

  // --- A second press finds the run undone.
  Click(kIdLogUndo);
  Check(Has(TakeRecord(), L"MESSAGE|Information|Der letzte Lauf vom "), L"schon r\u00fcckg\u00e4ngig gemacht");
  Check(LogRows() == runRows + 6, L"nichts zweimal r\u00fcckg\u00e4ngig");

  // --- Two more runs; with the newer one undone, the next press offers the one before it.
  Click(kIdCommandButton13);
  Click(kIdCommandButton13);
  Answer(L"Yes\n");
  Click(kIdLogUndo);
  TakeRecord();
  Answer(L"No\n");
  Click(kIdLogUndo);
  Check(Has(TakeRecord(), L"MESSAGE|Question|Die neueren L\u00e4ufe sind schon r\u00fcckg\u00e4ngig gemacht. Den Lauf vom "),
        L"der Lauf davor wird angeboten");
  Close();
}

}  // namespace gui
