// The platform-independent part of deleting: the engine's recycle call and deleting for good.
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/recycle.h"

namespace ablagix {

namespace files_internal {
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
  // The shell and the trash give no reason worth more than this.
  return PathExists(path) ? FsStatus::Fail(FsError::kOther) : FsStatus::Fail(FsError::kNotFound, FsSide::kSource);
}
}  // namespace files_internal

bool MoveToRecycleBin(const std::wstring& path) { return ActiveFileSystem().Recycle(path).ok(); }

FsStatus DeleteForGood(const FileRef& found, bool clearReadOnly) {
  const std::wstring& path = found.path;
  FileSystem& fs = ActiveFileSystem();
  FileRef file = found;
  if (found.versionKnown) {
    // Compared before the read-only flag is lifted, which changes the file's record itself.
    FileInfo info;
    FsStatus looked = fs.Inspect(path, &info);
    if (!looked.ok()) return looked;
    if (found.id.known() && info.id != found.id) return FsStatus::Fail(FsError::kNotTheFoundFile, FsSide::kSource);
    if (info.version != found.version) return FsStatus::Fail(FsError::kChangedMeanwhile, FsSide::kSource);
    file.id = info.id;
    file.versionKnown = false;
  }
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
  // The version is checked once more at the delete itself, unless lifting the flag changed it.
  status = fs.RemoveFile(readOnly ? file : found);
  if (!status.ok() && readOnly) fs.SetAttributes(path, attributes);
  return status;
}

bool DeletePermanently(const std::wstring& path, bool clearReadOnly) {
  return DeleteForGood(path, clearReadOnly).ok();
}

}  // namespace ablagix
