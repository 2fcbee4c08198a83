// Deleting files: to the recycle bin, through the shell, or for good; and taking a recycled
// file out of the bin again.
//
// Windows asks the shell (SHFileOperationW). Linux follows the freedesktop.org trash standard:
// the home trash ($XDG_DATA_HOME/Trash, by default ~/.local/share/Trash) for files on its
// mount, otherwise $topdir/.Trash/$uid or $topdir/.Trash-$uid on the file's own mount.
// A file that cannot be put in the trash is left where it is: recycling never falls back to
// deleting for good.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "fileops/file_system_seam.h"

namespace ablagix {

struct ShellDeleteOptions {
  bool recycle = true;          // to the recycle bin instead of deleting for good
  bool showProgress = false;    // off: no progress window
  bool confirm = false;         // off: no "are you sure" question
  bool simpleProgress = false;  // progress without file names
  bool showErrors = false;      // off: failures come back as the result only, no error boxes
  void* ownerWindow = nullptr;  // HWND of the window that owns any dialog; unused on Linux
};

// One shell "delete" of a single file or folder. True when it is gone from its place;
// `userAborted` (optional) tells whether the user cancelled in a shell dialog. On Linux the
// dialog options have no effect.
bool DeleteThroughShell(const std::wstring& path, const ShellDeleteOptions& options,
                        bool* userAborted = nullptr);

// The same with the options the engine uses: recycle, silent, no confirmation.
bool MoveToRecycleBin(const std::wstring& path);

// Deletes one file for good. A read-only file is refused on every platform unless
// `clearReadOnly` is set; then the flag is removed first (and put back if the delete fails).
bool DeletePermanently(const std::wstring& path, bool clearReadOnly);
// The same, saying why it failed.
FsStatus DeleteForGood(const FileRef& file, bool clearReadOnly);

//--- Taking a file out of the recycle bin again

// What is known about a file that was recycled: where it was, when it went (a window, since
// the bins keep the moment only to the second or less), and what it looked like.
struct RecycledFile {
  std::wstring originalPath;
  FileTime deletedFrom = 0;  // it went in at or after this moment ...
  FileTime deletedTo = 0;    // ... and at or before this one (0: no upper end known)
  std::uint64_t size = 0;
  FileTime lastWrite = 0;    // 0: not compared
};

// Finds the file in the recycle bin (Windows: the bin of its drive; under Wine and on Linux:
// the freedesktop.org trash folders of its mount) and gives it the name `restoreTo`, never
// replacing a file there: a taken name fails with kExists and leaves the file in the bin.
// Of several matches the one that went in last is taken. kNotFound when there is none.
FsStatus RestoreFromRecycleBin(const RecycledFile& file, const std::wstring& restoreTo);

// The two kinds of record a bin keeps per file, read without trusting them.
struct TrashInfoRecord {
  std::string path;  // the "Path=" value, percent-decoded (UTF-8 bytes)
  LocalDateTime deletedAt;
};
// A freedesktop.org ".trashinfo" file; false when it is not one.
bool ParseTrashInfo(std::string_view text, TrashInfoRecord* record);

struct RecycleBinRecord {
  std::wstring originalPath;
  FileTime deletedAt = 0;
  std::uint64_t size = 0;
};
// A Windows "$I" file (the format of Vista to 8.1 or the one of Windows 10 and later).
bool ParseRecycleBinRecord(std::string_view bytes, RecycleBinRecord* record);

}  // namespace ablagix
