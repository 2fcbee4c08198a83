#include <windows.h>

#include "fileops/file_ops_internal.h"
#include "fileops/run_lock.h"
#include "fileops/win32_handle.h"

namespace ablagix {

struct FolderRunLock::Impl {
  UniqueFile file;
};

FolderRunLock::FolderRunLock() : impl_(std::make_unique<Impl>()) {}
FolderRunLock::~FolderRunLock() = default;

FolderRunLock::Taken FolderRunLock::TryLockFile(const std::wstring& path) {
  // Shared with nobody: a second opener is refused while this handle lives.
  impl_->file.reset(CreateFileW(file_ops_internal::ApiPath(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (impl_->file) return Taken::kYes;
  const DWORD error = GetLastError();
  return error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION ? Taken::kBusy : Taken::kNoFile;
}

}  // namespace ablagix
