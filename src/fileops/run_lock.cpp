#include "fileops/run_lock.h"

#include "base/text.h"
#include "fileops/file_system.h"
#include "fileops/path_text.h"

namespace ablagix {

bool FolderRunLock::TryLock(const std::wstring& lockFolder, const std::wstring& folder) {
  FileInfo info;
  if (lockFolder.empty() || !ActiveFileSystem().Inspect(folder, &info).ok() || !info.id.known()) return true;
  CreateFolders(lockFolder);
  return TryLockFile(JoinPath(lockFolder, NumberText(info.id.volume) + L"-" + NumberText(info.id.file) + L".lock"));
}

}  // namespace ablagix
