// One run at a time per source folder, across processes: the window's timer, a watching
// command line and a run by hand must never act on the same files at once (two moves of one
// file into two archives would leave it twice). The lock is a file in the settings folder,
// held locked while the run works on that folder; the system lets it go when the process
// ends, however it ends.
#pragma once

#include <memory>
#include <string>

#include "fileops/file_ops.h"

namespace ablagix {

class FolderRunLock {
 public:
  FolderRunLock();
  ~FolderRunLock();
  FolderRunLock(const FolderRunLock&) = delete;
  FolderRunLock& operator=(const FolderRunLock&) = delete;

  // Takes the lock of the folder `folder` (by its identity, so every spelling of it is the
  // same folder) from the lock files in `lockFolder`. False when another process holds it; true
  // also when there is nothing to lock (no lock folder, a source that is not there).
  [[nodiscard]] bool TryLock(const std::wstring& lockFolder, const std::wstring& folder);

 private:
  enum class Taken { kYes, kBusy, kNoFile };
  // Takes the lock file at `path` (made if missing); kBusy while another process holds it,
  // kNoFile when it cannot be opened at all.
  Taken TryLockFile(const std::wstring& path);

  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ablagix
