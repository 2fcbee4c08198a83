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
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/posix_fd.h"
#include "fileops/posix_found.h"

namespace ablagix::file_ops_internal {
namespace {

// Kernel copies take big steps (fewer calls) but still let a cancel through every few MB.
constexpr size_t kKernelChunk = 8 << 20;
constexpr off_t kBigFile = 1 << 20;
constexpr size_t kBufferSize = 1 << 20;

FsStatus Errno(FsSide side) { return StatusFromSystemError(static_cast<std::uint32_t>(errno), side); }

class PosixStagedFile final : public StagedFile {
 public:
  UniqueFd fd;
  std::string folder;
  std::string tempPath;  // empty for an anonymous file
  bool durable = false;
  bool committed = false;
  // The source as it was read: kept open, so deleting it later can prove that it is still
  // the file and the version that was copied.
  UniqueFd source;
  ParentFolder sourceFolder;
  struct stat sourceState {};
  std::uint64_t copiedBytes = 0;

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
// copy_file_range refuses two file systems that cannot share data blocks. `rangeRefused` says
// so before (the next files between the same two places then go by sendfile at once) and
// receives it after.
FsStatus CopyBytes(int in, int out, std::uint64_t total, const CopyProgress& progress, std::uint64_t* copied,
                   bool* rangeRefused) {
  std::uint64_t& done = *copied;
  done = 0;
  enum class Way { Range, SendFile, Buffer } way = *rangeRefused ? Way::SendFile : Way::Range;
  for (;;) {
    if (progress && !progress(done, total)) return FsStatus::Fail(FsError::kCancelled);
    ssize_t n = -1;
    if (way == Way::Range || way == Way::SendFile) {
      n = way == Way::Range ? ::copy_file_range(in, nullptr, out, nullptr, kKernelChunk, 0)
                            : ::sendfile(out, in, nullptr, kKernelChunk);
      if (n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
        if (way == Way::Range && errno == EXDEV) *rangeRefused = true;
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
// link (which refuses a taken name just as well), else by checking first. `from` is relative
// to the folder `fromFolder` (AT_FDCWD for a path).
int RenameNoReplace(int fromFolder, const char* from, const char* to) {
  if (::renameat2(fromFolder, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  if (::linkat(fromFolder, from, AT_FDCWD, to, 0) == 0) {
    ::unlinkat(fromFolder, from, 0);
    return 0;
  }
  if (errno != EPERM && errno != EOPNOTSUPP && errno != EMLINK) return -1;
  struct stat st;
  if (::lstat(to, &st) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::renameat(fromFolder, from, AT_FDCWD, to);
}

int RenameNoReplace(const char* from, const char* to) { return RenameNoReplace(AT_FDCWD, from, to); }

// The same back into a folder: `from` is a path, `to` a name in the folder `toFolder`.
int RenameNoReplace(int fromFolder, const char* from, int toFolder, const char* to) {
  if (::renameat2(fromFolder, from, toFolder, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return -1;
  struct stat st;
  if (::fstatat(toFolder, to, &st, AT_SYMLINK_NOFOLLOW) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::renameat(fromFolder, from, toFolder, to);
}

}  // namespace

FsStatus NativeFs::StageCopy(const FileRef& from, const std::wstring& targetFolder, bool durable,
                             const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) {
  // The very file that was found, never a link or a pipe put under its name since.
  auto file = std::make_unique<PosixStagedFile>();
  UniqueFd& in = file->source;
  struct stat& st = file->sourceState;
  FsStatus opened = OpenFound(from, O_RDONLY, FsSide::kSource, &in, &st, &file->sourceFolder);
  if (!opened.ok()) return opened;
  // Read-ahead pays off for large files only; for the many small ones it is a call too many.
  if (st.st_size >= kBigFile) ::posix_fadvise(in.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

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
  // To the end of the file, not to the size it had when it was opened: a file that grows
  // meanwhile is copied with what was added, or found changed below.
  // Between the same volume and target folder as the file before: the same way of copying.
  struct RangeRefusal {
    dev_t from = 0;
    std::string to;
    bool refused = false;
  };
  thread_local RangeRefusal last;
  if (last.from != st.st_dev || last.to != file->folder) last = RangeRefusal{st.st_dev, file->folder, false};
  FsStatus status = CopyBytes(in.get(), file->fd.get(), static_cast<std::uint64_t>(st.st_size), progress,
                              &file->copiedBytes, &last.refused);
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
      staged.tempPath = NativePath(StagingName(FileNameFromBytes(staged.folder)));
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

FsStatus NativeFs::RemoveCopiedSource(StagedFile& stagedFile, const FileRef& from) {
  auto& staged = static_cast<PosixStagedFile&>(stagedFile);
  if (!staged.source) return FsStatus::Fail(FsError::kNotFound, FsSide::kSource);
  // Everything there is went into the copy: the file still has the size that was read to its
  // end, and neither its data nor its record changed since it was opened.
  struct stat now;
  if (::fstat(staged.source.get(), &now) != 0) return Errno(FsSide::kSource);
  if (VersionOf(now) != VersionOf(staged.sourceState) ||
      static_cast<std::uint64_t>(now.st_size) != staged.copiedBytes) {
    return FsStatus::Fail(FsError::kChangedMeanwhile, FsSide::kSource);
  }
  // And its name still stands for it.
  FileRef copied = from;
  copied.id = IdOf(now);
  struct stat named;
  FsStatus status = StatFound(staged.sourceFolder, copied, FsSide::kSource, &named);
  if (!status.ok()) return status;
  if (::unlinkat(staged.sourceFolder.fd(), staged.sourceFolder.name.c_str(), 0) != 0) return Errno(FsSide::kSource);
  return FsStatus::Ok();
}

FsStatus NativeFs::Rename(const FileRef& from, const std::wstring& to, bool replace) {
  ParentFolder parent;
  FsStatus status = OpenParentOf(from, FsSide::kSource, &parent);
  struct stat st;
  if (status.ok()) status = StatFound(parent, from, FsSide::kSource, &st);
  if (!status.ok()) return status;
  const std::string target = NativePath(to);
  const char* name = parent.name.c_str();
  struct stat existing;
  const bool fileAtTarget = ::lstat(target.c_str(), &existing) == 0 && S_ISREG(existing.st_mode);
  if (replace && from.id.known() && fileAtTarget) {
    // Replacing a file goes by exchanging the two names: should the name have been swapped
    // for something else in the instant before, the exchange is undone and the file that was
    // at the target is still there.
    if (::renameat2(parent.fd(), name, AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0) {
      struct stat moved;
      if (::lstat(target.c_str(), &moved) != 0 || IdOf(moved) != from.id) {
        ::renameat2(parent.fd(), name, AT_FDCWD, target.c_str(), RENAME_EXCHANGE);
        return FsStatus::Fail(FsError::kNotTheFoundFile, FsSide::kSource);
      }
      // The replaced file now has the source's name; it goes, as "immer überschreiben" asked.
      ::unlinkat(parent.fd(), name, 0);
      return FsStatus::Ok();
    }
    // No exchange on this file system: a plain rename, checked afterwards.
  }
  // Nothing to replace: taken without replacing, so nothing that appears meanwhile is lost.
  if (replace && from.id.known() && !fileAtTarget) replace = false;
  const int rc = replace ? ::renameat(parent.fd(), name, AT_FDCWD, target.c_str())
                         : RenameNoReplace(parent.fd(), name, target.c_str());
  if (rc == 0) {
    // A rename takes whatever the name holds at that instant. Should that no longer be the
    // file that was checked a moment ago (swapped for a link in between), it goes back.
    struct stat moved;
    if (!from.id.known() || (::lstat(target.c_str(), &moved) == 0 && IdOf(moved) == from.id)) return FsStatus::Ok();
    RenameNoReplace(AT_FDCWD, target.c_str(), parent.fd(), name);
    return FsStatus::Fail(FsError::kNotTheFoundFile, FsSide::kSource);
  }
  if (errno == EXDEV) return FsStatus::Fail(FsError::kNotSameVolume);
  // ENOENT may concern either side; whichever is missing says which.
  if (errno == ENOENT) {
    const int error = errno;
    return StatusFromSystemError(static_cast<std::uint32_t>(error),
                                 ::fstatat(parent.fd(), name, &st, AT_SYMLINK_NOFOLLOW) != 0 ? FsSide::kSource
                                                                                             : FsSide::kTarget);
  }
  return Errno(errno == EEXIST ? FsSide::kTarget : FsSide::kUnknown);
}

}  // namespace ablagix::file_ops_internal
