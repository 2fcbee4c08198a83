// Deleting files: to the recycle bin, through the shell, or for good.
//
// Windows asks the shell (SHFileOperationW). Linux follows the freedesktop.org trash standard:
// the home trash ($XDG_DATA_HOME/Trash, by default ~/.local/share/Trash) for files on its
// mount, otherwise $topdir/.Trash/$uid or $topdir/.Trash-$uid on the file's own mount.
// A file that cannot be put in the trash is left where it is: recycling never falls back to
// deleting for good.
#pragma once

#include <string>

#include "fileops/file_system.h"

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
FsStatus DeleteForGood(const std::wstring& path, bool clearReadOnly);

}  // namespace ablagix
