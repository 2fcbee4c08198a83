#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "fileops/file_ops_internal.h"
#include "fileops/posix_fd.h"
#include "fileops/run_lock.h"

namespace ablagix {

struct FolderRunLock::Impl {
  UniqueFd fd;
};

FolderRunLock::FolderRunLock() : impl_(std::make_unique<Impl>()) {}
FolderRunLock::~FolderRunLock() = default;

FolderRunLock::Taken FolderRunLock::TryLockFile(const std::wstring& path) {
  impl_->fd.reset(::open(file_ops_internal::NativePath(path).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!impl_->fd) return Taken::kNoFile;
  if (::flock(impl_->fd.get(), LOCK_EX | LOCK_NB) == 0) return Taken::kYes;
  impl_->fd.reset();
  return Taken::kBusy;
}

}  // namespace ablagix
