#include <windows.h>
#include <shellapi.h>

#include <cstdio>

#include "base/abort_flag.h"
#include "base/text.h"
#include "cli/console.h"
#include "fileops/win32_handle.h"

namespace ablagix::cli {
namespace {

void Write(DWORD which, FILE* stream, std::wstring_view text) {
  HANDLE handle = GetStdHandle(which);
  DWORD mode = 0;
  if (handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode)) {
    std::fflush(stream);
    DWORD written = 0;
    WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
    return;
  }
  // Redirected into a file or pipe: UTF-8, which every modern tool reads.
  std::string bytes = ToUtf8(text);
  std::fwrite(bytes.data(), 1, bytes.size(), stream);
}

BOOL WINAPI OnConsoleEvent(DWORD event) {
  if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
    RequestAbort();
    return TRUE;
  }
  return FALSE;
}

}  // namespace

std::vector<std::wstring> Arguments(int, char**) {
  std::vector<std::wstring> args;
  int count = 0;
  LPWSTR* argv = CommandLineToArgvW(GetCommandLineW(), &count);
  if (!argv) return args;
  const UniqueLocalMemory owned(argv);
  for (int i = 1; i < count; ++i) args.emplace_back(argv[i]);
  return args;
}

void WriteOut(std::wstring_view text) { Write(STD_OUTPUT_HANDLE, stdout, text); }

void WriteOutUtf8(std::string_view bytes) {
  DWORD mode = 0;
  HANDLE handle = GetStdHandle(STD_OUTPUT_HANDLE);
  // A real console shows wide text right; a file or pipe takes the bytes as they are.
  if (handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode)) {
    WriteOut(FromUtf8(bytes));
    return;
  }
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

void WriteErr(std::wstring_view text) {
  std::fflush(stdout);
  Write(STD_ERROR_HANDLE, stderr, text);
}

namespace {
bool IsConsole(DWORD which) {
  DWORD mode = 0;
  HANDLE h = GetStdHandle(which);
  return h != INVALID_HANDLE_VALUE && GetConsoleMode(h, &mode);
}
}  // namespace

bool StandardInputIsTerminal() { return IsConsole(STD_INPUT_HANDLE); }
bool StandardErrorIsTerminal() { return IsConsole(STD_ERROR_HANDLE); }

void InstallInterruptHandler() { SetConsoleCtrlHandler(OnConsoleEvent, TRUE); }

}  // namespace ablagix::cli
