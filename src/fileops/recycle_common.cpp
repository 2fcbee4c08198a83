// The platform-independent part of deleting: the engine's recycle call and deleting for good.
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"

namespace ablagix {

namespace file_ops_internal {
FsStatus NativeFs::Recycle(const FileRef& file) {
  const std::wstring& path = file.path;
  // The bin is the shell's (or the trash standard's) and takes a path; the name is checked
  // right before, so a file swapped in meanwhile is not the one that goes.
  FileInfo info;
  if (file.id.known()) {
    const FsStatus looked = Inspect(path, &info);
    if (!looked.ok()) return FsStatus{looked.error, FsSide::kSource, looked.code};
    if (info.id != file.id) return FsStatus::Fail(FsError::kNotTheFoundFile, FsSide::kSource);
  }
  ShellDeleteOptions options;
  options.recycle = true;
  if (DeleteThroughShell(path, options)) return FsStatus::Ok();
  if (FileNamesIgnoreCase() && WindowsRewritesName(NamePart(path))) return FsStatus::Fail(FsError::kInvalidName, FsSide::kSource);
  // The shell and the trash give no reason worth more than this.
  return PathExists(path) ? FsStatus::Fail(FsError::kOther) : FsStatus::Fail(FsError::kNotFound, FsSide::kSource);
}
}  // namespace file_ops_internal

bool MoveToRecycleBin(const std::wstring& path) { return ActiveFileSystem().Recycle(path).ok(); }

FsStatus DeleteForGood(const FileRef& file, bool clearReadOnly) {
  FileSystem& fs = ActiveFileSystem();
  std::uint32_t attributes = 0;
  FsStatus status = fs.GetAttributes(file.path, &attributes);
  if (!status.ok()) return status;
  if (attributes & kAttrDirectory) return FsStatus::Fail(FsError::kNotRegularFile);
  // Linux would unlink a write-protected file without a word; it is refused here as on
  // Windows, so a profile behaves the same on both. Allowed, it goes without its flag being
  // touched by path: the flag belongs to the data, which other names (hard links) may share.
  if ((attributes & kAttrReadOnly) && !clearReadOnly) return FsStatus::Fail(FsError::kAccessDenied);
  return fs.RemoveFile(file);
}

bool DeletePermanently(const std::wstring& path, bool clearReadOnly) {
  return DeleteForGood(path, clearReadOnly).ok();
}

}  // namespace ablagix
