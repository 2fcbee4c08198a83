#include <windows.h>

#include "fileops/copy_move.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

using files_internal::ApiPath;

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

}  // namespace

TransferResult CopyFileWithProgress(const std::wstring& from, const std::wstring& to,
                                    const CopyProgress& progress) {
  const std::wstring source = ApiPath(from);
  const std::wstring target = ApiPath(to);
  // Asked once up front as well: not every CopyFileExW calls the progress routine.
  if (progress && !progress(0, 0)) return TransferResult::Cancelled;
  ProgressContext context{&progress};
  BOOL cancel = FALSE;
  // A new name is written directly (the system refuses if it appeared meanwhile), and a
  // failed copy is removed again.
  if (CopyFileExW(source.c_str(), target.c_str(), OnProgress, &context, &cancel,
                  COPY_FILE_RESTARTABLE | COPY_FILE_FAIL_IF_EXISTS)) {
    return TransferResult::Done;
  }
  const DWORD error = GetLastError();
  if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) {
    DeleteFileW(target.c_str());
    return context.cancelled ? TransferResult::Cancelled : TransferResult::Failed;
  }
  // A file that is being replaced stays whole: the copy grows under a temporary name and
  // takes the target's name only when complete.
  const std::wstring temp = files_internal::AtomicTempName(target);
  if (!CopyFileExW(source.c_str(), temp.c_str(), OnProgress, &context, &cancel,
                   COPY_FILE_RESTARTABLE)) {
    DeleteFileW(temp.c_str());
    return context.cancelled ? TransferResult::Cancelled : TransferResult::Failed;
  }
  // A read-only copy could not be renamed over a read-only target; lift it for the replace.
  DWORD old = GetFileAttributesW(target.c_str());
  if (old != INVALID_FILE_ATTRIBUTES && (old & FILE_ATTRIBUTE_READONLY)) {
    SetFileAttributesW(target.c_str(), old & ~FILE_ATTRIBUTE_READONLY);
  }
  if (!MoveFileExW(temp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    DeleteFileW(temp.c_str());
    if (old != INVALID_FILE_ATTRIBUTES) SetFileAttributesW(target.c_str(), old);
    return TransferResult::Failed;
  }
  return TransferResult::Done;
}

TransferResult MoveFileReplacing(const std::wstring& from, const std::wstring& to,
                                 const CopyProgress& progress) {
  if (progress && !progress(0, 0)) return TransferResult::Cancelled;
  ProgressContext context{&progress};
  // With copy allowed the system copies across volumes and deletes the source only after
  // the copy succeeded.
  if (MoveFileWithProgressW(ApiPath(from).c_str(), ApiPath(to).c_str(), OnProgress, &context,
                            MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED | MOVEFILE_WRITE_THROUGH)) {
    return TransferResult::Done;
  }
  return context.cancelled ? TransferResult::Cancelled : TransferResult::Failed;
}

}  // namespace ablagix
