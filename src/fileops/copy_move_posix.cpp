#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "base/text.h"
#include "fileops/copy_move.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/posix_fd.h"

namespace ablagix {
namespace {



// Kernel copies take big steps (fewer calls); the buffer of the fallback stays moderate.
constexpr size_t kKernelChunk = 8 << 20;
constexpr size_t kChunk = 1 << 20;

// Copies the bytes of `in` to `out`, kernel-side where the file systems allow it.
TransferResult CopyBytes(int in, int out, std::uint64_t total, const CopyProgress& progress) {
  std::uint64_t done = 0;
  bool kernelCopy = true;
  std::vector<char> buffer;
  for (;;) {
    if (progress && !progress(done, total)) return TransferResult::Cancelled;
    ssize_t n = -1;
    if (kernelCopy) {
      n = ::copy_file_range(in, nullptr, out, nullptr, kKernelChunk, 0);
      if (n < 0 && (errno == EXDEV || errno == ENOSYS || errno == EINVAL || errno == EOPNOTSUPP)) {
        kernelCopy = false;
        continue;
      }
    } else {
      if (buffer.empty()) buffer.resize(kChunk);
      n = ::read(in, buffer.data(), buffer.size());
      if (n > 0) {
        for (ssize_t written = 0; written < n;) {
          ssize_t w = ::write(out, buffer.data() + written, static_cast<size_t>(n - written));
          if (w < 0) {
            if (errno == EINTR) continue;
            return TransferResult::Failed;
          }
          written += w;
        }
      }
    }
    if (n < 0) {
      if (errno == EINTR) continue;
      return TransferResult::Failed;
    }
    if (n == 0) break;
    done += static_cast<std::uint64_t>(n);
  }
  if (progress) progress(done, total);
  return TransferResult::Done;
}

// `durable`: flushed to disk before it takes the target's name; needed when the source is
// deleted afterwards, not for a copy that leaves the source in place.
TransferResult CopyFile(const std::wstring& from, const std::wstring& to, const CopyProgress& progress,
                        bool durable) {
  UniqueFd in(::open(files_internal::NativePath(from).c_str(), O_RDONLY | O_CLOEXEC));
  if (!in) return TransferResult::Failed;
  struct stat st;
  if (::fstat(in.get(), &st) != 0 || !S_ISREG(st.st_mode)) return TransferResult::Failed;
  const std::string target = files_internal::NativePath(to);
  const mode_t mode = (st.st_mode & 07777) | S_IWUSR;
  // A new name is written directly: O_EXCL makes sure it is still new, and a failed copy is
  // simply removed again. A file that is being replaced stays whole until the copy is
  // complete under a temporary name and takes its place in one rename.
  std::string temp;
  UniqueFd out(::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!out) {
    if (errno != EEXIST) return TransferResult::Failed;
    temp = files_internal::NativePath(files_internal::AtomicTempName(to));
    out.reset(::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!out) return TransferResult::Failed;
  }
  const std::string& written = temp.empty() ? target : temp;
  TransferResult result = CopyBytes(in.get(), out.get(), static_cast<std::uint64_t>(st.st_size), progress);
  if (result == TransferResult::Done) {
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    ::futimens(out.get(), times);
    ::fchmod(out.get(), st.st_mode & 07777);
    if (durable && ::fsync(out.get()) != 0) result = TransferResult::Failed;
  }
  if (::close(out.release()) != 0 && result == TransferResult::Done) result = TransferResult::Failed;
  if (result == TransferResult::Done && !temp.empty() && ::rename(temp.c_str(), target.c_str()) != 0) {
    result = TransferResult::Failed;
  }
  if (result != TransferResult::Done) ::unlink(written.c_str());
  return result;
}

}  // namespace

TransferResult CopyFileWithProgress(const std::wstring& from, const std::wstring& to,
                                    const CopyProgress& progress) {
  return CopyFile(from, to, progress, false);
}

TransferResult MoveFileReplacing(const std::wstring& from, const std::wstring& to,
                                 const CopyProgress& progress) {
  if (progress && !progress(0, 0)) return TransferResult::Cancelled;
  const std::string source = files_internal::NativePath(from);
  if (::rename(source.c_str(), files_internal::NativePath(to).c_str()) == 0) return TransferResult::Done;
  if (errno != EXDEV) return TransferResult::Failed;
  // Another file system: copy completely, and only then remove the source.
  TransferResult copied = CopyFile(from, to, progress, true);
  if (copied != TransferResult::Done) return copied;
  if (::unlink(source.c_str()) != 0) return TransferResult::Failed;
  return TransferResult::Done;
}

}  // namespace ablagix
