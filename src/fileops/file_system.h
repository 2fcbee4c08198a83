// The file system as the engine uses it: listing folders, attributes, folders, staged copies
// that become visible under their name only when complete, renames that never replace by
// accident, deleting and recycling, and atomic file writes.
//
// One implementation talks to the operating system (files_*.cpp, copy_move_*.cpp). Tests may
// put another one in front of it (testing_hooks::SetFileSystem) to make calls fail the way
// the world does: a full disk, a locked file, a folder that vanishes in the middle of a run.
// Users never get anything but the real one.
//
// The free functions of files.h and copy_move.h go through the active file system, so every
// caller of the program is reached by the same seam.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "fileops/files.h"
#include "fileops/system_error.h"

namespace ablagix {

// Called now and then with the bytes done and the total; returning false cancels.
using CopyProgress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

class FolderListing {
 public:
  virtual ~FolderListing() = default;
  // Fills `entry` with the next entry; false at the end. Without `details` a system whose
  // listing gives only names and kinds (Linux) leaves size, times and the read-only bit for
  // FillDetails and sets entry->detailsPending.
  virtual bool Next(DirEntry* entry, bool details) = 0;
  // Size, times and attributes of an entry that Next left without them. False when it vanished.
  virtual bool FillDetails(DirEntry* entry) = 0;
};

// A complete copy of a file that nobody can see under a name yet. Destroying it without a
// commit removes it again, so a failed or cancelled copy never leaves anything behind.
class StagedFile {
 public:
  virtual ~StagedFile() = default;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // Null when the folder cannot be listed (missing, no permission, not a folder).
  virtual std::unique_ptr<FolderListing> OpenFolder(const std::wstring& folder, FsStatus* status) = 0;
  // The Windows attribute bits of the file or folder itself (a link is not followed, but a
  // link to a folder also carries the folder bit).
  virtual FsStatus GetAttributes(const std::wstring& path, std::uint32_t* attributes) = 0;
  virtual FsStatus SetAttributes(const std::wstring& path, std::uint32_t attributes) = 0;
  // Creates the folder and every missing parent; ok when the folder exists afterwards.
  virtual FsStatus CreateFolders(const std::wstring& folder) = 0;

  // Copies `from` into a staged file on the volume of `targetFolder`, keeping its times and
  // attributes. `durable`: flushed to the disk before this returns (needed when the source is
  // deleted afterwards). On failure nothing is left behind.
  virtual FsStatus StageCopy(const std::wstring& from, const std::wstring& targetFolder, bool durable,
                             const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) = 0;
  // Gives the staged file the name `target`. Without `replace` a taken name fails with
  // kExists and changes nothing; with it the old file is replaced in one step.
  virtual FsStatus Commit(StagedFile& staged, const std::wstring& target, bool replace) = 0;
  // Renames on one volume; kNotSameVolume when the two are on different volumes. Without
  // `replace` a taken name fails with kExists, atomically where the system allows it.
  virtual FsStatus Rename(const std::wstring& from, const std::wstring& to, bool replace) = 0;

  virtual FsStatus RemoveFile(const std::wstring& path) = 0;
  // To the recycle bin (Windows) or the freedesktop.org trash (Linux); never deletes for good.
  virtual FsStatus Recycle(const std::wstring& path) = 0;
  // Replaces the file in one step: written beside it, flushed, renamed over it.
  virtual FsStatus WriteFileAtomic(const std::wstring& path, std::string_view bytes) = 0;
};

// The file system every caller uses: the operating system's, unless a test put another one in.
FileSystem& ActiveFileSystem();
// The operating system's, for test doubles that pass calls through.
FileSystem& NativeFileSystem();

namespace testing_hooks {
// Puts `fs` in front of every file operation; null gives the operating system's back.
void SetFileSystem(FileSystem* fs);
}  // namespace testing_hooks

}  // namespace ablagix
