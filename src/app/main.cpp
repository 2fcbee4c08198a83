// Ablagix.exe: parses the command line, picks the real or the scripted dialogs, and runs the
// main window's message loop.
//
//   Ablagix.exe [--profiles FILE] [--config-dir DIR] [--test-ui ANSWERS RECORD]
#include <windows.h>
#include <commctrl.h>
#include <objbase.h>
#include <shellapi.h>

#include <memory>
#include <string>

#include "app/app_ui.h"
#include "app/main_window.h"
#include "fileops/win32_handle.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int showCommand) {
  using namespace ablagix::app;
  StartOptions options;
  std::wstring answers;
  std::wstring record;
  int argc = 0;
  wchar_t** argv = CommandLineToArgvW(GetCommandLineW(), &argc);
  const ablagix::UniqueLocalMemory argvMemory(argv);
  for (int i = 1; argv && i < argc; ++i) {
    std::wstring arg = argv[i];
    if (arg == L"--profiles" && i + 1 < argc) {
      options.profilesFile = argv[++i];
    } else if (arg == L"--config-dir" && i + 1 < argc) {
      options.configFolder = argv[++i];
    } else if (arg == L"--test-ui" && i + 2 < argc) {
      options.testUi = true;
      answers = argv[++i];
      record = argv[++i];
    }
  }

  // COM for the folder chooser; only undone when it was done here.
  const ablagix::ComApartment com(COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  INITCOMMONCONTROLSEX controls{sizeof controls, ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES |
                                                     ICC_TAB_CLASSES | ICC_UPDOWN_CLASS | ICC_BAR_CLASSES |
                                                     ICC_PROGRESS_CLASS};
  InitCommonControlsEx(&controls);

  std::unique_ptr<AppUi> ui = options.testUi ? MakeScriptedUi(answers, record) : MakeWindowsUi(instance);
  int exitCode = 1;
  {
    MainWindow window(instance, options, *ui);
    if (window.Create(showCommand)) {
      MSG message;
      while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (!window.PreTranslate(&message)) {
          TranslateMessage(&message);
          DispatchMessageW(&message);
        }
      }
      exitCode = static_cast<int>(message.wParam);
    }
  }
  return exitCode;
}
