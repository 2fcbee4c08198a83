// ablagix-sfx.exe: extracts the zip archive appended to its own file.
//
//   Archiv.exe                      a window asks for the target folder
//   Archiv.exe /S /D=C:\Ziel Ordner  no window; /D= comes last and may hold blanks
//
// Silently nothing is ever replaced: an entry whose name is taken is stored numbered
// ("Bericht(1).docx"). Exit codes: 0 all extracted; 1 some entries refused or not written; 2 the
// archive is damaged or missing; 3 the target folder cannot be created; 4 cancelled.
#include <windows.h>
#include <objbase.h>

#include <string>

#include "base/text.h"
#include "fileops/win32_handle.h"
#include "sfx/sfx_extract.h"
#include "sfx/sfx_window.h"
#include "zip/sfx_archive.h"

using namespace ablagix;

namespace {

struct Arguments {
  bool silent = false;
  std::wstring folder;
};

// The command line after the program's own name, read by hand: /D= takes the rest of the line
// with its blanks, as installers do.
Arguments ParseArguments(std::wstring_view line) {
  Arguments args;
  if (!line.empty() && line.front() == L'"') {
    const std::size_t close = line.find(L'"', 1);
    line.remove_prefix(close == std::wstring_view::npos ? line.size() : close + 1);
  } else {
    const std::size_t blank = line.find_first_of(L" \t");
    line.remove_prefix(blank == std::wstring_view::npos ? line.size() : blank);
  }
  for (;;) {
    line = Trim(line);
    if (line.empty()) break;
    if (StartsWithNoCase(line, L"/D=")) {
      std::wstring_view folder = Trim(line.substr(3));
      if (folder.size() >= 2 && folder.front() == L'"' && folder.back() == L'"') folder = folder.substr(1, folder.size() - 2);
      args.folder = folder;
      break;
    }
    const std::size_t end = line.find_first_of(L" \t");
    const std::wstring_view word = line.substr(0, end);
    if (EqualsNoCase(word, L"/S")) args.silent = true;
    line.remove_prefix(end == std::wstring_view::npos ? line.size() : end);
  }
  return args;
}

std::wstring OwnPath() {
  std::wstring path(32768, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
  path.resize(length);
  return path;
}

}  // namespace

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int) {
  const Arguments args = ParseArguments(GetCommandLineW());
  const std::wstring self = OwnPath();
  const std::wstring ownFolder = self.substr(0, self.find_last_of(L"\\/") + 1);

  const UniqueFile file(CreateFileW(self.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_RANDOM_ACCESS, nullptr));
  std::vector<SfxText> texts;
  sfx::HandleSource source(file.get());
  const bool readable = file && ReadSfxTexts(source, &texts);
  if (args.silent) {
    if (!readable) return 2;
    return sfx::ExitCode(sfx::ExtractArchive(source, args.folder.empty() ? ownFolder : args.folder, {}));
  }
  if (!readable) {
    const std::vector<SfxText> fallback = StandardSfxTexts();
    MessageBoxW(nullptr, L"Das Archiv ist besch\u00e4digt oder unvollst\u00e4ndig.",
                SfxTextValue(fallback, "Title", L"").c_str(), MB_OK | MB_ICONERROR);
    return 2;
  }
  const ComApartment com(COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
  return sfx::RunWindow(instance, source, texts, args.folder.empty() ? ownFolder : args.folder);
}
