#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "fileops/files_internal.h"
#include "fileops/posix_fd.h"
#include "fileops/run_lock.h"

namespace ablagix {

struct FolderRunLock::Impl {
  UniqueFd fd;
};

FolderRunLock::FolderRunLock() : impl_(std::make_unique<Impl>()) {}
FolderRunLock::~FolderRunLock() = default;

bool FolderRunLock::TryLockFile(const std::wstring& path) {
  impl_->fd.reset(::open(files_internal::NativePath(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  // A lock folder that cannot be written must not stop the runs: they only lose this guard.
  if (!impl_->fd) return true;
  if (::flock(impl_->fd.get(), LOCK_EX | LOCK_NB) == 0) return true;
  impl_->fd.reset();
  return false;
}

}  // namespace ablagix
