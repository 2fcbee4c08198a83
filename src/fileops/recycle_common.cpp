// The platform-independent part of deleting: the engine's recycle call and deleting for good.
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/recycle.h"

namespace ablagix {

namespace files_internal {
FsStatus NativeFs::Recycle(const std::wstring& path) {
  ShellDeleteOptions options;
  options.recycle = true;
  if (DeleteThroughShell(path, options)) return FsStatus::Ok();
  // The shell and the trash give no reason worth more than this.
  return PathExists(path) ? FsStatus::Fail(FsError::kOther) : FsStatus::Fail(FsError::kNotFound, FsSide::kSource);
}
}  // namespace files_internal

bool MoveToRecycleBin(const std::wstring& path) { return ActiveFileSystem().Recycle(path).ok(); }

FsStatus DeleteForGood(const std::wstring& path, bool clearReadOnly) {
  FileSystem& fs = ActiveFileSystem();
  std::uint32_t attributes = 0;
  FsStatus status = fs.GetAttributes(path, &attributes);
  if (!status.ok()) return status;
  if (attributes & kAttrDirectory) return FsStatus::Fail(FsError::kNotRegularFile);
  // Linux would unlink a write-protected file without a word; it is refused here as on
  // Windows, so a profile behaves the same on both.
  const bool readOnly = (attributes & kAttrReadOnly) != 0;
  if (readOnly) {
    if (!clearReadOnly) return FsStatus::Fail(FsError::kAccessDenied);
    std::uint32_t cleared = attributes & ~std::uint32_t{kAttrReadOnly};
    status = fs.SetAttributes(path, cleared == 0 ? std::uint32_t{kAttrNormal} : cleared);
    if (!status.ok()) return status;
  }
  status = fs.RemoveFile(path);
  if (!status.ok() && readOnly) fs.SetAttributes(path, attributes);
  return status;
}

bool DeletePermanently(const std::wstring& path, bool clearReadOnly) {
  return DeleteForGood(path, clearReadOnly).ok();
}

}  // namespace ablagix
