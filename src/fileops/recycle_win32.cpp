// The recycle bin on Windows: one shell file operation per path.
#include <windows.h>
#include <shellapi.h>

#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/recycle.h"

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
  return files_internal::FullPathText(p);
}

}  // namespace

bool DeleteThroughShell(const std::wstring& path, const ShellDeleteOptions& options,
                        bool* userAborted) {
  if (userAborted) *userAborted = false;
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
