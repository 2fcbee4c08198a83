// The means by which the GUI tests drive the real Ablagix window from another process, as a
// user would click it: control lookup by number, texts, clicks, list and header messages
// through the program's memory, the scripted answers and the record of questions asked.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <cstdint>
#include <string>
#include <vector>

#include "app/control_ids.h"

namespace gui {

using namespace ablagix::app;

extern int g_failures;
extern HWND g_main;
extern HANDLE g_process;
extern std::wstring g_work;

std::string Utf8(const std::wstring& text);
std::wstring Wide(const std::string& text);
void Check(bool ok, const std::wstring& what);
void CheckEq(const std::wstring& actual, const std::wstring& expected, const std::wstring& what);
// Linux paths from CTest become Wine's Z: drive.
std::wstring WindowsPath(std::wstring path);
// UTF-8 with a byte-order mark.
void WriteFileText(const std::wstring& path, const std::wstring& text);
void WriteFileBytes(const std::wstring& path, const std::string& bytes);
std::wstring ReadFileText(const std::wstring& path);
// The text of one INI section, "" when it is missing.
std::wstring Section(const std::wstring& file, const std::wstring& name);
bool Has(const std::wstring& text, const std::wstring& part);

HWND Control(int id);
std::wstring Text(int id);
void SetTextOf(int id, const std::wstring& text);
bool IsOn(int id);
// A click as the button reports it to its window.
void Click(int id);
int Rows();
int LogRows();
void SetItemState(int row, UINT state, UINT mask, int list = kIdProfileList);
void SelectRow(int row, int list = kIdProfileList);
// Check mark of a profile row.
void CheckRow(int row, bool on);
// The text of one cell of a list in the program (owner-data lists answer this too).
std::wstring ListText(int id, int row, int column);
bool RowChecked(int id, int row);
RECT ItemRect(int id, int row);
int HeaderFormat(int id, int column);
// Mouse down and up on a column header, so the list reports the click itself.
void ClickHeader(int id, int column);
void DoubleClickRow(int id, int row);
void PickComboEntry(int id, int position);
// The grey hint an empty edit field shows.
std::wstring CueBanner(int id);
// The tooltip the program shows for a control, "" when it has none.
std::wstring TooltipText(int id);
// Asks again every 50 ms until `done` or about ten seconds have passed.
bool WaitFor(bool (*done)());

bool CopyData(unsigned long kind, const std::wstring& text);
bool SelectTab(int page);
void Screenshot(const std::wstring& name);

std::wstring Answers();
std::wstring Record();
void Answer(const std::wstring& lines);
// What the program asked since the last call.
std::wstring TakeRecord();

// Starts Ablagix.exe with the scripted dialogs and waits for its main window.
bool Launch(const std::wstring& exe, const std::wstring& arguments);
// Closes the window as the user would and waits for the program to end.
void Close();

struct Image {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> rgb;  // top-down rows of red, green, blue
};
bool ReadPng(const std::wstring& path, Image* image);

// The window's own check of all four pages: every caption fits its control, nothing covers
// anything else, nothing reaches beyond the page.
void CheckLayout(const std::wstring& language);

// The scenario of the log page, run after the profile scenario.
void RunLogScenario(const std::wstring& exe);
// The window in another language: a language file made here, English, and the layout in both.
// "Letzten Lauf rückgängig machen" after a real run.
void RunUndoScenario(const std::wstring& exe);
void RunRenameScenario(const std::wstring& exe);
void RunLanguageScenario(const std::wstring& exe, const std::wstring& profiles, const std::wstring& config);
// "Überwachung starten": a file dropped into a watched folder is handled while the window waits.
void RunWatchScenario(const std::wstring& exe);

}  // namespace gui
