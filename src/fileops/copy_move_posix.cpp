// Staged copies and renames on Linux.
//
// A staged copy is an anonymous file (O_TMPFILE) in the target's folder: it has no name until
// the commit links it in, so a crash, a kill or a failure leaves nothing behind, and linkat
// refuses a taken name by itself. File systems without anonymous files get a hidden
// temporary name instead, renamed without replacing.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "base/text.h"
#include "fileops/copy_move.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/posix_fd.h"

namespace ablagix::files_internal {
namespace {

// Kernel copies take big steps (fewer calls) but still let a cancel through every few MB.
constexpr size_t kKernelChunk = 8 << 20;
constexpr size_t kBufferSize = 1 << 20;

FsStatus Errno(FsSide side) { return StatusFromSystemError(static_cast<std::uint32_t>(errno), side); }

class PosixStagedFile final : public StagedFile {
 public:
  UniqueFd fd;
  std::string folder;
  std::string tempPath;  // empty for an anonymous file
  bool durable = false;
  bool committed = false;

  ~PosixStagedFile() override {
    if (!committed && !tempPath.empty()) ::unlink(tempPath.c_str());
  }
};

// The read-write fallback's buffer, kept for the thread's life: allocating and zeroing a
// megabyte per file costs more than copying a small file.
std::vector<char>& CopyBuffer() {
  thread_local std::vector<char> buffer;
  if (buffer.empty()) buffer.resize(kBufferSize);
  return buffer;
}

bool WriteAll(int fd, const char* data, size_t size) {
  while (size > 0) {
    ssize_t w = ::write(fd, data, size);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += w;
    size -= static_cast<size_t>(w);
  }
  return true;
}

// Copies every byte of `in` to `out`: kernel-side where the file systems allow it, else
// through one reused buffer. Read errors are the source's, write errors the target's.
FsStatus CopyBytes(int in, int out, std::uint64_t total, const CopyProgress& progress) {
  std::uint64_t done = 0;
  enum class Way { Range, SendFile, Buffer } way = Way::Range;
  for (;;) {
    if (progress && !progress(done, total)) return FsStatus::Fail(FsError::kCancelled);
    ssize_t n = -1;
    if (way == Way::Range || way == Way::SendFile) {
      n = way == Way::Range ? ::copy_file_range(in, nullptr, out, nullptr, kKernelChunk, 0)
                            : ::sendfile(out, in, nullptr, kKernelChunk);
      if (n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
        way = way == Way::Range ? Way::SendFile : Way::Buffer;
        continue;
      }
      if (n < 0 && errno != EINTR) {
        // The kernel does not say which side failed; a full or read-only target is the usual cause.
        const int error = errno;
        const bool targetSide = error == ENOSPC || error == EDQUOT || error == EROFS || error == EFBIG;
        return StatusFromSystemError(static_cast<std::uint32_t>(error),
                                     targetSide ? FsSide::kTarget : FsSide::kSource);
      }
    } else {
      std::vector<char>& buffer = CopyBuffer();
      n = ::read(in, buffer.data(), buffer.size());
      if (n < 0 && errno != EINTR) return Errno(FsSide::kSource);
      if (n > 0 && !WriteAll(out, buffer.data(), static_cast<size_t>(n))) return Errno(FsSide::kTarget);
    }
    if (n < 0) continue;  // EINTR
    if (n == 0) break;
    done += static_cast<std::uint64_t>(n);
  }
  if (progress) progress(done, total);
  return FsStatus::Ok();
}

// Linking an anonymous file needs its /proc entry; without /proc the fallback is used.
bool CanLinkAnonymousFiles() {
  static const bool can = ::access("/proc/self/fd", X_OK) == 0;
  return can;
}

std::string FdPath(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

FsStatus SyncFolder(const std::string& folder) {
  UniqueFd dir(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!dir) return Errno(FsSide::kTarget);
  return ::fsync(dir.get()) == 0 || errno == EINVAL ? FsStatus::Ok() : Errno(FsSide::kTarget);
}

// rename without replacing: atomically where the file system knows the flag, else by a hard
// link (which refuses a taken name just as well), else by checking first.
int RenameNoReplace(const char* from, const char* to) {
  if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (::link(from, to) == 0) {
    ::unlink(from);
    return 0;
  }
  if (errno != EPERM && errno != EOPNOTSUPP && errno != EMLINK) return -1;
  struct stat st;
  if (::lstat(to, &st) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::rename(from, to);
}

}  // namespace

FsStatus NativeFs::StageCopy(const std::wstring& from, const std::wstring& targetFolder, bool durable,
                             const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) {
  // O_NONBLOCK: a pipe that slipped through must not hang the open; regular files ignore it.
  UniqueFd in(::open(NativePath(from).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!in) return Errno(FsSide::kSource);
  struct stat st;
  if (::fstat(in.get(), &st) != 0) return Errno(FsSide::kSource);
  if (!S_ISREG(st.st_mode)) return FsStatus::Fail(FsError::kNotRegularFile, FsSide::kSource);
  ::fcntl(in.get(), F_SETFL, ::fcntl(in.get(), F_GETFL) & ~O_NONBLOCK);
  ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

  auto file = std::make_unique<PosixStagedFile>();
  file->folder = NativePath(targetFolder);
  if (file->folder.empty()) file->folder = ".";
  file->durable = durable;
  // Writable while it is written; the source's own mode is set at the end.
  const mode_t mode = (st.st_mode & 07777) | S_IWUSR;
  if (CanLinkAnonymousFiles()) {
    file->fd.reset(::open(file->folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, mode));
    if (!file->fd && errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) return Errno(FsSide::kTarget);
  }
  if (!file->fd) {
    file->tempPath = NativePath(StagingName(targetFolder));
    file->fd.reset(::open(file->tempPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!file->fd) {
      file->tempPath.clear();
      return Errno(FsSide::kTarget);
    }
  }
  FsStatus status = CopyBytes(in.get(), file->fd.get(), static_cast<std::uint64_t>(st.st_size), progress);
  if (!status.ok()) return status;
  struct timespec times[2] = {st.st_atim, st.st_mtim};
  ::futimens(file->fd.get(), times);
  ::fchmod(file->fd.get(), st.st_mode & 07777);
  if (durable && ::fsync(file->fd.get()) != 0) return Errno(FsSide::kTarget);
  *staged = std::move(file);
  return FsStatus::Ok();
}

FsStatus NativeFs::Commit(StagedFile& stagedFile, const std::wstring& target, bool replace) {
  auto& staged = static_cast<PosixStagedFile&>(stagedFile);
  const std::string to = NativePath(target);
  if (staged.tempPath.empty()) {
    // An anonymous file gets its first name; replacing needs a name of its own first.
    const std::string source = FdPath(staged.fd.get());
    // Mostly the name is free: then the link alone is the commit, also when replacing would
    // have been allowed.
    const bool linked = ::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, to.c_str(), AT_SYMLINK_FOLLOW) == 0;
    if (!linked && (!replace || errno != EEXIST)) return Errno(FsSide::kTarget);
    if (!linked) {
      staged.tempPath = NativePath(StagingName(FromUtf8(staged.folder)));
      if (::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, staged.tempPath.c_str(), AT_SYMLINK_FOLLOW) != 0) {
        staged.tempPath.clear();
        return Errno(FsSide::kTarget);
      }
      if (::rename(staged.tempPath.c_str(), to.c_str()) != 0) return Errno(FsSide::kTarget);
    }
  } else {
    const int rc = replace ? ::rename(staged.tempPath.c_str(), to.c_str())
                           : RenameNoReplace(staged.tempPath.c_str(), to.c_str());
    if (rc != 0) return Errno(FsSide::kTarget);
  }
  staged.committed = true;
  // The new name must reach the disk before a move deletes the source.
  if (staged.durable) return SyncFolder(staged.folder);
  return FsStatus::Ok();
}

FsStatus NativeFs::Rename(const std::wstring& from, const std::wstring& to, bool replace) {
  const std::string source = NativePath(from);
  const std::string target = NativePath(to);
  const int rc = replace ? ::rename(source.c_str(), target.c_str()) : RenameNoReplace(source.c_str(), target.c_str());
  if (rc == 0) return FsStatus::Ok();
  if (errno == EXDEV) return FsStatus::Fail(FsError::kNotSameVolume);
  // ENOENT may concern either side; whichever is missing says which.
  if (errno == ENOENT) {
    const int error = errno;
    struct stat st;
    return StatusFromSystemError(static_cast<std::uint32_t>(error),
                                 ::lstat(source.c_str(), &st) != 0 ? FsSide::kSource : FsSide::kTarget);
  }
  return Errno(errno == EEXIST ? FsSide::kTarget : FsSide::kUnknown);
}

}  // namespace ablagix::files_internal
