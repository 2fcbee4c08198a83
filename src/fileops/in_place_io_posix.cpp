// POSIX implementation of in-place file access. "\" in a path separates folders like "/", as
// everywhere in the file layer.
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/text.h"
#include "fileops/in_place_io.h"
#include "fileops/file_ops_internal.h"
#include "fileops/posix_fd.h"
#include "fileops/posix_found.h"

namespace ablagix {
namespace {

using file_ops_internal::NativePath;

std::uint32_t Errno() { return static_cast<std::uint32_t>(errno); }

}  // namespace

struct InPlaceFile::Impl {
  UniqueHandle<FdTraits> fd;
};

InPlaceFile::InPlaceFile() : impl_(std::make_unique<Impl>()) {}
InPlaceFile::~InPlaceFile() = default;

bool InPlaceFile::Open(const FileRef& file) {
  impl_->fd.reset();
  // Never through a link (its target would be overwritten), never another file than the one
  // found; both are checked on what was opened.
  struct stat st;
  const FsStatus status = file_ops_internal::OpenFound(file, O_WRONLY, FsSide::kUnknown, &impl_->fd, &st);
  if (!status.ok()) {
    lastError_ = status.code != 0 ? status.code : static_cast<std::uint32_t>(status.error == FsError::kNotRegularFile ? EINVAL : ELOOP);
    impl_->fd.reset();
    return false;
  }
  return true;
}

bool InPlaceFile::Links(std::uint32_t* links) {
  struct stat st;
  if (::fstat(impl_->fd.get(), &st) != 0) {
    lastError_ = Errno();
    return false;
  }
  *links = static_cast<std::uint32_t>(st.st_nlink);
  return true;
}

FileId InPlaceFile::Identity() {
  struct stat st;
  return ::fstat(impl_->fd.get(), &st) == 0 ? file_ops_internal::IdOf(st) : FileId{};
}

bool InPlaceFile::Size(std::uint64_t* size) {
  struct stat st;
  if (::fstat(impl_->fd.get(), &st) != 0) {
    lastError_ = Errno();
    return false;
  }
  *size = static_cast<std::uint64_t>(st.st_size);
  return true;
}

bool InPlaceFile::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  return WriteAllAt(impl_->fd.get(), offset, data, size, EIO, &lastError_);
}

bool InPlaceFile::Flush() {
  if (::fsync(impl_->fd.get()) != 0) {
    lastError_ = Errno();
    return false;
  }
  return true;
}

void InPlaceFile::Close() { impl_->fd.reset(); }

struct ReadOnlyFile::Impl {
  UniqueHandle<FdTraits> fd;
};

ReadOnlyFile::ReadOnlyFile() : impl_(std::make_unique<Impl>()) {}
ReadOnlyFile::~ReadOnlyFile() = default;

bool ReadOnlyFile::Open(const std::wstring& path) {
  impl_->fd.reset(::open(NativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  size_ = 0;
  struct stat st;
  if (impl_->fd.get() < 0 || ::fstat(impl_->fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) {
    impl_->fd.reset();
    return false;
  }
  ::fcntl(impl_->fd.get(), F_SETFL, ::fcntl(impl_->fd.get(), F_GETFL) & ~O_NONBLOCK);
  size_ = static_cast<std::uint64_t>(st.st_size);
  return true;
}

bool ReadOnlyFile::OpenFound(const FileRef& file, FsStatus* status) {
  size_ = 0;
  struct stat st;
  const FsStatus opened = file_ops_internal::OpenFound(file, O_RDONLY, FsSide::kSource, &impl_->fd, &st);
  if (status) *status = opened;
  if (!opened.ok()) {
    impl_->fd.reset();
    return false;
  }
  size_ = static_cast<std::uint64_t>(st.st_size);
  return true;
}

bool ReadOnlyFile::Version(FileVersion* version, FileId* id, std::uint32_t* mode) {
  struct stat st;
  if (impl_->fd.get() < 0 || ::fstat(impl_->fd.get(), &st) != 0) return false;
  *version = file_ops_internal::VersionOf(st);
  if (id) *id = file_ops_internal::IdOf(st);
  if (mode) *mode = static_cast<std::uint32_t>(st.st_mode & 07777);
  return true;
}

bool ReadOnlyFile::ReadAt(std::uint64_t offset, std::size_t count, std::string* out) {
  out->clear();
  if (offset >= size_) return impl_->fd.get() >= 0;
  out->resize(static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset)));
  std::size_t got = 0;
  const bool ok = ReadInto(offset, out->data(), out->size(), &got);
  out->resize(ok ? got : 0);
  return ok;
}

bool ReadOnlyFile::ReadInto(std::uint64_t offset, char* buffer, std::size_t count, std::size_t* got) {
  *got = 0;
  if (impl_->fd.get() < 0) return false;
  if (offset >= size_) return true;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset));
  std::size_t done = 0;
  while (done < count) {
    ssize_t n = ::pread(impl_->fd.get(), buffer + done, count - done, static_cast<off_t>(offset + done));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return false;
    if (n == 0) break;
    done += static_cast<std::size_t>(n);
  }
  *got = done;
  return true;
}

void ReadOnlyFile::Close() { impl_->fd.reset(); }

bool IsSymbolicLink(const std::wstring& path) {
  struct stat st;
  return ::lstat(NativePath(path).c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

bool RenameNoReplace(const std::wstring& from, const std::wstring& to, std::uint32_t* error) {
  const std::string source = NativePath(from);
  const std::string target = NativePath(to);
  int rc = ::renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE);
  if (rc != 0 && (errno == EINVAL || errno == ENOSYS)) {
    // File systems without the atomic flag: check first. The gap between the check and the
    // rename is the best these offer.
    struct stat st;
    if (::lstat(target.c_str(), &st) == 0) {
      errno = EEXIST;
    } else {
      rc = ::rename(source.c_str(), target.c_str());
    }
  }
  if (rc != 0) {
    if (error) *error = Errno();
    return false;
  }
  return true;
}

bool IsAlreadyExistsError(std::uint32_t error) { return error == EEXIST; }

std::uint32_t LastSystemError() { return Errno(); }

}  // namespace ablagix
