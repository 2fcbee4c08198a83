// The recycle bin on Windows: one shell file operation per path.
#include <windows.h>
#include <sddl.h>
#include <shellapi.h>

#include "base/environment.h"
#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"
#include "fileops/recycle_internal.h"
#include "fileops/win32_handle.h"

namespace ablagix {
namespace {

// The shell takes neither "\\?\" forms nor "/" nor relative paths: a relative path would be
// read against whatever folder the shell thinks is current.
std::wstring ShellPath(const std::wstring& path) {
  std::wstring p = path;
  if (p.starts_with(L"\\\\?\\UNC\\")) {
    p = L"\\\\" + p.substr(8);
  } else if (p.starts_with(L"\\\\?\\")) {
    p = p.substr(4);
  }
  return file_ops_internal::FullPathText(p);
}

// Wine's shell keeps recycled files in the freedesktop.org trash of the Linux user.
bool UnderWine() {
  HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

// The Linux path Wine records for a Windows path, as UTF-8 bytes; "" when it cannot say.
std::string WineUnixPath(const std::wstring& path) {
  using Convert = char*(__cdecl*)(const wchar_t*);
  HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
  auto convert = kernel ? reinterpret_cast<Convert>(reinterpret_cast<void*>(GetProcAddress(kernel, "wine_get_unix_file_name")))
                        : nullptr;
  if (!convert) return {};
  char* unixPath = convert(path.c_str());
  if (!unixPath) return {};
  std::string out = unixPath;
  HeapFree(GetProcessHeap(), 0, unixPath);
  return out;
}

// The trash folders Wine may use: below the Linux $XDG_DATA_HOME, or ~/.local/share.
std::vector<std::wstring> WineTrashFolders() {
  std::vector<std::wstring> folders;
  auto add = [&](std::wstring folder) {
    for (auto& c : folder) {
      if (c == L'/') c = L'\\';
    }
    if (FolderExists(folder)) folders.push_back(folder);
  };
  for (const wchar_t* name : {L"WINE_HOST_XDG_DATA_HOME", L"XDG_DATA_HOME"}) {
    const std::wstring data = EnvironmentValue(name);
    if (data.starts_with(L"/")) add(L"\\\\?\\unix" + data + L"/Trash");
  }
  std::wstring home = EnvironmentValue(L"WINEHOMEDIR");
  if (home.starts_with(L"\\??\\")) home.replace(0, 4, L"\\\\?\\");
  if (!home.empty()) add(home + L"/.local/share/Trash");
  return folders;
}

// "S-1-5-21-...", the folder name of this user's part of a drive's recycle bin.
std::wstring UserSidText() {
  HANDLE raw = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw)) return {};
  UniqueFile token(raw);
  DWORD needed = 0;
  GetTokenInformation(token.get(), TokenUser, nullptr, 0, &needed);
  if (needed == 0) return {};
  std::string buffer(needed, '\0');
  if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), needed, &needed)) return {};
  const auto* user = reinterpret_cast<const TOKEN_USER*>(buffer.data());
  wchar_t* text = nullptr;
  if (!ConvertSidToStringSidW(user->User.Sid, &text)) return {};
  std::wstring sid = text;
  LocalFree(text);
  return sid;
}

}  // namespace

namespace recycle_internal {

std::vector<BinLocation> BinLocationsFor(const std::wstring& path) {
  std::vector<BinLocation> bins;
  const std::wstring full = ShellPath(path);
  if (UnderWine()) {
    const std::string recorded = WineUnixPath(full);
    if (recorded.empty()) return bins;
    for (const std::wstring& folder : WineTrashFolders()) bins.push_back({BinLocation::Kind::kTrash, folder, recorded, {}});
    return bins;
  }
  // Only drives with a letter have a recycle bin; network paths are deleted for good.
  if (full.size() < 3 || full[1] != L':' || full[2] != L'\\') return bins;
  const std::wstring sid = UserSidText();
  if (sid.empty()) return bins;
  const std::wstring folder = full.substr(0, 3) + L"$Recycle.Bin\\" + sid;
  if (FolderExists(folder)) bins.push_back({BinLocation::Kind::kWindowsBin, folder, {}, full});
  return bins;
}

}  // namespace recycle_internal

bool DeleteThroughShell(const std::wstring& path, const ShellDeleteOptions& options,
                        bool* userAborted) {
  if (userAborted) *userAborted = false;
  // The shell reads a path as Windows normalises it: "trail." would send "trail", another
  // file, away. Such a name is refused; the caller says why.
  if (WindowsRewritesName(NamePart(path))) return false;
  // pFrom is a list of paths, each ended by a zero, the list by a second zero.
  std::wstring from = ShellPath(path);
  from.push_back(L'\0');

  FILEOP_FLAGS flags = 0;
  if (options.recycle) {
    // Without the warning the shell deletes for good, silently, whatever does not fit into
    // the recycle bin (network drives, very large files). The user asked for the bin, so the
    // shell has to ask before that.
    flags |= FOF_ALLOWUNDO | FOF_WANTNUKEWARNING;
  }
  if (!options.showProgress) flags |= FOF_SILENT;
  if (!options.confirm) flags |= FOF_NOCONFIRMATION;
  if (options.simpleProgress) flags |= FOF_SIMPLEPROGRESS;
  if (!options.showErrors) flags |= FOF_NOERRORUI;

  SHFILEOPSTRUCTW op{};
  op.hwnd = static_cast<HWND>(options.ownerWindow);
  op.wFunc = FO_DELETE;
  op.pFrom = from.c_str();
  op.fFlags = flags;
  const int rc = SHFileOperationW(&op);
  if (userAborted) *userAborted = op.fAnyOperationsAborted != FALSE;
  // The result code alone is not trusted: what counts is that the path is gone.
  return rc == 0 && !op.fAnyOperationsAborted && !PathExists(path);
}

}  // namespace ablagix
