// "Überwachung starten" in the real window: refused without a marked profile, then a file
// dropped into the watched folder becomes a row of the log without anybody clicking; a copy
// profile whose copies would multiply is warned about when saved and when watched.
#include "gui_driver.h"

namespace gui {

void RunWatchScenario(const std::wstring& exe) {
  const std::wstring root = g_work + L"\\Watch";
  const std::wstring config = root + L"\\config";
  for (const wchar_t* folder : {L"", L"\\config", L"\\Eingang", L"\\Ablage"}) {
    CreateDirectoryW((root + folder).c_str(), nullptr);
  }
  for (const wchar_t* file : {L"\\Eingang\\neu.txt", L"\\Ablage\\neu.txt", L"\\config\\AblagixSetting.ini"}) {
    DeleteFileW((root + file).c_str());
  }
  const std::wstring profiles = root + L"\\Watch.ini";
  WriteFileText(profiles, L"[Eingang ablegen]\r\nQuelle=" + root + L"\\Eingang\r\nUnterverzeich=0\r\nFilter=Alles\r\n"
                          L"Aktion=Verschieben\r\nZiel=" + root + L"\\Ablage\r\nKollision=1\r\nCase=0\r\nZippen=0\r\n"
                          L"Ueberwachen=1\r\n"
                          L"[Nicht markiert]\r\nQuelle=" + root + L"\\Eingang\r\nFilter=Alles\r\nAktion=Kopieren\r\n"
                          L"Ziel=" + root + L"\\Ablage\r\nKollision=1\r\n");
  if (!Launch(exe, L"--profiles \"" + profiles + L"\" --config-dir \"" + config + L"\"")) {
    Check(false, L"Fenster f\u00fcr die \u00dcberwachung");
    return;
  }
  TakeRecord();
  CheckEq(Text(kIdWatchButton), L"\u00dc&berwachung starten", L"Knopf vor dem Start");

  // Only the unmarked profile checked: said so, nothing watched.
  CheckRow(1, true);
  Click(kIdWatchButton);
  Check(Has(TakeRecord(), L"Keines der angehakten Profile ist zum \u00dcberwachen markiert."),
        L"Hinweis ohne markiertes Profil");
  CheckEq(Text(kIdWatchButton), L"\u00dc&berwachung starten", L"nicht gestartet");

  CheckRow(0, true);
  Click(kIdWatchButton);
  CheckEq(Text(kIdWatchButton), L"\u00dc&berwachung stoppen", L"Knopf w\u00e4hrend der \u00dcberwachung");
  CheckEq(Text(kIdExListviewLOG), L"\u00dcberwachung l\u00e4uft, warte auf neue Dateien...", L"Leertext");
  Check(SelectTab(0), L"Profilliste w\u00e4hrend der \u00dcberwachung");
  CheckLayout(L"w\u00e4hrend der \u00dcberwachung");
  Screenshot(L"13-ueberwachung-laeuft.png");

  WriteFileText(root + L"\\Eingang\\neu.txt", L"neu");
  const bool handled = WaitFor([] { return LogRows() >= 3; });
  Check(handled, L"Lauf nach dem Ablegen: " + std::to_wstring(LogRows()) + L" Zeilen");
  if (handled) {
    CheckEq(ListText(kIdExListviewLOG, 0, 0), L"Start Eingang ablegen", L"Startzeile des Laufs");
    CheckEq(ListText(kIdExListviewLOG, 1, 0), L"neu.txt", L"die abgelegte Datei");
    CheckEq(ListText(kIdExListviewLOG, 1, 6), L"Verschoben", L"verschoben");
    CheckEq(ListText(kIdExListviewLOG, 2, 0), L"Ende Eingang ablegen", L"Endzeile des Laufs");
  }
  Check(!ReadFileText(root + L"\\Ablage\\neu.txt").empty(), L"Datei im Zielordner");
  // Handled once: the move itself starts no second run.
  Sleep(3000);
  Check(LogRows() == 3, L"nur ein Lauf: " + std::to_wstring(LogRows()) + L" Zeilen");
  Screenshot(L"14-log-nach-ueberwachtem-lauf.png");

  Click(kIdWatchButton);
  CheckEq(Text(kIdWatchButton), L"\u00dc&berwachung starten", L"Knopf nach dem Stopp");

  // --- A copy profile that numbers its copies, marked for watching: a run over its whole
  // folder would copy every file again. Said when it is saved, and when watching starts.
  const std::wstring warning = L"Achtung: \u201ENicht markiert\u201C wird \u00fcberwacht und kopiert mit "
                               L"\u201Eneue Datei umbenennen (1)\u201C.";
  Check(SelectTab(0), L"Profilliste vor dem Bearbeiten");
  SelectRow(1);
  Check(SelectTab(1), L"Editor des Kopierprofils");
  SendMessageW(Control(kIdWatchFolder), BM_SETCHECK, BST_CHECKED, 0);
  Click(kIdSaveProfile);
  Check(Has(TakeRecord(), L"MESSAGE|Exclamation|" + warning), L"Warnung beim Speichern");
  Check(Has(Section(profiles, L"Nicht markiert"), L"Ueberwachen=1"), L"trotz Warnung gespeichert");
  // Identical files skipped: the copies no longer multiply.
  SendMessageW(Control(kIdSkipIdentical), BM_SETCHECK, BST_CHECKED, 0);
  Click(kIdSaveProfile);
  Check(!Has(TakeRecord(), L"Achtung"), L"keine Warnung mit \u201EIdentische Dateien \u00fcberspringen\u201C");
  SendMessageW(Control(kIdSkipIdentical), BM_SETCHECK, BST_UNCHECKED, 0);
  Click(kIdSaveProfile);
  TakeRecord();
  Check(SelectTab(0), L"Profilliste nach dem Bearbeiten");
  CheckRow(0, false);
  CheckRow(1, true);
  const int before = LogRows();
  Click(kIdWatchButton);
  CheckEq(Text(kIdWatchButton), L"\u00dc&berwachung stoppen", L"\u00dcberwachung des Kopierprofils");
  Check(SelectTab(3), L"Log w\u00e4hrend der \u00dcberwachung");
  Check(LogRows() == before + 1, L"eine Zeile beim Start: " + std::to_wstring(LogRows()));
  Check(ListText(kIdExListviewLOG, before, 1).starts_with(warning), L"Warnung im Log");
  CheckLayout(L"mit Warnung im Log");
  Screenshot(L"15-warnung-kopien-ueberwacht.png");
  Click(kIdWatchButton);
  Close();
}

}  // namespace gui
