// Acting on exactly the file that was found, on Windows; for the *_win32.cpp files only.
//
// A found file is opened by its long-path form built from the listed name (never normalised
// into another name), without following a reparse point that names another place, and what
// was opened is compared with the identity the scan saw (volume serial number and file ID).
#pragma once

#include <windows.h>

#include "fileops/file_system_seam.h"
#include "fileops/win32_handle.h"

namespace ablagix::file_ops_internal {

// A symbolic link, junction or mount point names another place; the reparse tag says so by its
// name-surrogate bit. Cloud placeholders, deduplicated and compressed files carry tags without
// it: they hold their own data. A listing that names no tag (some emulations of the system do
// not) is taken for a link: not following an unknown reparse point is the safe side.
bool IsNameSurrogate(DWORD attributes, DWORD reparseTag);

FileTime FileTimeOf(const FILETIME& ft);

// What an open handle is: kind, identity, version and number of names.
FsStatus DescribeHandle(HANDLE file, FsSide side, FileInfo* info);

// Opens the found file with `access` and `share` (plus `flags`), never through a link, and checks
// that it is a file and, where `ref` knows them, the found file in the found version.
FsStatus OpenFoundFile(const FileRef& ref, DWORD access, DWORD share, DWORD flags, FsSide side, UniqueFile* file,
                       FileInfo* info);

// Deletes the open file (`file`, opened with DELETE and FILE_WRITE_ATTRIBUTES access, described
// by `info`), lifting a read-only flag on the handle if it must and putting it back for the
// data's other names.
FsStatus DeleteByHandle(HANDLE file, const FileInfo& info, FsSide side);

}  // namespace ablagix::file_ops_internal
