// POSIX implementation of the file system layer. Names are UTF-8 on disk; "\" in a path
// separates folders just like "/", so profile paths written on Windows work here too.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/text.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/posix_fd.h"

namespace ablagix {

namespace files_internal {

std::string NativePath(const std::wstring& path) {
  std::string out = ToUtf8(path);
  for (char& c : out) {
    if (c == '\\') c = '/';
  }
  return out;
}

}  // namespace files_internal

namespace {

using files_internal::NativePath;


constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kEpochDifference = 11644473600;  // seconds from 1601 to 1970


FileTime ToFileTime(std::int64_t seconds, std::int64_t nanoseconds) {
  return (seconds + kEpochDifference) * kTicksPerSecond + nanoseconds / 100;
}

std::uint32_t AttributesOf(mode_t mode, std::string_view name) {
  std::uint32_t attributes = 0;
  if (S_ISLNK(mode)) attributes |= kAttrReparsePoint;
  if (S_ISDIR(mode)) attributes |= kAttrDirectory;
  if ((mode & S_IWUSR) == 0 && !S_ISLNK(mode)) attributes |= kAttrReadOnly;
  if (!name.empty() && name[0] == '.' && name != "." && name != "..") attributes |= kAttrHidden;
  if (!S_ISDIR(mode) && !S_ISREG(mode) && !S_ISLNK(mode)) attributes |= kAttrSystem;
  if (attributes == 0) attributes = kAttrNormal;
  return attributes;
}

bool StatNoFollow(int dirFd, const char* name, DirEntry* entry) {
  struct statx sx;
  if (statx(dirFd, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx) == 0) {
    entry->size = S_ISDIR(sx.stx_mode) ? 0 : sx.stx_size;
    entry->lastWrite = ToFileTime(sx.stx_mtime.tv_sec, sx.stx_mtime.tv_nsec);
    // Not every file system records a birth time; the change time is the closest stand-in.
    entry->creation = (sx.stx_mask & STATX_BTIME)
                          ? ToFileTime(sx.stx_btime.tv_sec, sx.stx_btime.tv_nsec)
                          : ToFileTime(sx.stx_ctime.tv_sec, sx.stx_ctime.tv_nsec);
    entry->attributes = AttributesOf(sx.stx_mode, name);
    return true;
  }
  struct stat st;
  if (fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
  entry->size = S_ISDIR(st.st_mode) ? 0 : static_cast<std::uint64_t>(st.st_size);
  entry->lastWrite = ToFileTime(st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
  entry->creation = ToFileTime(st.st_ctim.tv_sec, st.st_ctim.tv_nsec);
  entry->attributes = AttributesOf(st.st_mode, name);
  return true;
}

bool StatPath(const std::wstring& path, struct stat* st) {
  return ::stat(NativePath(path).c_str(), st) == 0;
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace

struct FolderReader::Impl {
  DIR* dir = nullptr;
  ~Impl() {
    if (dir) closedir(dir);
  }
};

FolderReader::FolderReader() : impl_(std::make_unique<Impl>()) {}
FolderReader::~FolderReader() = default;

bool FolderReader::Open(const std::wstring& folder) {
  if (impl_->dir) {
    closedir(impl_->dir);
    impl_->dir = nullptr;
  }
  int fd = ::open(NativePath(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return false;
  impl_->dir = fdopendir(fd);
  if (!impl_->dir) {
    ::close(fd);
    return false;
  }
  return true;
}

bool FolderReader::Next(DirEntry* entry) {
  if (!impl_->dir) return false;
  for (;;) {
    errno = 0;
    struct dirent* d = readdir(impl_->dir);
    if (!d) return false;
    if (!StatNoFollow(dirfd(impl_->dir), d->d_name, entry)) continue;  // vanished meanwhile
    entry->name = FromUtf8(d->d_name);
    return true;
  }
}

bool PathExists(const std::wstring& path) {
  struct stat st;
  return StatPath(path, &st);
}

bool FileExists(const std::wstring& path) {
  struct stat st;
  return StatPath(path, &st) && !S_ISDIR(st.st_mode);
}

bool FolderExists(const std::wstring& path) {
  struct stat st;
  return StatPath(path, &st) && S_ISDIR(st.st_mode);
}

bool GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  std::string native = NativePath(path);
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return false;
  size_t slash = native.find_last_of('/');
  *attributes = AttributesOf(st.st_mode, slash == std::string::npos ? native : native.substr(slash + 1));
  return true;
}

bool SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  std::string native = NativePath(path);
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) return false;
  mode_t mode = st.st_mode & 07777;
  // Only read-only has a POSIX meaning; it maps to the write permission bits.
  if (attributes & kAttrReadOnly) {
    mode &= static_cast<mode_t>(~(S_IWUSR | S_IWGRP | S_IWOTH));
  } else {
    mode |= S_IWUSR;
  }
  return ::chmod(native.c_str(), mode) == 0;
}

bool CreateFolders(const std::wstring& folder) {
  std::string native = NativePath(folder);
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  if (native.empty()) return false;
  for (size_t pos = 1; pos <= native.size(); ++pos) {
    if (pos != native.size() && native[pos] != '/') continue;
    std::string part = native.substr(0, pos);
    if (::mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
      // A parent we may not create can still exist and be usable; only the end result counts.
      continue;
    }
  }
  struct stat st;
  return ::stat(native.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool GetFileSize(const std::wstring& path, std::uint64_t* size) {
  UniqueFd fd(::open(NativePath(path).c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return false;
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) return false;
  *size = static_cast<std::uint64_t>(st.st_size);
  return true;
}

bool ReadFileBytes(const std::wstring& path, std::string* bytes) {
  UniqueFd fd(::open(NativePath(path).c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return false;
  struct stat st;
  if (::fstat(fd.get(), &st) != 0 || S_ISDIR(st.st_mode)) return false;
  bytes->clear();
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) return true;
    bytes->append(buffer, static_cast<size_t>(n));
  }
}

bool RemoveFile(const std::wstring& path) { return ::unlink(NativePath(path).c_str()) == 0; }

bool RemoveEmptyFolder(const std::wstring& path) { return ::rmdir(NativePath(path).c_str()) == 0; }

bool CopyFileReplacing(const std::wstring& from, const std::wstring& to) {
  std::string bytes;
  return ReadFileBytes(from, &bytes) && WriteFileAtomic(to, bytes);
}

bool WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  std::string target = NativePath(path);
  std::string temp = NativePath(files_internal::AtomicTempName(path));
  mode_t mode = 0666;
  struct stat st;
  if (::stat(target.c_str(), &st) == 0) mode = st.st_mode & 07777;
  UniqueFd fd(::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!fd) return false;
  std::size_t written = 0;
  while (written < bytes.size()) {
    std::size_t chunk = std::min(files_internal::kAtomicChunk, bytes.size() - written);
    if (!WriteAll(fd.get(), bytes.data() + written, chunk)) {
      fd.reset();
      ::unlink(temp.c_str());
      return false;
    }
    written += chunk;
    // A simulated crash leaves the temporary file behind, exactly as a real one would.
    if (files_internal::AtomicWriteInterrupted(written)) return false;
  }
  if (::fsync(fd.get()) != 0) {
    fd.reset();
    ::unlink(temp.c_str());
    return false;
  }
  fd.reset();
  if (::rename(temp.c_str(), target.c_str()) != 0) {
    ::unlink(temp.c_str());
    return false;
  }
  return true;
}

LocalDateTime FileTimeToLocal(FileTime time) {
  std::int64_t seconds = time / kTicksPerSecond - kEpochDifference;
  if (time % kTicksPerSecond < 0) --seconds;
  time_t t = static_cast<time_t>(seconds);
  struct tm local;
  if (!localtime_r(&t, &local)) return {};
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
          local.tm_hour,        local.tm_min,     local.tm_sec};
}

FileTime CurrentFileTime() {
  struct timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  return ToFileTime(ts.tv_sec, ts.tv_nsec);
}

}  // namespace ablagix
