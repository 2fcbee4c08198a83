// Renaming by template in the window: the editor loads "Umbenennen" with its new name and shows
// what a file of the source would be called, live as the template changes; a token from the
// menus goes into the name where the caret is; the profile saves its template; the run renames
// and the log says so.
#include <windows.h>

#include <string>

#include "gui_driver.h"

namespace gui {
namespace {

bool Exists(const std::wstring& path) { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

// Gives `path` a local change time, so that the date in its new name is known.
void SetLocalChangeTime(const std::wstring& path, WORD year, WORD month, WORD day) {
  SYSTEMTIME local{};
  local.wYear = year;
  local.wMonth = month;
  local.wDay = day;
  local.wHour = 12;
  FILETIME localTime{}, utc{};
  SystemTimeToFileTime(&local, &localTime);
  LocalFileTimeToFileTime(&localTime, &utc);
  HANDLE file = CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
  SetFileTime(file, nullptr, nullptr, &utc);
  CloseHandle(file);
}

}  // namespace

void RunRenameScenario(const std::wstring& exe) {
  const std::wstring root = g_work + L"\\Umbenennen";
  const std::wstring fotos = root + L"\\Fotos";
  const std::wstring config = root + L"\\config";
  for (const wchar_t* folder : {L"", L"\\Fotos", L"\\config"}) CreateDirectoryW((root + folder).c_str(), nullptr);
  // A repeated test starts as the first one did.
  DeleteFileW((fotos + L"\\2024-05-17 Urlaub 001.jpg").c_str());
  DeleteFileW((config + L"\\AblagixSetting.ini").c_str());
  WriteFileText(fotos + L"\\IMG_0042.jpg", L"Bild");
  SetLocalChangeTime(fotos + L"\\IMG_0042.jpg", 2024, 5, 17);
  const std::wstring profiles = root + L"\\Profile.ini";
  const std::wstring zielname = L"%Ge\u00e4ndert*yyyy-mm-dd% Urlaub %Nr*000%";
  WriteFileText(profiles, L"[Fotos umbenennen]\r\nQuelle=" + fotos + L"\r\nUnterverzeich=0\r\nFilter=Alles\r\n"
                          L"Aktion=Umbenennen\r\nZielname=" + zielname + L"\r\nKollision=1\r\nCase=0\r\nZippen=0\r\n");
  if (!Launch(exe, L"--profiles \"" + profiles + L"\" --config-dir \"" + config + L"\"")) {
    Check(false, L"Start f\u00fcr das Umbenennen");
    return;
  }
  SetWindowPos(g_main, nullptr, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  TakeRecord();

  // --- The editor: the action, the template and the name it gives the file of the source.
  SelectRow(0);
  SelectTab(1);
  Check(IsOn(kIdActionFirst + 6), L"Aktion Umbenennen");
  CheckEq(Text(kIdNewName), zielname, L"Neuer Name");
  CheckEq(Text(kIdNewNameExample), L"Beispiel: IMG_0042.jpg \u2192 2024-05-17 Urlaub 001.jpg", L"Beispiel");
  SetTextOf(kIdNewName, L"%Name%: Kopie ");
  CheckEq(Text(kIdNewNameExample), L"Beispiel: IMG_0042.jpg \u2192 IMG_0042_ Kopie.jpg",
          L"Beispiel folgt dem Muster, ohne verbotene Zeichen");
  // A token goes where the caret is, not as a folder level, and the target stays as it was.
  HWND field = Control(kIdNewName);
  SendMessageW(GetParent(field), WM_COMMAND, MAKEWPARAM(kIdNewName, EN_SETFOCUS), reinterpret_cast<LPARAM>(field));
  const LRESULT end = SendMessageW(Control(kIdNewName), WM_GETTEXTLENGTH, 0, 0);
  SendMessageW(Control(kIdNewName), EM_SETSEL, static_cast<WPARAM>(end), end);
  SendMessageW(g_main, WM_COMMAND, MAKEWPARAM(kIdTokenMenuBase + 100 + 6, 0), 0);  // "%Nr*000%"
  CheckEq(Text(kIdNewName), L"%Name%: Kopie %Nr*000%", L"Variable im neuen Namen");
  CheckEq(Text(kIdTxtName), L"", L"Zielverzeichnis unber\u00fchrt");
  CheckEq(Text(kIdNewNameExample), L"Beispiel: IMG_0042.jpg \u2192 IMG_0042_ Kopie 001.jpg", L"Beispiel mit Nummer");

  // --- Back to the first template, saved: the profile keeps it and its collision policy.
  SetTextOf(kIdNewName, zielname);
  Click(kIdSaveProfile);
  const std::wstring saved = Section(profiles, L"Fotos umbenennen");
  Check(Has(saved, L"Aktion=Umbenennen") && Has(saved, L"Zielname=" + zielname) && Has(saved, L"Kollision=1"),
        L"gespeichertes Profil: " + saved);
  Screenshot(L"16-profil-umbenennen.png");

  // --- The run renames, and the log says so.
  SelectTab(0);
  CheckRow(0, true);
  Click(kIdCommandButton13);
  Check(Exists(fotos + L"\\2024-05-17 Urlaub 001.jpg") && !Exists(fotos + L"\\IMG_0042.jpg"), L"Datei umbenannt");
  SelectTab(3);
  bool renamedRow = false;
  for (int row = 0; row < LogRows(); ++row) {
    if (ListText(kIdExListviewLOG, row, 0) == L"IMG_0042.jpg") {
      renamedRow = ListText(kIdExListviewLOG, row, 6) == L"Umbenannt" &&
                   ListText(kIdExListviewLOG, row, 13) == fotos + L"\\2024-05-17 Urlaub 001.jpg";
    }
  }
  Check(renamedRow, L"Logzeile \"Umbenannt\" mit dem neuen Namen");
  Screenshot(L"17-log-nach-umbenennen.png");
  Close();
}

}  // namespace gui
