// POSIX implementation of the output file. "\" in a path separates folders like "/".
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/text.h"
#include "fileops/file_ops_internal.h"
#include "fileops/output_file.h"
#include "fileops/posix_fd.h"

namespace ablagix {
namespace {

using file_ops_internal::NativePath;

std::uint32_t Errno() { return static_cast<std::uint32_t>(errno); }

constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kEpochDifference = 11644473600;  // seconds from 1601 to 1970

}  // namespace

struct OutputFile::Impl {
  UniqueFd fd;
  std::uint32_t created = 0600;
};

OutputFile::OutputFile() : impl_(std::make_unique<Impl>()) {}
OutputFile::~OutputFile() = default;

bool OutputFile::Create(const std::wstring& path) {
  impl_->fd.reset(::open(NativePath(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
  if (!impl_->fd) {
    lastError_ = Errno();
    return false;
  }
  struct stat st;
  impl_->created = ::fstat(impl_->fd.get(), &st) == 0 ? static_cast<std::uint32_t>(st.st_mode & 07777) : 0600;
  return true;
}

bool OutputFile::SetPermissions(std::uint32_t mode) {
  if (::fchmod(impl_->fd.get(), static_cast<mode_t>(mode & 07777)) != 0) {
    lastError_ = Errno();
    return false;
  }
  return true;
}

std::uint32_t OutputFile::CreatedPermissions() const { return impl_->created; }

bool OutputFile::Unhide() { return true; }  // a name that starts with "." is all there is to it

bool OutputFile::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  return WriteAllAt(impl_->fd.get(), offset, data, size, ENOSPC, &lastError_);
}

bool OutputFile::SetSize(std::uint64_t size) {
  if (::ftruncate(impl_->fd.get(), static_cast<off_t>(size)) != 0) {
    lastError_ = Errno();
    return false;
  }
  return true;
}

bool OutputFile::Flush() {
  if (::fsync(impl_->fd.get()) != 0) {
    lastError_ = Errno();
    return false;
  }
  return true;
}

void OutputFile::Close() { impl_->fd.reset(); }
bool OutputFile::isOpen() const { return static_cast<bool>(impl_->fd); }

bool RenameReplacing(const std::wstring& from, const std::wstring& to, std::uint32_t* error) {
  if (::rename(NativePath(from).c_str(), NativePath(to).c_str()) == 0) return true;
  if (error) *error = Errno();
  return false;
}

bool GetLastWriteTime(const std::wstring& path, FileTime* time) {
  struct stat st;
  if (::stat(NativePath(path).c_str(), &st) != 0) return false;
  *time = (st.st_mtim.tv_sec + kEpochDifference) * kTicksPerSecond + st.st_mtim.tv_nsec / 100;
  return true;
}

bool CreateSparseFile(const std::wstring& path, std::uint64_t size) {
  UniqueFd fd(::open(NativePath(path).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  return fd && ::ftruncate(fd.get(), static_cast<off_t>(size)) == 0;
}

}  // namespace ablagix
