// Acting on exactly the file that was found, on Linux; for the *_posix.cpp files only.
//
// A found file is reached through its folder: the folder is opened (or taken from a small
// per-thread cache while it is still the same folder), compared with the identity the scan
// saw, and every later call works relative to that folder's handle with the name's own bytes.
// The name is looked at with lstat first and compared with the file's identity, so a name
// that was swapped for another file or a link meanwhile is refused, not acted on.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>

#include "fileops/file_system_seam.h"
#include "fileops/posix_fd.h"

namespace ablagix::file_ops_internal {

// The folder of a file, opened, and the file's name in it.
struct ParentFolder {
  std::shared_ptr<UniqueFd> handle;
  std::string name;  // the name's own bytes
  int fd() const { return handle->get(); }
};

FileId IdOf(const struct stat& st);
FileVersion VersionOf(const struct stat& st);
FileKind KindOf(mode_t mode);

// The system error of the last call as a status.
FsStatus ErrnoStatus(FsSide side);

// Opens the folder that holds `ref`. With `ref.folder` known, a folder that is no longer that
// one is refused (kNotTheFoundFile).
FsStatus OpenParentOf(const FileRef& ref, FsSide side, ParentFolder* parent);
// The name in `parent` looked at without following it; with `ref.id` known, another file
// under the name is refused (kNotTheFoundFile), and with a version, another version
// (kChangedMeanwhile).
FsStatus StatFound(const ParentFolder& parent, const FileRef& ref, FsSide side, struct stat* st);
// Opens the found file itself (`flags`: O_RDONLY or O_WRONLY), never through a link and never
// blocking on a pipe, and checks that what was opened is that file and a regular file.
FsStatus OpenFound(const FileRef& ref, int flags, FsSide side, UniqueFd* fd, struct stat* st,
                   ParentFolder* parent = nullptr);

}  // namespace ablagix::file_ops_internal
