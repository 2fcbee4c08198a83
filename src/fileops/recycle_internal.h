// Shared between recycle_restore.cpp and the platform files; not for other callers.
#pragma once

#include <string>
#include <vector>

namespace ablagix::recycle_internal {

// One place where a recycled file may be.
struct BinLocation {
  enum class Kind {
    kTrash,       // a freedesktop.org trash folder with "files" and "info" inside
    kWindowsBin,  // "<drive>\$Recycle.Bin\<user SID>" with "$I" and "$R" files
  };
  Kind kind = Kind::kTrash;
  std::wstring folder;
  // kTrash: the "Path=" value this trash would hold for the file (decoded, UTF-8), absolute
  // or relative to the top of the mount, as the trash records it.
  std::string recordedPath;
  // kWindowsBin: the full path as the "$I" record holds it (compared ignoring case).
  std::wstring recordedWindowsPath;
};

// The bins that could hold `path` after it was recycled, most likely first. Only folders that
// exist are named; none is created.
std::vector<BinLocation> BinLocationsFor(const std::wstring& path);

}  // namespace ablagix::recycle_internal
