// Copying and moving single files with progress and cancel.
//
// What may never happen: a half-written file under the target's name, an existing file
// damaged by a copy that failed, a source deleted before its copy is complete, or a file that
// appeared at the target meanwhile being overwritten without being asked to.
//
// - A copy is staged (written where nobody sees it), then given its name in one step. Without
//   `replace` the name is taken only if it is still free; a taken name asks `nextName` for
//   another one, so the "(n)" numbering is decided at the moment of writing.
// - A move is a rename on one volume (again without replacing, unless asked). Across volumes
//   it is a staged copy of the whole file, flushed to the disk and named, and only then is the
//   source deleted, and only if nothing was written to it since it was read to its end;
//   otherwise the copy goes again and the source stays (kChangedMeanwhile).
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "fileops/file_system_seam.h"

namespace ablagix {

struct TransferRequest {
  // The file as it was found; another file under its name is refused (kNotTheFoundFile).
  FileRef from;
  std::wstring to;
  bool move = false;
  // Replace an existing target ("immer überschreiben"); otherwise a taken name is never replaced.
  bool replace = false;
  CopyProgress progress;
  // Asked when `to` (or the last name it gave) is taken at the moment of writing: the next
  // name to try, or "" to give up. Unset gives up at once.
  std::function<std::wstring()> nextName;
};

enum class TransferResult {
  Done,
  Taken,      // every name was taken (nextName gave up); nothing was changed
  Cancelled,  // the progress callback said stop; nothing was changed
  Failed,     // see `status`; nothing was changed, the source is where it was
};

struct TransferOutcome {
  TransferResult result = TransferResult::Failed;
  FsStatus status;
  std::wstring finalPath;  // where the file is now (Done)
};

TransferOutcome TransferFile(const TransferRequest& request);

}  // namespace ablagix
