// Staged copies and renames on Windows. A staged copy is written by CopyFileExW under a hidden
// temporary name in the target's folder and renamed to its name only when complete; the
// system's own copy keeps the times, attributes and alternate streams.
#include <windows.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "fileops/copy_move.h"
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/win32_found.h"
#include "fileops/win32_handle.h"

namespace ablagix::file_ops_internal {
namespace {

FsStatus LastError(FsSide side) { return StatusFromSystemError(GetLastError(), side); }

struct ProgressContext {
  const CopyProgress* progress;
  bool cancelled = false;
};

DWORD CALLBACK OnProgress(LARGE_INTEGER total, LARGE_INTEGER done, LARGE_INTEGER, LARGE_INTEGER,
                          DWORD, DWORD, HANDLE, HANDLE, LPVOID data) {
  auto* context = static_cast<ProgressContext*>(data);
  if (*context->progress &&
      !(*context->progress)(static_cast<std::uint64_t>(done.QuadPart),
                            static_cast<std::uint64_t>(total.QuadPart))) {
    context->cancelled = true;
    return PROGRESS_CANCEL;
  }
  return PROGRESS_CONTINUE;
}

// Removes a file whatever its read-only flag says (our own temporary files only).
void ForceDelete(const std::wstring& apiPath) {
  SetFileAttributesW(apiPath.c_str(), FILE_ATTRIBUTE_NORMAL);
  DeleteFileW(apiPath.c_str());
}

class Win32StagedFile final : public StagedFile {
 public:
  std::wstring tempPath;  // in API form
  bool committed = false;
  // The source, held open while it is copied: nobody may write to it, rename or delete it
  // meanwhile, so the copy is of the very file and version that was checked.
  UniqueFile source;
  FileInfo sourceInfo;

  ~Win32StagedFile() override {
    if (!committed && !tempPath.empty()) ForceDelete(tempPath);
  }
};

// Which side a failed CopyFileExW concerns: if the source cannot be opened for reading now,
// it is the source (locked, unreadable, gone); otherwise the target.
FsSide FailedCopySide(const std::wstring& source) {
  UniqueFile probe(CreateFileW(source.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                               nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  return probe ? FsSide::kTarget : FsSide::kSource;
}

// Renames the open file `file` (opened with DELETE access) to `target` (long-path form).
bool RenameByHandle(HANDLE file, const std::wstring& target, bool replace) {
  // The system wants the name in its own form: "\??\C:\..." or "\??\UNC\...".
  const std::wstring name = L"\\??\\" + target.substr(4);
  std::vector<char> buffer(sizeof(FILE_RENAME_INFO) + name.size() * sizeof(wchar_t));
  auto* info = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
  info->ReplaceIfExists = replace ? TRUE : FALSE;
  info->RootDirectory = nullptr;
  info->FileNameLength = static_cast<DWORD>(name.size() * sizeof(wchar_t));
  std::copy(name.begin(), name.end(), info->FileName);
  return SetFileInformationByHandle(file, FileRenameInfo, info, static_cast<DWORD>(buffer.size())) != 0;
}

// MoveFileExW with a read-only file in the way of a replace: its flag is lifted for the
// replace and put back if the replace still fails.
BOOL MoveReplacing(const std::wstring& from, const std::wstring& to, DWORD flags) {
  if (MoveFileExW(from.c_str(), to.c_str(), flags | MOVEFILE_REPLACE_EXISTING)) return TRUE;
  const DWORD error = GetLastError();
  const DWORD old = GetFileAttributesW(to.c_str());
  if (error != ERROR_ACCESS_DENIED || old == INVALID_FILE_ATTRIBUTES || !(old & FILE_ATTRIBUTE_READONLY)) {
    SetLastError(error);
    return FALSE;
  }
  SetFileAttributesW(to.c_str(), old & ~DWORD{FILE_ATTRIBUTE_READONLY});
  if (MoveFileExW(from.c_str(), to.c_str(), flags | MOVEFILE_REPLACE_EXISTING)) return TRUE;
  const DWORD again = GetLastError();
  SetFileAttributesW(to.c_str(), old);
  SetLastError(again);
  return FALSE;
}

}  // namespace

FsStatus NativeFs::StageCopy(const FileRef& from, const std::wstring& targetFolder, bool durable,
                             const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) {
  const std::wstring source = ApiPath(from.path);
  auto file = std::make_unique<Win32StagedFile>();
  // Shared for reading only: the system's copy below reads it, nobody writes or renames it.
  if (FsStatus opened = OpenFoundFile(from, GENERIC_READ, FILE_SHARE_READ, 0, FsSide::kSource, &file->source,
                                      &file->sourceInfo);
      !opened.ok()) {
    return opened;
  }
  const std::wstring temp = ApiPath(StagingName(targetFolder));
  // Asked up front and at the end as well: not every CopyFileExW calls the progress routine.
  if (progress && !progress(0, 0)) return FsStatus::Fail(FsError::kCancelled);
  ProgressContext context{&progress};
  BOOL cancel = FALSE;
  // Fail-if-exists: the temporary name is ours alone, and never someone else's file.
  if (!CopyFileExW(source.c_str(), temp.c_str(), OnProgress, &context, &cancel, COPY_FILE_FAIL_IF_EXISTS)) {
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) ForceDelete(temp);
    if (context.cancelled) return FsStatus::Fail(FsError::kCancelled);
    const FsSide side = error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL ? FsSide::kTarget
                                                                                     : FailedCopySide(source);
    return StatusFromSystemError(error, side);
  }
  file->tempPath = temp;
  WIN32_FILE_ATTRIBUTE_DATA copied{};
  if (progress && GetFileAttributesExW(temp.c_str(), GetFileExInfoStandard, &copied)) {
    const std::uint64_t size = (static_cast<std::uint64_t>(copied.nFileSizeHigh) << 32) | copied.nFileSizeLow;
    if (!progress(size, size)) return FsStatus::Fail(FsError::kCancelled);  // the copy goes again
  }
  SetFileAttributesW(temp.c_str(), GetFileAttributesW(temp.c_str()) | FILE_ATTRIBUTE_HIDDEN);
  if (durable) {
    // Flushing needs write access; a read-only copy is opened with its flag lifted for a moment.
    const DWORD attributes = GetFileAttributesW(temp.c_str());
    SetFileAttributesW(temp.c_str(), FILE_ATTRIBUTE_NORMAL);
    UniqueFile handle(CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    const bool flushed = handle && FlushFileBuffers(handle.get());
    const FsStatus status = flushed ? FsStatus::Ok() : LastError(FsSide::kTarget);
    handle.reset();
    SetFileAttributesW(temp.c_str(), attributes);
    if (!status.ok()) return status;
  }
  *staged = std::move(file);
  return FsStatus::Ok();
}

FsStatus NativeFs::Commit(StagedFile& stagedFile, const std::wstring& target, bool replace) {
  auto& staged = static_cast<Win32StagedFile&>(stagedFile);
  const std::wstring to = ApiPath(target);
  // The temporary copy was hidden; the file keeps the source's own hidden flag.
  const DWORD attributes = GetFileAttributesW(staged.tempPath.c_str());
  const BOOL moved = replace ? MoveReplacing(staged.tempPath, to, MOVEFILE_WRITE_THROUGH)
                             : MoveFileExW(staged.tempPath.c_str(), to.c_str(), MOVEFILE_WRITE_THROUGH);
  if (!moved) return LastError(FsSide::kTarget);
  staged.committed = true;
  if (attributes != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(to.c_str(), attributes & ~DWORD{FILE_ATTRIBUTE_HIDDEN});
  return FsStatus::Ok();
}

FsStatus NativeFs::RemoveCopiedSource(StagedFile& stagedFile, const FileRef& from) {
  auto& staged = static_cast<Win32StagedFile&>(stagedFile);
  if (!staged.source) return FsStatus::Fail(FsError::kNotFound, FsSide::kSource);
  // Nobody could write to it while it was held; the hold ends now, and what is deleted must
  // still be that file in that version.
  staged.source.reset();
  FileRef copied = from;
  copied.id = staged.sourceInfo.id;
  copied.versionKnown = true;
  copied.version = staged.sourceInfo.version;
  UniqueFile handle;
  FileInfo info;
  FsStatus status = OpenFoundFile(copied, DELETE | FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  0, FsSide::kSource, &handle, &info);
  if (!status.ok()) return status;
  // A read-only source may go too (the user asked for it to move).
  return DeleteByHandle(handle.get(), info, FsSide::kSource);
}

FsStatus NativeFs::Rename(const FileRef& from, const std::wstring& to, bool replace) {
  const std::wstring source = ApiPath(from.path);
  const std::wstring target = ApiPath(to);
  if (from.id.known()) {
    // The file that was found is renamed through its own checked handle, so nothing swapped
    // in under its name meanwhile can be taken in its place.
    UniqueFile file;
    FileInfo info;
    FsStatus found = OpenFoundFile(from, DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, 0,
                                   FsSide::kSource, &file, &info);
    if (!found.ok()) return found;
    if (RenameByHandle(file.get(), target, replace)) return FsStatus::Ok();
    const DWORD error = GetLastError();
    if (error == ERROR_NOT_SAME_DEVICE) return FsStatus::Fail(FsError::kNotSameVolume);
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) return StatusFromSystemError(error, FsSide::kTarget);
    // Other refusals (a read-only file in the way, a system that does not rename by handle)
    // go the usual way below, checked afterwards.
  }
  // No copy-allowed flag: across volumes the caller stages a copy, which never harms a file
  // that is already there.
  const BOOL moved = replace ? MoveReplacing(source, target, 0) : MoveFileExW(source.c_str(), target.c_str(), 0);
  if (moved) {
    // What was renamed must be the file that was checked a moment ago; anything swapped in
    // between goes back where it was.
    FileInfo info;
    if (!from.id.known() || (Inspect(to, &info).ok() && info.id == from.id)) return FsStatus::Ok();
    MoveFileExW(target.c_str(), source.c_str(), 0);
    return FsStatus::Fail(FsError::kNotTheFoundFile, FsSide::kSource);
  }
  const DWORD error = GetLastError();
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) {
    return StatusFromSystemError(
        error, GetFileAttributesW(source.c_str()) == INVALID_FILE_ATTRIBUTES ? FsSide::kSource : FsSide::kTarget);
  }
  if (error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION) return StatusFromSystemError(error, FsSide::kSource);
  return StatusFromSystemError(error, error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS ? FsSide::kTarget
                                                                                                   : FsSide::kUnknown);
}

}  // namespace ablagix::file_ops_internal
