// An owned POSIX file descriptor; for the *_posix.cpp files only.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "base/unique_handle.h"

namespace ablagix {

struct FdTraits {
  using Handle = int;
  static int Invalid() { return -1; }
  static void Close(int fd) { ::close(fd); }
};
using UniqueFd = UniqueHandle<FdTraits>;

// Writes all of `data` at `offset`, going on after signals and short writes. On failure
// `*error` is the errno, or `zeroWriteError` when the system wrote nothing without saying why
// (an output file reads that as a full disk, a file changed in place as an I/O fault).
inline bool WriteAllAt(int fd, std::uint64_t offset, const void* data, std::size_t size, std::uint32_t zeroWriteError,
                       std::uint32_t* error) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const ssize_t n = ::pwrite(fd, bytes, size, static_cast<off_t>(offset));
    if (n < 0) {
      if (errno == EINTR) continue;
      *error = static_cast<std::uint32_t>(errno);
      return false;
    }
    if (n == 0) {
      *error = zeroWriteError;
      return false;
    }
    bytes += n;
    offset += static_cast<std::uint64_t>(n);
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

}  // namespace ablagix
