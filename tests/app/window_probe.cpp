// Starts an Ablagix.exe from wherever it was put (an installed copy, an unpacked portable
// archive), checks that its main window appears with its four pages, saves a screenshot of it
// and closes it as a user would. tools/release --check runs it under Wine.
//
//   ablagix_window_probe ABLAGIX_EXE WORK_FOLDER SCREENSHOT_PNG
//
// The program runs without --config-dir, so it finds its settings folder as it would for a
// user; WORK_FOLDER only holds the scripted answers and the record of questions.
#include <windows.h>
#include <commctrl.h>

#include <cstdio>
#include <string>

#include "gui_driver.h"

using namespace gui;

int wmain(int argc, wchar_t** argv) {
  if (argc < 4) {
    std::printf("usage: ablagix_window_probe ABLAGIX_EXE WORK_FOLDER SCREENSHOT_PNG\n");
    return 2;
  }
  const std::wstring exe = WindowsPath(argv[1]);
  g_work = WindowsPath(argv[2]);
  const std::wstring screenshot = WindowsPath(argv[3]);
  CreateDirectoryW(g_work.c_str(), nullptr);
  DeleteFileW(Record().c_str());
  DeleteFileW(screenshot.c_str());
  Answer(L"");

  if (!Launch(exe, L"")) return 1;
  Check(IsWindowVisible(g_main) != FALSE, L"Hauptfenster sichtbar");
  RECT rect{};
  GetClientRect(g_main, &rect);
  Check(rect.right >= 600 && rect.bottom >= 400,
        L"Fenstergr\u00f6\u00dfe " + std::to_wstring(rect.right) + L"x" + std::to_wstring(rect.bottom));
  Check(SendMessageW(Control(kIdTabs), TCM_GETITEMCOUNT, 0, 0) == 4, L"vier Seiten");
  Check(CopyData(kCopyDataScreenshot, screenshot), L"Bildschirmfoto");

  // A window that Wine never drew would come out as one flat colour.
  Image image;
  const bool read = ReadPng(screenshot, &image);
  Check(read && image.width == rect.right && image.height == rect.bottom, L"Bildschirmfoto lesbar");
  if (read && !image.rgb.empty()) {
    bool varied = false;
    for (size_t at = 3; at < image.rgb.size() && !varied; ++at) varied = image.rgb[at] != image.rgb[at % 3];
    Check(varied, L"Bildschirmfoto zeigt etwas");
  }
  Check(TakeRecord().empty(), L"keine Meldung beim Start");
  Close();

  std::printf("%s: %d Fehler\n", g_failures == 0 ? "BESTANDEN" : "FEHLGESCHLAGEN", g_failures);
  return g_failures == 0 ? 0 : 1;
}
