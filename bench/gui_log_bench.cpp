// How the window copes with a long log: a simulated run over a folder of many files from the
// "Simulieren" button, then scrolling through the rows and sorting them by header clicks.
// Every figure is the time from the request until the window has answered (and, for
// scrolling, painted).
//
//   ablagix_gui_log_bench ABLAGIX_EXE WORK_FOLDER SOURCE_FOLDER
#include <windows.h>
#include <commctrl.h>

#include <chrono>
#include <cstdio>
#include <string>

#include "gui_driver.h"

using namespace gui;

namespace {

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc < 4) {
    std::printf("usage: ablagix_gui_log_bench ABLAGIX_EXE WORK_FOLDER SOURCE_FOLDER\n");
    return 2;
  }
  const std::wstring exe = WindowsPath(argv[1]);
  g_work = WindowsPath(argv[2]);
  const std::wstring source = WindowsPath(argv[3]);
  CreateDirectoryW(g_work.c_str(), nullptr);
  CreateDirectoryW((g_work + L"\\screenshots").c_str(), nullptr);
  CreateDirectoryW((g_work + L"\\config").c_str(), nullptr);
  const std::wstring profiles = g_work + L"\\Gross.ini";
  WriteFileText(profiles, L"[Gross]\r\nQuelle=" + source + L"\r\nUnterverzeich=1\r\nFilter=Alles\r\nAktion=Kopieren\r\n"
                          L"Ziel=" + g_work + L"\\Ziel\\%DateGAYYYY%\r\nKollision=1\r\nCase=0\r\nZippen=0\r\n");
  if (!Launch(exe, L"--profiles \"" + profiles + L"\" --config-dir \"" + g_work + L"\\config\"")) return 1;
  ShowWindow(g_main, SW_MAXIMIZE);
  CheckRow(0, true);

  auto start = std::chrono::steady_clock::now();
  Click(kIdCommandButton4);
  const double run = Seconds(start);
  const int rows = LogRows();
  std::printf("simulierter Lauf: %d Zeilen in %.2f s\n", rows, run);
  Screenshot(L"grosses-log.png");

  start = std::chrono::steady_clock::now();
  const int jumps = 200;
  for (int i = 0; i < jumps; ++i) {
    const int row = static_cast<int>((static_cast<long long>(i) * 7919 * 13) % rows);
    CopyData(kCopyDataShowLogRow, std::to_wstring(row));
  }
  std::printf("Bl\xc3\xa4ttern: %d Spr\xc3\xbcnge mit Neuzeichnen, je %.1f ms\n", jumps, Seconds(start) * 1000 / jumps);

  for (int column : {0, 0, 1, 2, 3, 4, 6}) {
    start = std::chrono::steady_clock::now();
    ClickHeader(kIdExListviewLOG, column);
    CopyData(kCopyDataShowLogRow, L"0");
    std::printf("Sortieren nach Spalte %d: %.0f ms (%s)\n", column, Seconds(start) * 1000,
                Utf8(ListText(kIdExListviewLOG, 0, column)).c_str());
  }
  Screenshot(L"grosses-log-sortiert.png");
  Close();
  return g_failures == 0 ? 0 : 1;
}
