#include <fcntl.h>
#include <sys/stat.h>

#include "fileops/file_stamp.h"
#include "fileops/file_ops_internal.h"

namespace ablagix {
namespace {

constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kEpochDifference = 11644473600;  // seconds from 1601 to 1970

}  // namespace

bool ReadFileStamp(const std::wstring& path, FileStamp* stamp) {
  struct stat st;
  if (::lstat(file_ops_internal::NativePath(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  stamp->size = static_cast<std::uint64_t>(st.st_size);
  stamp->lastWrite = (st.st_mtim.tv_sec + kEpochDifference) * kTicksPerSecond + st.st_mtim.tv_nsec / 100;
  return true;
}

bool SetFileLastWrite(const std::wstring& path, FileTime time) {
  // Floor division, so times before 1970 keep a nanosecond part between 0 and 1e9.
  std::int64_t seconds = time / kTicksPerSecond;
  std::int64_t ticks = time % kTicksPerSecond;
  if (ticks < 0) {
    ticks += kTicksPerSecond;
    --seconds;
  }
  struct timespec times[2];
  times[0].tv_sec = 0;
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(seconds - kEpochDifference);
  times[1].tv_nsec = static_cast<long>(ticks * 100);
  return ::utimensat(AT_FDCWD, file_ops_internal::NativePath(path).c_str(), times, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace ablagix
