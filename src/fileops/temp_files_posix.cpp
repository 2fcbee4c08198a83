// Ledgers on Linux: held with an exclusive flock for the life of the process; the kernel lets
// the lock go when the process ends, however it ends.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "fileops/file_ops_internal.h"
#include "fileops/posix_fd.h"
#include "fileops/temp_files_internal.h"

namespace ablagix::temp_files_internal {

struct Ledger::Impl {
  UniqueFd fd;
};

Ledger::Ledger() : impl_(std::make_unique<Impl>()) {}
Ledger::~Ledger() = default;

bool Ledger::Create(const std::wstring& path) {
  // Locked under a name no cleaner looks at, then named: a cleaner never finds it unlocked.
  const std::string final = file_ops_internal::NativePath(path);
  const std::string temp = final + ".neu";
  impl_->fd.reset(::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600));
  if (!impl_->fd || ::flock(impl_->fd.get(), LOCK_EX | LOCK_NB) != 0 || ::rename(temp.c_str(), final.c_str()) != 0) {
    impl_->fd.reset();
    ::unlink(temp.c_str());
    return false;
  }
  return true;
}

bool Ledger::Append(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(impl_->fd.get(), bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

bool TakeAbandonedLedger(const std::wstring& path, std::string* content) {
  const std::string native = file_ops_internal::NativePath(path);
  UniqueFd fd(::open(native.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd || ::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return false;  // its process lives
  content->clear();
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    content->append(buffer, static_cast<std::size_t>(n));
  }
  ::unlink(native.c_str());
  return true;
}

}  // namespace ablagix::temp_files_internal
