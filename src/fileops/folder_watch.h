// Watching a folder for new and changed files, and the look at one file that tells whether it
// is complete. folder_watch_win32.cpp uses ReadDirectoryChangesW with overlapped reads on a
// thread of its own; folder_watch_posix.cpp uses inotify, with a watch added for every
// subfolder, also for those made later.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fileops/file_ops.h"

namespace ablagix {

enum class FolderChangeKind {
  Changed,   // a file was created, written, or renamed to this name
  Closed,    // a program that had written the file closed it (only where the system says so: Linux)
  Removed,   // a file was deleted or renamed away
  Overflow,  // the system lost changes (its queue ran full): anything may have changed
  Lost,      // the watch ended (the folder went away, the network share dropped); `path` is the reason
};

struct FolderChange {
  FolderChangeKind kind = FolderChangeKind::Changed;
  std::wstring path;  // the watched folder joined with the name the system reported
  // Changed by a program that holds the file open for writing and whose close will come as
  // Closed (Linux: created or written). Moved in, or reported where closes are not: false.
  bool writing = false;
};

// Receives the changes on the watcher's own thread, in the order the system reported them.
// A folder that appears in a watched tree (made, or moved in with its files) is reported as
// the files it holds, so a folder full of photos dropped in at once is not missed.
using FolderChangeSink = std::function<void(std::vector<FolderChange>&& changes)>;

struct FolderWatchRequest {
  std::wstring folder;
  bool subtree = false;  // the subfolders too
  // The bytes the system may queue between two reads (Windows); a network share takes no more
  // than 64 KB. Tests make it tiny to provoke an overflow.
  std::size_t bufferBytes = 64 * 1024;
};

// A running watch. Destroying it stops the watcher thread; no change arrives after that.
class FolderWatch {
 public:
  virtual ~FolderWatch() = default;
};

// Starts watching, or returns null with a German `reason` when the folder cannot be watched
// (missing, no permission, a network share whose server does not report changes, too many
// subfolders for the system's limit).
std::unique_ptr<FolderWatch> StartFolderWatch(const FolderWatchRequest& request, FolderChangeSink sink,
                                              std::wstring* reason);

// Whether FolderWatchRequest::bufferBytes bounds what the system queues (Windows); inotify's
// queue is a setting of the whole system.
bool WatchBufferIsOurs();

// Whether the watch reports Closed, and Changed with `writing` (Linux: inotify says when a
// writer closes a file; Windows does not).
bool WatchReportsCloses();

// What a watcher needs to know of a file to decide whether it is complete.
struct WatchedFileLook {
  bool present = false;  // a regular file (no folder, link or device) is there
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  // Another program holds it open for writing (Linux: a read lease is refused) or without
  // sharing it (Windows: a sharing violation): a copy into the folder is still under way.
  bool inUse = false;
  // False when the system could not say (Linux: another user's file, a file system without
  // leases); then the watch goes by whether the writer's close was reported.
  bool inUseKnown = true;
};
WatchedFileLook LookAtWatchedFile(const std::wstring& path);

// What a walk through a tree does with a subfolder it meets.
enum class SubfolderStep { Enter, Skip, Stop };

// Walks the files below `folder` (no links, devices or pipes) and puts them into `out` as
// changes, unless `out` is null; `subfolder` decides for each subfolder. False when it
// stopped the walk.
bool WalkFolderFiles(const std::wstring& folder, const std::function<SubfolderStep(const std::wstring&)>& subfolder,
                     std::vector<FolderChange>* out);

// Every file below `folder` (in its subfolders too when `subtree`), links not followed, as
// Changed entries appended to `out`.
void ReportFolderFiles(const std::wstring& folder, bool subtree, std::vector<FolderChange>* out);

}  // namespace ablagix
