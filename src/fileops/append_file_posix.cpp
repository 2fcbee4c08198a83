#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "fileops/append_file.h"
#include "fileops/file_ops_internal.h"
#include "fileops/posix_fd.h"

namespace ablagix {

struct AppendFile::Impl {
  UniqueFd fd;
};

AppendFile::AppendFile() : impl_(std::make_unique<Impl>()) {}
AppendFile::~AppendFile() = default;

bool AppendFile::Create(const std::wstring& path) {
  impl_->fd.reset(::open(file_ops_internal::NativePath(path).c_str(),
                         O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!impl_->fd || ::flock(impl_->fd.get(), LOCK_EX | LOCK_NB) != 0) {
    lastError_ = static_cast<std::uint32_t>(errno);
    impl_->fd.reset();
    return false;
  }
  return true;
}

AppendFile::Opened AppendFile::OpenExisting(const std::wstring& path) {
  impl_->fd.reset(::open(file_ops_internal::NativePath(path).c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW));
  if (!impl_->fd) {
    lastError_ = static_cast<std::uint32_t>(errno);
    return Opened::kFailed;
  }
  if (::flock(impl_->fd.get(), LOCK_EX | LOCK_NB) != 0) {
    lastError_ = static_cast<std::uint32_t>(errno);
    impl_->fd.reset();
    return lastError_ == EWOULDBLOCK ? Opened::kBusy : Opened::kFailed;
  }
  return Opened::kOk;
}

bool AppendFile::Append(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(impl_->fd.get(), bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      lastError_ = n < 0 ? static_cast<std::uint32_t>(errno) : static_cast<std::uint32_t>(ENOSPC);
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

bool AppendFile::Flush() {
  if (::fsync(impl_->fd.get()) == 0) return true;
  lastError_ = static_cast<std::uint32_t>(errno);
  return false;
}

void AppendFile::Close() { impl_->fd.reset(); }

bool AppendFile::isOpen() const { return static_cast<bool>(impl_->fd); }

}  // namespace ablagix
