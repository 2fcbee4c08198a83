#include "fileops/run_lock.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "base/text.h"
#include "fileops/file_system_seam.h"
#include "fileops/path_text.h"

namespace ablagix {

bool FolderRunLock::TryLock(const std::wstring& lockFolder, const std::wstring& folder) {
  FileInfo info;
  if (lockFolder.empty() || !ActiveFileSystem().Inspect(folder, &info).ok() || !info.id.known()) return true;
  const std::wstring path = JoinPath(lockFolder, NumberText(info.id.volume) + L"-" + NumberText(info.id.file) + L".lock");
  // Two programs that start together make the lock folder together: one may find a level
  // made by the other and not yet the next, so a missing folder is made again before the
  // lock is given up as unwritable.
  for (int attempt = 0; attempt < 20; ++attempt) {
    CreateFolders(lockFolder);
    switch (TryLockFile(path)) {
      case Taken::kYes: return true;
      case Taken::kBusy: return false;
      case Taken::kNoFile:
        if (FolderExists(lockFolder)) attempt = std::max(attempt, 17);  // a real failure: a few more tries
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        break;
    }
  }
  // A lock folder that cannot be written must not stop the runs: they only lose this guard.
  return true;
}

}  // namespace ablagix
