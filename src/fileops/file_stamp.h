// A file's size and last-write time read without opening it, and the last-write time set
// again. Together they tell whether a file is still the one a run wrote: a copy whose stamp
// differs from the one noted after writing it was changed since.
// file_stamp_win32.cpp uses the wide calls on long-path forms, file_stamp_posix.cpp POSIX.
#pragma once

#include <cstdint>
#include <string>

#include "fileops/file_ops.h"

namespace ablagix {

struct FileStamp {
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

// False when `path` is missing or is not a regular file (a folder, a link, a device).
[[nodiscard]] bool ReadFileStamp(const std::wstring& path, FileStamp* stamp);

// Sets the last-write time of a regular file (links are not followed).
[[nodiscard]] bool SetFileLastWrite(const std::wstring& path, FileTime time);

}  // namespace ablagix
