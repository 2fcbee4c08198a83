#include "fileops/copy_move.h"

#include "fileops/path_text.h"

namespace ablagix {
namespace {

TransferOutcome Outcome(TransferResult result, FsStatus status = {}, std::wstring finalPath = {}) {
  return TransferOutcome{result, status, std::move(finalPath)};
}

TransferOutcome Failed(const FsStatus& status) {
  return Outcome(status.error == FsError::kCancelled ? TransferResult::Cancelled : TransferResult::Failed,
                 status);
}

// Runs `attempt` for `to` and for every further name while the name is taken.
template <typename Attempt>
FsStatus WithFreeName(const TransferRequest& request, std::wstring* to, bool* taken, Attempt attempt) {
  *taken = false;
  for (;;) {
    FsStatus status = attempt(*to);
    if (status.error != FsError::kExists || request.replace) return status;
    std::wstring next = request.nextName ? request.nextName() : std::wstring();
    if (next.empty()) {
      *taken = true;
      return status;
    }
    *to = std::move(next);
  }
}

// Deletes the source of a move once its copy is in place, a read-only one too (the user asked
// for it to move). A source that changed or was swapped since it was copied stays.
FsStatus RemoveSource(FileSystem& fs, StagedFile& staged, const FileRef& from) {
  FsStatus status = fs.RemoveCopiedSource(staged, from);
  if (!status.ok()) status.side = FsSide::kSource;
  return status;
}

}  // namespace

TransferOutcome TransferFile(const TransferRequest& request) {
  if (request.progress && !request.progress(0, 0)) return Outcome(TransferResult::Cancelled);
  FileSystem& fs = ActiveFileSystem();
  std::wstring to = request.to;
  bool taken = false;

  if (request.move) {
    const FsStatus renamed = WithFreeName(request, &to, &taken, [&](const std::wstring& name) {
      return fs.Rename(request.from, name, request.replace);
    });
    if (taken) return Outcome(TransferResult::Taken, renamed);
    if (renamed.ok()) return Outcome(TransferResult::Done, {}, to);
    if (renamed.error != FsError::kNotSameVolume) return Failed(renamed);
    to = request.to;  // another volume: copy, then delete the source
  }

  std::unique_ptr<StagedFile> staged;
  const FsStatus copied = fs.StageCopy(request.from, FolderPart(to), request.move, request.progress, &staged);
  if (!copied.ok()) return Failed(copied);
  const FsStatus committed = WithFreeName(request, &to, &taken, [&](const std::wstring& name) {
    return fs.Commit(*staged, name, request.replace);
  });
  if (taken) return Outcome(TransferResult::Taken, committed);
  if (!committed.ok()) return Failed(committed);
  if (!request.move) return Outcome(TransferResult::Done, {}, to);

  const FsStatus removed = RemoveSource(fs, *staged, request.from);
  if (!removed.ok()) {
    // The source stays, so the move did not happen: the new copy goes again, unless it
    // replaced a file that is now gone for good (then both copies are better than one).
    if (!request.replace) fs.RemoveFile(to);
    return Failed(removed);
  }
  return Outcome(TransferResult::Done, {}, to);
}

}  // namespace ablagix
