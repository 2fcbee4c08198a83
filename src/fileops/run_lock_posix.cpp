#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "base/text.h"
#include "fileops/file_system.h"
#include "fileops/files_internal.h"
#include "fileops/path_text.h"
#include "fileops/posix_fd.h"
#include "fileops/run_lock.h"

namespace ablagix {

struct FolderRunLock::Impl {
  UniqueFd fd;
};

FolderRunLock::FolderRunLock() : impl_(std::make_unique<Impl>()) {}
FolderRunLock::~FolderRunLock() = default;

bool FolderRunLock::TryLock(const std::wstring& lockFolder, const std::wstring& folder) {
  FileInfo info;
  if (lockFolder.empty() || !ActiveFileSystem().Inspect(folder, &info).ok() || !info.id.known()) return true;
  CreateFolders(lockFolder);
  const std::wstring name = NumberText(info.id.volume) + L"-" + NumberText(info.id.file) + L".lock";
  impl_->fd.reset(::open(files_internal::NativePath(JoinPath(lockFolder, name)).c_str(),
                         O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  // A lock folder that cannot be written must not stop the runs: they only lose this guard.
  if (!impl_->fd) return true;
  if (::flock(impl_->fd.get(), LOCK_EX | LOCK_NB) == 0) return true;
  impl_->fd.reset();
  return false;
}

}  // namespace ablagix
