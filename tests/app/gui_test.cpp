// Drives the real Ablagix window by window messages, as a user would click it, and checks the
// controls, the profile file and the questions asked. Saves a screenshot of every tab.
//
//   ablagix_gui_test ABLAGIX_EXE WORK_FOLDER
//
// The program runs with --test-ui: its message boxes and file choosers answer from a script
// file that this test writes, and every question lands in a record file that it reads.
#include <windows.h>
#include <commctrl.h>

#include <cstdio>
#include <string>
#include <vector>

#include "gui_driver.h"
#include "metadata/picture_maker.h"

using namespace gui;

namespace {

// The column order of the profile list, read through the program's memory.
std::vector<int> ColumnOrder() {
  std::vector<int> order(19);
  void* remote = VirtualAllocEx(g_process, nullptr, order.size() * sizeof(int), MEM_COMMIT, PAGE_READWRITE);
  SendMessageW(Control(kIdProfileList), LVM_GETCOLUMNORDERARRAY, order.size(), reinterpret_cast<LPARAM>(remote));
  ReadProcessMemory(g_process, remote, order.data(), order.size() * sizeof(int), nullptr);
  VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
  return order;
}
void SetColumnOrder(std::vector<int> order) {
  void* remote = VirtualAllocEx(g_process, nullptr, order.size() * sizeof(int), MEM_COMMIT, PAGE_READWRITE);
  WriteProcessMemory(g_process, remote, order.data(), order.size() * sizeof(int), nullptr);
  SendMessageW(Control(kIdProfileList), LVM_SETCOLUMNORDERARRAY, order.size(), reinterpret_cast<LPARAM>(remote));
  VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
}

// What the stages of the main scenario share: the program, its settings folder, the source
// folder and the profile files.
struct GuiWorld {
  std::wstring exe;
  std::wstring config;
  std::wstring source;
  std::wstring profiles;
  std::wstring other;    // a second profile file to load
  std::wstring created;  // a profile file the test creates, which is not remembered
};

// Start-up: the list and the label
void StartUpShowsTheListAndItsFile() {
  Check(Rows() == 3, L"drei Profile in der Liste");
  CheckEq(Text(kIdProfileFileLabel), L"= Profile.ini", L"Profildatei-Anzeige");
  Screenshot(L"1-profile-ausfuehren.png");
}

// A simulation from the button: nothing checked and nothing selected is refused; with a
// selected row the question runs that profile alone and the log shows its framed rows.
void ASimulationNeedsACheckedProfile(const GuiWorld& world) {
  const std::wstring& source = world.source;
  WriteFileText(source + L"\\Alt.txt", L"x");
  Click(kIdCommandButton4);
  Check(Has(TakeRecord(), L"Keine Profile angehakt, bitte ausw\u00e4hlen durch anhaken!"), L"nichts angehakt");
  Check(LogRows() == 0, L"kein Lauf ohne Profil");
  SelectRow(2);
  Answer(L"Yes\n");
  Click(kIdCommandButton4);
  Check(Has(TakeRecord(), L"Soll das aktuell markierte Profil simuliert werden?"), L"Frage nach dem markierten Profil");
  Check(LogRows() == 3, L"drei Logzeilen: " + std::to_wstring(LogRows()));
  CheckEq(ListText(kIdExListviewLOG, 0, 0), L"Start Dritte", L"Startzeile");
  CheckEq(ListText(kIdExListviewLOG, 0, 7), L"********", L"Sterne der Startzeile");
  CheckEq(ListText(kIdExListviewLOG, 1, 0), L"Alt.txt", L"Datei im Log");
  CheckEq(ListText(kIdExListviewLOG, 1, 6), L"L\u00f6schen P, simuliert", L"Ergebnis simuliert");
  CheckEq(ListText(kIdExListviewLOG, 2, 0), L"Ende Dritte", L"Endzeile");
  CheckEq(Text(kIdExListviewLOG), L"Keine Dateien gefunden!", L"Leertext nach dem Lauf");
  Check(!ReadFileText(source + L"\\Alt.txt").empty(), L"Simulation l\u00e4sst die Datei stehen");
  Screenshot(L"5-log-nach-simulation.png");
  Check(SelectTab(0), L"zur\u00fcck zur Liste");
}

// The timer: the interval and the log option count from the next tick on, also when they
// change while the timer runs; with the option on, the fifth timed run starts with an empty log.
void TheTimerTakesItsOptionsFromTheNextTick() {
  CheckRow(2, true);
  PickComboEntry(kIdCombo11, 0);  // the prompt, which means ten minutes
  CheckEq(Text(kIdTimerInfoTitle), L"Info:", L"Titel des Infotexts");
  CheckEq(Text(kIdTimerInfo), L"Der Timer f\u00fchrt alle 10-Minuten oben angehakte Profile vollautomatisch aus.",
          L"Infotext zur Aufforderung");
  PickComboEntry(kIdCombo11, 1);  // "Alle 5 Minuten"
  SendMessageW(Control(kIdCheckBox15), BM_SETCHECK, BST_UNCHECKED, 0);
  Click(kIdCommandButton6);
  CheckEq(Text(kIdCommandButton6), L"&Timer stoppen", L"Timer l\u00e4uft");
  auto tick = [](int minutes) {
    for (int i = 0; i < minutes; ++i) SendMessageW(g_main, WM_TIMER, 1, 0);
  };
  tick(4);
  Check(LogRows() == 3, L"vor der f\u00fcnften Minute kein Lauf");
  PickComboEntry(kIdCombo11, 2);  // "Alle 10 Minuten", while the timer runs
  tick(1);
  Check(LogRows() == 3, L"nach dem Wechsel auf 10 Minuten kein Lauf in Minute 5: " + std::to_wstring(LogRows()));
  tick(5);
  Check(LogRows() == 6, L"erster Timerlauf in Minute 10: " + std::to_wstring(LogRows()));
  CheckEq(ListText(kIdExListviewLOG, 4, 6), L"Gel\u00f6scht P", L"Timerlauf f\u00fchrt aus");
  PickComboEntry(kIdCombo11, 1);
  tick(15);
  Check(LogRows() == 15, L"vier Timerl\u00e4ufe: " + std::to_wstring(LogRows()));
  SendMessageW(Control(kIdCheckBox15), BM_SETCHECK, BST_CHECKED, 0);  // switched on while running
  Click(kIdCheckBox15);
  tick(5);
  Check(LogRows() == 3, L"f\u00fcnfter Lauf beginnt mit leerem Log: " + std::to_wstring(LogRows()));
  CheckEq(ListText(kIdExListviewLOG, 0, 0), L"Start Dritte", L"f\u00fcnfter Lauf");
  Click(kIdCommandButton6);
  CheckEq(Text(kIdCommandButton6), L"&Timer starten", L"Timer gestoppt");
  CheckRow(2, false);
}

// Loading a clicked row
void AClickedRowLoadsIntoTheEditor() {
  SelectRow(0);
  Check(SelectTab(1), L"Wechsel in den Editor");
  CheckEq(Text(kIdDescription), L"Alte Dateien", L"Beschreibung");
  Check(IsOn(kIdDateOn), L"Datum angehakt");
  CheckEq(Text(kIdDateKind), L"Datei ge\u00e4ndert", L"Datumsart");
  CheckEq(Text(kIdDateComparator), L"\u00e4lter als", L"Datumsvergleich");
  CheckEq(Text(kIdDateAmount), L"30", L"Datumsmenge");
  CheckEq(Text(kIdDateUnit), L"Tage", L"Datumseinheit");
  Check(IsOn(kIdSizeOn), L"Gr\u00f6\u00dfe angehakt");
  CheckEq(Text(kIdSizeComparator), L"Gr\u00f6\u00dfer als", L"Gr\u00f6\u00dfenvergleich");
  CheckEq(Text(kIdSizeAmount), L"10", L"Gr\u00f6\u00dfe");
  CheckEq(Text(kIdSizeUnit), L"MB", L"Gr\u00f6\u00dfeneinheit");
  Check(IsOn(kIdMetadataOn), L"Metadaten angehakt");
  Check(Has(Text(kIdCombo10), L"%Model%"), L"Metadaten-Eintrag enth\u00e4lt %Model%: " + Text(kIdCombo10));
  CheckEq(Text(kIdMetadataComparator), L"=", L"Metadaten-Vergleich");
  CheckEq(Text(kIdMetadataValue), L"Canon", L"Metadaten-Wert");
  Check(IsOn(kIdActionFirst), L"Aktion Verschieben");
  Check(IsOn(kIdCollisionFirst + 2), L"Kollision \u00fcberspringen");
  Check(IsOn(kIdSubfolders), L"inklusive Unterordner");
  CheckEq(Text(kIdTxtName), L"D:\\Archiv", L"Zielverzeichnis");
  // How the words of a text search are joined: in the empty field, and on hovering it.
  const std::wstring textHint =
      L"Gesuchten Text eingeben: Trennzeichen + alle Suchw\u00f6rter / Trennzeichen | eines oder mehrere";
  CheckEq(CueBanner(kIdText), textHint, L"Hinweis im Textfeld");
  CheckEq(TooltipText(kIdText), textHint, L"Tooltip des Textfelds");
  CheckEq(TooltipText(kIdFilterSave), L"Speichert alle Dateifilter", L"Tooltip von \u201eSpeichern\u201c");
  Screenshot(L"2-profile-bearbeiten.png");

  Check(SelectTab(0), L"zur\u00fcck zur Liste");
  SelectRow(1);
  CheckEq(Text(kIdMetadataComparator), L"", L"kein Metadaten-Vergleich");
  CheckEq(Text(kIdMetadataValue), L"Canon", L"Metadaten-Wert ohne Vergleich");
  Check(IsOn(kIdActionFirst + 1), L"Aktion Kopieren");
  Check(IsOn(kIdCollisionFirst), L"Kollision umbenennen");
  Check(IsOn(kIdIncludeOn), L"gespeicherter Filter angehakt");
  CheckEq(Text(kIdInclude), L"Bilder", L"gespeicherter Filter");
  CheckEq(Text(kIdIncludeMask), L".jpg,.png,.gif", L"Maske des Filters");
}

// Edit and save
void EditAndSave(const GuiWorld& world) {
  const std::wstring& profiles = world.profiles;
  SelectRow(0);
  SelectTab(1);
  SetTextOf(kIdDateAmount, L"45");
  SetTextOf(kIdTxtName, L"D:\\Neu\\%Ext%");
  Click(kIdSaveProfile);
  std::wstring saved = Section(profiles, L"Alte Dateien");
  Check(Has(saved, L"Filedate=GA<45D"), L"gespeichertes Datum GA<45D");
  Check(Has(saved, L"FileSize=>10MB"), L"gespeicherte Gr\u00f6\u00dfe bleibt");
  Check(Has(saved, L"Ziel=D:\\Neu\\%Ext%"), L"gespeichertes Ziel");
  Check(Has(saved, L"Metadaten=%Model%;=Canon"), L"gespeicherte Metadaten");
  Check(TakeRecord().empty(), L"Speichern ohne Meldung");
  Check(Rows() == 3, L"nach dem Speichern drei Profile");
}

// A profile file that another program holds (the companion, a backup tool): the save
// says so and the editor keeps what was typed.
void AProfileFileAnotherProgramHoldsIsNotLost(const GuiWorld& world) {
  const std::wstring& profiles = world.profiles;
  {
    HANDLE held = CreateFileW(profiles.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    Check(held != INVALID_HANDLE_VALUE, L"Profildatei gesperrt");
    SetTextOf(kIdTxtName, L"D:\\Gesperrt");
    Click(kIdSaveProfile);
    const std::wstring said = TakeRecord();
    Check(Has(said, L"MESSAGE|Critical|Das Profil konnte nicht gespeichert werden"), L"Meldung bei gesperrter Datei");
    Check(Has(said, L"Ihre Eingaben bleiben erhalten"), L"Meldung verspricht die Eingaben");
    CheckEq(Text(kIdTxtName), L"D:\\Gesperrt", L"Eingabe bleibt im Editor");
    CloseHandle(held);
    Check(!Has(Section(profiles, L"Alte Dateien"), L"Gesperrt"), L"gesperrte Datei unver\u00e4ndert");
    Click(kIdSaveProfile);
    Check(Has(Section(profiles, L"Alte Dateien"), L"Ziel=D:\\Gesperrt"), L"zweiter Versuch gespeichert");
    TakeRecord();
    SetTextOf(kIdTxtName, L"D:\\Neu\\%Ext%");
    Click(kIdSaveProfile);
    TakeRecord();
  }
}

// Token menus append a folder level to the target; the name part asks for its bounds
void TokenMenusAddToTheTarget() {
  SendMessageW(g_main, WM_COMMAND, MAKEWPARAM(kIdTokenMenuBase + 0, 0), 0);
  CheckEq(Text(kIdTxtName), L"D:\\Neu\\%Ext%\\%DateGAYYYY%", L"Datums-Variable eingef\u00fcgt");
  Answer(L"[3-5]\n");
  SendMessageW(g_main, WM_COMMAND, MAKEWPARAM(kIdTokenMenuBase + 100 + 7, 0), 0);
  CheckEq(Text(kIdTxtName), L"D:\\Neu\\%Ext%\\%DateGAYYYY%\\%DateiNameTeil[3-5]%", L"Namensteil eingef\u00fcgt");
  Check(Has(TakeRecord(), L"DIALOG|Eingabe"), L"Eingabefeld f\u00fcr den Namensteil");
}

// The target from the recently used folders: "Verwenden" with nothing selected says so;
// a folder added through the chooser is listed, used, and kept for the next time.
void TheTargetFromRecentFolders(const GuiWorld& world) {
  const std::wstring& config = world.config;
  {
    const std::wstring recent = g_work + L"\\Quelle";
    HWND browse = Control(kIdTargetBrowse);
    PostMessageW(GetParent(browse), WM_COMMAND, MAKEWPARAM(kIdTargetBrowse, BN_CLICKED), reinterpret_cast<LPARAM>(browse));
    HWND dialog = nullptr;
    for (int i = 0; i < 100 && !dialog; ++i) {
      Sleep(50);
      dialog = FindWindowW(L"#32770", L"Zuletzt verwendete Ordner");
    }
    Check(dialog != nullptr, L"Dialog der zuletzt verwendeten Ordner");
    if (dialog) {
      SendMessageW(dialog, WM_COMMAND, IDOK, 0);
      Check(Has(TakeRecord(), L"MESSAGE|Exclamation|Bitte Ordnerpfad oben ausw\u00e4hlen!"), L"Verwenden ohne Auswahl");
      Answer(recent + L"\n");
      SendMessageW(dialog, WM_COMMAND, 112, 0);  // "Ordner hinzufügen..."
      Check(Has(TakeRecord(), L"DIALOG|Ordner, der gespeichert werden soll:"), L"Ordnerauswahl");
      HWND list = GetDlgItem(dialog, 111);
      Check(SendMessageW(list, LVM_GETITEMCOUNT, 0, 0) == 1, L"Ordner in der Liste");
      CopyData(kCopyDataScreenshot, g_work + L"\\screenshots\\2b-zuletzt-verwendete-ordner.png|" +
                                        std::to_wstring(reinterpret_cast<INT_PTR>(dialog)));
      SendMessageW(dialog, WM_COMMAND, IDOK, 0);
      for (int i = 0; i < 100 && IsWindow(dialog); ++i) Sleep(50);
      CheckEq(Text(kIdTxtName), recent, L"Zielordner aus der Liste");
      const std::wstring kept = ReadFileText(config + L"\\AblagixSetting.ini");
      Check(Has(kept, L"[SaveAsPfade]") && Has(kept, L"1=" + recent) && Has(kept, L"DefaultPath=" + recent),
            L"Liste und Startordner gespeichert");
    }
  }
}

// The radius search needs a stored reference point
void TheRadiusSearchNeedsAReferencePoint() {
  HWND metadata = Control(kIdCombo10);
  SendMessageW(metadata, CB_SETCURSEL, 13, 0);
  SendMessageW(GetParent(metadata), WM_COMMAND, MAKEWPARAM(kIdCombo10, CBN_SELCHANGE), reinterpret_cast<LPARAM>(metadata));
  Check(Has(TakeRecord(), L"Bitte speichern Sie zuerst im Register 'Einstellungen' ein Referenzsbild"),
        L"Hinweis auf fehlenden Referenzpunkt");
}

// The zip name refuses characters a file name cannot hold
void TheZipNameRefusesForbiddenCharacters() {
  SetTextOf(kIdTextBox6, L"Archiv");
  SendMessageW(Control(kIdTextBox6), WM_CHAR, L'?', 0);
  std::wstring refused = TakeRecord();
  Check(Has(refused, L"MESSAGE|Critical|Unerlaubte Zeichen:  ? \\ / : ; < > * \""), L"Meldung f\u00fcr ?");
  CheckEq(Text(kIdTextBox6), L"Archiv", L"Zeichen verworfen");
}

// "Neues Profil": No to the question discards the change
void NewProfileAsksBeforeDiscarding(const GuiWorld& world) {
  const std::wstring& profiles = world.profiles;
  SetTextOf(kIdDescription, L"Umbenannt");
  Answer(L"No\n");
  Click(kIdNewProfile);
  std::wstring asked = TakeRecord();
  Check(Has(asked, L"MESSAGE|Question|Wollen sie die \u00c4nderung an dem ge\u00e4nderten Profil speichern?"),
        L"Frage nach dem Speichern");
  Check(Section(profiles, L"Umbenannt").empty(), L"Nein speichert nichts");
  CheckEq(Text(kIdDescription), L"", L"neues Profil: leere Beschreibung");
  Check(IsOn(kIdActionFirst + 1), L"neues Profil: Kopieren");
  Check(IsOn(kIdCollisionFirst), L"neues Profil: neue Datei umbenennen (1)");
  Check(!IsOn(kIdDateOn) && !IsOn(kIdSizeOn) && !IsOn(kIdMetadataOn), L"neues Profil: Bedingungen aus");

  // A change in the date unit list switches the date condition on; leaving the editor with
  // that change pending asks, and No lets the tab change go on.
  HWND unit = Control(kIdDateUnit);
  SendMessageW(unit, CB_SETCURSEL, 3, 0);
  SendMessageW(GetParent(unit), WM_COMMAND, MAKEWPARAM(kIdDateUnit, CBN_SELCHANGE), reinterpret_cast<LPARAM>(unit));
  Check(IsOn(kIdDateOn), L"Einheit gew\u00e4hlt: Datum angehakt");
  Answer(L"No\n");
  Check(SelectTab(0), L"Registerwechsel nach Nein");
  Check(Has(TakeRecord(), L"Wollen sie die \u00c4nderung"), L"Frage beim Verlassen des Editors");
}

// Delete with nothing checked, then the checked ones
void DeleteNeedsCheckedProfiles(const GuiWorld& world) {
  const std::wstring& profiles = world.profiles;
  SelectTab(0);
  SelectRow(2);
  Click(kIdDeleteProfiles);
  Check(Has(TakeRecord(), L"MESSAGE|Exclamation|Keine Profile angehakt, bitte ausw\u00e4hlen durch anhaken!"),
        L"Meldung ohne Haken");
  Check(Rows() == 3 && !Section(profiles, L"Dritte").empty(), L"nichts gel\u00f6scht");
  CheckRow(1, true);
  CheckRow(2, true);
  Answer(L"Yes\n");
  Click(kIdDeleteProfiles);
  Check(Has(TakeRecord(), L"Sollen alle angehakten Profile gel\u00f6scht werden?"), L"Frage vor dem L\u00f6schen");
  Check(Rows() == 1, L"eine Zeile bleibt");
  Check(Section(profiles, L"Kamera").empty() && Section(profiles, L"Dritte").empty(), L"Abschnitte gel\u00f6scht");
  Check(!Section(profiles, L"Alte Dateien").empty(), L"ungehaktes Profil bleibt");
}

// Another profile file, then a new one (which is not remembered)
void AnotherProfileFileThenANewOne(const GuiWorld& world) {
  const std::wstring& config = world.config;
  const std::wstring& other = world.other;
  const std::wstring& created = world.created;
  Answer(other + L"\n");
  Click(kIdLoadProfileFile);
  Check(Has(TakeRecord(), L"DIALOG|Neue IniDatei laden"), L"Dateiauswahl ge\u00f6ffnet");
  CheckEq(Text(kIdProfileFileLabel), L"= Andere.ini", L"Anzeige nach dem Laden");
  Check(Rows() == 1, L"ein Profil aus Andere.ini");
  Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"IniPfad=" + other), L"IniPfad gemerkt");
  Answer(created + L"\n");
  Click(kIdCreateProfileFile);
  TakeRecord();
  CheckEq(Text(kIdProfileFileLabel), L"= AXProfilDatei.ini", L"Anzeige der neuen Datei");
  Check(Rows() == 0, L"neue Datei ist leer");
  Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"IniPfad=" + other), L"IniPfad bleibt beim Erstellen");

  Check(SelectTab(2), L"Einstellungen");
}

// Starting with Windows: the per-user Run key gets the program, and loses it again.
void StartingWithWindows(const GuiWorld& world) {
  const std::wstring& config = world.config;
  {
    auto runValue = [] {
      wchar_t data[1024] = {};
      DWORD size = sizeof data;
      const LONG result = RegGetValueW(HKEY_CURRENT_USER, L"Software\\Microsoft\\Windows\\CurrentVersion\\Run",
                                       L"Ablagix", RRF_RT_REG_SZ, nullptr, data, &size);
      return result == ERROR_SUCCESS ? std::wstring(data) : std::wstring(L"-");
    };
    SendMessageW(Control(kIdCheckBox9), BM_SETCHECK, BST_CHECKED, 0);
    Click(kIdCheckBox9);
    const std::wstring value = runValue();
    Check(value.size() > 12 && value.substr(value.size() - 12) == L"\\Ablagix.EXE", L"Autostart eingetragen: " + value);
    Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"AXRun=1"), L"AXRun=1");
    SendMessageW(Control(kIdCheckBox9), BM_SETCHECK, BST_UNCHECKED, 0);
    Click(kIdCheckBox9);
    CheckEq(runValue(), L"-", L"Autostart ausgetragen");
    Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"AXRun=0"), L"AXRun=0");
  }
}

// Text search in plain files only: stored the moment it is switched.
void TextSearchInPlainFilesOnly(const GuiWorld& world) {
  const std::wstring& config = world.config;
  SendMessageW(Control(kIdTextOnlyPlainFiles), BM_SETCHECK, BST_CHECKED, 0);
  Click(kIdTextOnlyPlainFiles);
  Check(Has(ReadFileText(config + L"\\AblagixSetting.ini"), L"DokumenttextAus=1"), L"DokumenttextAus=1");
}

// The reference point: a picture without coordinates is refused; one with them fills
// both fields, and saving stores them with the picture.
void TheReferencePointNeedsCoordinates(const GuiWorld& world) {
  const std::wstring& config = world.config;
  {
    ablagix::test::TiffMaker t(true);
    const std::string gps = ablagix::test::Jpeg(t.Make({t.Ascii(272, "Kamera")}, {},
                                              {t.Ascii(1, "N"), t.Rationals(2, {{51, 1}, {30, 1}, {0, 1}}),
                                               t.Ascii(3, "E"), t.Rationals(4, {{7, 1}, {15, 1}, {0, 1}})}));
    const std::wstring withGps = g_work + L"\\Referenz.jpg";
    const std::wstring without = g_work + L"\\Ohne.jpg";
    WriteFileBytes(withGps, gps);
    WriteFileBytes(without, ablagix::test::Jpeg(t.Make({t.Ascii(272, "Kamera")}, {}, {})));
    Answer(without + L"\n");
    Click(kIdCmdReferenzbild);
    const std::wstring pictureAsked = TakeRecord();
    Check(Has(pictureAsked, L"DIALOG|Neue IniDatei laden"), L"Bildauswahl f\u00fcr den Referenzpunkt");
    Check(Has(pictureAsked, L"Das Bild enth\u00e4lt keine Exif-Koordinaten!"), L"Bild ohne Koordinaten abgelehnt");
    Answer(withGps + L"\n");
    Click(kIdCmdReferenzbild);
    CheckEq(Text(kIdLat), L"N51,5", L"Breitengrad aus dem Bild");
    CheckEq(Text(kIdLon), L"E7,25", L"L\u00e4ngengrad aus dem Bild");
    Click(kIdCommand4);
    const std::wstring stored = ReadFileText(config + L"\\AblagixSetting.ini");
    Check(Has(stored, L"Lat=N51,5") && Has(stored, L"Lon=E7,25") && Has(stored, L"RefPicture=" + withGps),
          L"Referenzpunkt gespeichert");
  }
  Screenshot(L"3-einstellungen.png");
  Check(SelectTab(3), L"Log-Dateien");
  Screenshot(L"4-log-dateien.png");
}

// Shut-down writes the settings, including a column order dragged in the header; false when
// the program does not start again.
bool ShutDownAndNextStartKeepTheSettings(const GuiWorld& world) {
  const std::wstring& exe = world.exe;
  const std::wstring& config = world.config;
  std::vector<int> order = ColumnOrder();
  std::swap(order[1], order[2]);
  SetColumnOrder(order);
  Close();
  std::wstring settingsFile = config + L"\\AblagixSetting.ini";
  std::wstring settings = ReadFileText(settingsFile);
  Check(Has(settings, L"Position="), L"Fensterposition gespeichert");
  Check(Has(settings, L"HeaderPosition=0,2,1,3,"), L"Spaltenreihenfolge gespeichert");

  // Next start: the remembered profile file (not the one only created), the column order,
  // and a window saved on a monitor that is gone comes back onto the screen.
  WritePrivateProfileStringW(L"AblagixForm", L"Position", L"150000;150000;14000;10000", settingsFile.c_str());
  if (!Launch(exe, L"--config-dir \"" + config + L"\"")) return false;
  CheckEq(Text(kIdProfileFileLabel), L"= Andere.ini", L"gemerkte Profildatei beim n\u00e4chsten Start");
  Check(ColumnOrder() == order, L"Spaltenreihenfolge wiederhergestellt");
  RECT rect{};
  GetWindowRect(g_main, &rect);
  const int screenRight = GetSystemMetrics(SM_XVIRTUALSCREEN) + GetSystemMetrics(SM_CXVIRTUALSCREEN);
  const int screenBottom = GetSystemMetrics(SM_YVIRTUALSCREEN) + GetSystemMetrics(SM_CYVIRTUALSCREEN);
  Check(rect.left < screenRight && rect.top < screenBottom && rect.right > 0 && rect.bottom > 0,
        L"Fenster auf dem Bildschirm: " + std::to_wstring(rect.left) + L"," + std::to_wstring(rect.top));
  Close();
  return true;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  GuiWorld world;
  if (argc < 3) {
    std::printf("usage: ablagix_gui_test ABLAGIX_EXE WORK_FOLDER\n");
    return 2;
  }
  world.exe = WindowsPath(argv[1]);
  g_work = WindowsPath(argv[2]);
  // The work folder and every missing parent (a fresh build tree has none of them).
  for (size_t at = g_work.find(L'\\', 3); ; at = g_work.find(L'\\', at + 1)) {
    CreateDirectoryW(g_work.substr(0, at).c_str(), nullptr);
    if (at == std::wstring::npos) break;
  }
  CreateDirectoryW((g_work + L"\\screenshots").c_str(), nullptr);
  CreateDirectoryW((g_work + L"\\Quelle").c_str(), nullptr);
  world.config = g_work + L"\\config";
  CreateDirectoryW(world.config.c_str(), nullptr);
  DeleteFileW((world.config + L"\\AblagixSetting.ini").c_str());
  // Two stored filters, shared with Kramdock in "Opt.ini".
  WriteFileText(world.config + L"\\Opt.ini", L"[Dateifilter1]\r\nFilter=Bilder,Dokumente\r\n0Mask=.jpg,.png,.gif\r\n"
                                        L"1Mask=.pdf,.docx,.odt\r\n");
  DeleteFileW(Record().c_str());
  DeleteFileW(Answers().c_str());
  world.source = g_work + L"\\Quelle";
  world.profiles = g_work + L"\\Profile.ini";
  WriteFileText(world.profiles,
                L"[Alte Dateien]\r\nQuelle=" + world.source + L"\r\nUnterverzeich=1\r\nOrdnerStruktur=0\r\n"
                L"Filter=Alles\r\nFiledate=GA<30D\r\nFileSize=>10MB\r\nAktion=Verschieben\r\nZiel=D:\\Archiv\r\n"
                L"Kollision=2\r\nCase=0\r\nMetadaten=%Model%;=Canon\r\nZippen=0\r\n"
                L"[Kamera]\r\nQuelle=" + world.source + L"\r\nUnterverzeich=0\r\nOrdnerStruktur=0\r\nFilter=Bilder\r\n"
                L"Aktion=Kopieren\r\nZiel=D:\\Fotos\\%DateGAYYYY%\r\nKollision=1\r\nCase=0\r\n"
                L"Metadaten=%Model%;Canon\r\nZippen=0\r\n"
                L"[Dritte]\r\nQuelle=" + world.source + L"\r\nUnterverzeich=0\r\nOrdnerStruktur=0\r\nFilter=Alles\r\n"
                L"Aktion=L\u00f6schenP\r\nCase=0\r\nZippen=0\r\n");
  world.other = g_work + L"\\Andere.ini";
  WriteFileText(world.other, L"[Andere]\r\nQuelle=" + world.source + L"\r\nFilter=Alles\r\nAktion=Kopieren\r\nZiel=D:\\x\r\n");
  world.created = g_work + L"\\AXProfilDatei.ini";
  DeleteFileW(world.created.c_str());

  if (!Launch(world.exe, L"--profiles \"" + world.profiles + L"\" --config-dir \"" + world.config + L"\"")) return 1;

  StartUpShowsTheListAndItsFile();
  ASimulationNeedsACheckedProfile(world);
  TheTimerTakesItsOptionsFromTheNextTick();
  AClickedRowLoadsIntoTheEditor();
  EditAndSave(world);
  AProfileFileAnotherProgramHoldsIsNotLost(world);
  TokenMenusAddToTheTarget();
  TheTargetFromRecentFolders(world);
  TheRadiusSearchNeedsAReferencePoint();
  TheZipNameRefusesForbiddenCharacters();
  NewProfileAsksBeforeDiscarding(world);
  DeleteNeedsCheckedProfiles(world);
  AnotherProfileFileThenANewOne(world);
  StartingWithWindows(world);
  TextSearchInPlainFilesOnly(world);
  TheReferencePointNeedsCoordinates(world);
  if (!ShutDownAndNextStartKeepTheSettings(world)) return 1;

  RunLanguageScenario(world.exe, world.profiles, world.config);
  RunLogScenario(world.exe);
  RunWatchScenario(world.exe);
  RunUndoScenario(world.exe);
  RunRenameScenario(world.exe);

  std::printf("%s: %d Fehler\n", g_failures == 0 ? "BESTANDEN" : "FEHLGESCHLAGEN", g_failures);
  return g_failures == 0 ? 0 : 1;
}
