// An owned POSIX file descriptor; for the *_posix.cpp files only.
#pragma once

#include <unistd.h>

#include "base/unique_handle.h"

namespace ablagix {

struct FdTraits {
  using Handle = int;
  static int Invalid() { return -1; }
  static void Close(int fd) { ::close(fd); }
};
using UniqueFd = UniqueHandle<FdTraits>;

}  // namespace ablagix
