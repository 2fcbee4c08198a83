// The window in other languages: a language file made here switches a caption and a numbered
// message at once, English changes every page, the pages keep their layout in German and in
// English, and the choice holds for the next start.
#include <windows.h>
#include <commctrl.h>

#include <cstdio>
#include <string>
#include <vector>

#include "gui_driver.h"

namespace gui {
namespace {

std::wstring g_expected;

bool RunButtonReadsExpected() { return Text(kIdCommandButton13) == g_expected; }

// The entries of the language list, read one by one through the selection (which the list
// does not report).
std::vector<std::wstring> LanguageEntries() {
  HWND list = Control(kIdLanguage);
  const LRESULT current = SendMessageW(list, CB_GETCURSEL, 0, 0);
  std::vector<std::wstring> entries;
  const LRESULT count = SendMessageW(list, CB_GETCOUNT, 0, 0);
  for (LRESULT i = 0; i < count; ++i) {
    SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(i), 0);
    entries.push_back(Text(kIdLanguage));
  }
  SendMessageW(list, CB_SETCURSEL, static_cast<WPARAM>(current), 0);
  return entries;
}

// Picks a language as the user would and waits until the pages have been built anew.
bool ChooseLanguage(const std::wstring& name, const std::wstring& runCaption) {
  const std::vector<std::wstring> entries = LanguageEntries();
  for (size_t i = 0; i < entries.size(); ++i) {
    if (entries[i] != name) continue;
    PickComboEntry(kIdLanguage, static_cast<int>(i));
    g_expected = runCaption;
    return WaitFor(RunButtonReadsExpected);
  }
  return false;
}

std::wstring TabCaption(int page) {
  HWND tabs = Control(kIdTabs);
  struct Request {
    TCITEMW item;
    wchar_t text[256];
  };
  auto* remote = static_cast<Request*>(VirtualAllocEx(g_process, nullptr, sizeof(Request), MEM_COMMIT, PAGE_READWRITE));
  Request request{};
  request.item.mask = TCIF_TEXT;
  request.item.pszText = remote->text;
  request.item.cchTextMax = 256;
  WriteProcessMemory(g_process, remote, &request, sizeof request, nullptr);
  SendMessageW(tabs, TCM_GETITEMW, static_cast<WPARAM>(page), reinterpret_cast<LPARAM>(&remote->item));
  ReadProcessMemory(g_process, remote, &request, sizeof request, nullptr);
  VirtualFreeEx(g_process, remote, 0, MEM_RELEASE);
  return request.text;
}

}  // namespace

void CheckLayout(const std::wstring& language) {
  TakeRecord();
  Check(CopyData(kCopyDataCheckLayout, L""), L"Layoutpr\u00fcfung beantwortet");
  std::wstring faults;
  const std::wstring record = TakeRecord();
  for (size_t at = record.find(L"LAYOUT|"); at != std::wstring::npos; at = record.find(L"LAYOUT|", at + 1)) {
    faults += record.substr(at, record.find(L'\n', at) - at) + L"; ";
  }
  CheckEq(faults, L"", L"Layout " + language);
}

namespace {

void ScreenshotAllPages(const std::wstring& prefix) {
  const wchar_t* names[] = {L"profile-ausfuehren", L"profile-bearbeiten", L"einstellungen", L"log-dateien"};
  for (int page = 0; page < 4; ++page) {
    Check(SelectTab(page), L"Seite " + std::to_wstring(page));
    Screenshot(prefix + std::to_wstring(page + 1) + L"-" + names[page] + L".png");
  }
}

}  // namespace

void RunLanguageScenario(const std::wstring& exe, const std::wstring& profiles, const std::wstring& config) {
  const std::wstring languages = exe.substr(0, exe.rfind(L'\\')) + L"\\Languages";
  CreateDirectoryW(languages.c_str(), nullptr);
  const std::wstring testWords = languages + L"\\Testsprache.lng";
  const std::wstring testMessages = languages + L"\\Testsprache.txt";
  WriteFileText(testWords, L"[Common]\r\n&Ausf\u00fchren=&Los\r\nProfile ausf\u00fchren=Profile laufen lassen\r\n");
  WriteFileText(testMessages, L"[Messages]\r\n530=Beschreibung fehlt (Testsprache)\r\n");
  const std::wstring settingsFile = config + L"\\AblagixSetting.ini";
  const std::wstring arguments = L"--profiles \"" + profiles + L"\" --config-dir \"" + config + L"\"";
  if (!Launch(exe, arguments)) {
    Check(false, L"Start f\u00fcr die Sprachen");
    return;
  }
  TakeRecord();
  // The whole window on the screen, for the screenshots.
  SetWindowPos(g_main, nullptr, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  CheckLayout(L"Deutsch");

  // --- The list: the built-in German first, then every language file beside the program.
  Check(SelectTab(2), L"Einstellungen");
  const std::vector<std::wstring> entries = LanguageEntries();
  Check(entries.size() == 3 && entries[0] == L"Deutsch" && entries[1] == L"English" && entries[2] == L"Testsprache",
        L"Sprachliste: " + std::to_wstring(entries.size()) + L" Eintr\u00e4ge");
  CheckEq(Text(kIdLanguage), L"Deutsch", L"Deutsch gew\u00e4hlt");
  Screenshot(L"11-einstellungen-sprache.png");

  // --- A language file made here: its caption at once, the others stay German, and its message.
  Check(ChooseLanguage(L"Testsprache", L"&Los"), L"Beschriftung aus der Testsprache: " + Text(kIdCommandButton13));
  CheckEq(Text(kIdCommandButton4), L"&Simulieren", L"ohne \u00dcbersetzung bleibt das Deutsche");
  CheckEq(TabCaption(0), L"Profile laufen lassen", L"Registerkarte aus der Testsprache");
  Check(Has(ReadFileText(settingsFile), L"AXSprache=Testsprache"), L"Sprache gespeichert");
  Check(SelectTab(1), L"Editor");
  Answer(L"No\n");
  Click(kIdNewProfile);
  Click(kIdSaveProfile);
  Check(Has(TakeRecord(), L"MESSAGE|Critical|Beschreibung fehlt (Testsprache)"), L"Meldung 530 aus der Testsprache");

  // --- English: an unsaved edit survives the change; captions, list entries, tooltips and
  // messages speak English.
  SetTextOf(kIdDescription, L"Entwurf");
  Answer(L"No\n");  // leaving the editor asks about the draft; it stays in the field all the same
  Check(SelectTab(2), L"Einstellungen");
  TakeRecord();
  Check(ChooseLanguage(L"English", L"&Run"), L"englische Beschriftung: " + Text(kIdCommandButton13));
  CheckEq(TabCaption(1), L"Edit profiles", L"englische Registerkarte");
  CheckEq(Text(kIdLanguageLabel), L"&Language:", L"Bezeichnung der Sprachliste");
  CheckEq(Text(kIdLanguage), L"English", L"English gew\u00e4hlt");
  CheckEq(Text(kIdCommandButton6), L"Start &timer", L"Timer-Knopf");
  CheckEq(Text(kIdProfileFileLabel), L"= Profile.ini", L"Profildatei bleibt angezeigt");
  CheckEq(Text(kIdCombo11), L"Every 5 minutes", L"Intervall-Liste");
  CheckEq(Text(kIdTimerInfo), L"The timer runs the profiles checked above automatically every 5 minutes.",
          L"Infotext");
  CheckEq(TooltipText(kIdCommandButton13), L"Runs all profiles checked above", L"Tooltip");
  CheckEq(TooltipText(kIdFilterSave), L"Saves all file filters", L"Tooltip von Save");
  CheckEq(Text(kIdDescription), L"Entwurf", L"ungespeicherte Eingabe bleibt");
  CheckLayout(L"English");
  Check(SelectTab(1), L"Editor");
  Answer(L"No\n");
  Click(kIdNewProfile);
  CheckEq(Text(kIdInclude), L"All", L"Dateiendung zeigt All");
  Click(kIdSaveProfile);
  Check(Has(TakeRecord(), L"MESSAGE|Critical|Please enter a description!"), L"Meldung 530 auf Englisch");
  Check(SelectTab(0), L"Liste");
  SelectRow(0);
  ScreenshotAllPages(L"en-");

  // --- The next start speaks English again.
  Close();
  Check(Has(ReadFileText(settingsFile), L"AXSprache=English"), L"English gespeichert");
  if (!Launch(exe, arguments)) return;
  SetWindowPos(g_main, nullptr, 0, 0, 0, 0, SWP_NOSIZE | SWP_NOZORDER);
  CheckEq(Text(kIdCommandButton13), L"&Run", L"English beim n\u00e4chsten Start");
  CheckEq(TabCaption(3), L"Log files", L"englische Registerkarte beim Start");
  Check(SelectTab(2), L"Einstellungen");
  Check(ChooseLanguage(L"Deutsch", L"&Ausf\u00fchren"), L"zur\u00fcck zu Deutsch");
  Check(Has(ReadFileText(settingsFile), L"AXSprache=\r\n") || Has(ReadFileText(settingsFile), L"AXSprache=\n"),
        L"Deutsch gespeichert");
  Close();
  DeleteFileW(testWords.c_str());
  DeleteFileW(testMessages.c_str());
}

}  // namespace gui
