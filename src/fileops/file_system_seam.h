// The file system as the engine uses it: listing folders, attributes, folders, staged copies
// that become visible under their name only when complete, renames that never replace by
// accident, deleting and recycling, and atomic file writes.
//
// One implementation talks to the operating system (files_*.cpp, copy_move_*.cpp). Tests may
// put another one in front of it (testing_hooks::SetFileSystem) to make calls fail the way
// the world does: a full disk, a locked file, a folder that vanishes in the middle of a run.
// Users never get anything but the real one.
//
// The free functions of file_ops.h and copy_move.h go through the active file system, so every
// caller of the program is reached by the same seam.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "fileops/file_ops.h"
#include "fileops/system_error.h"

namespace ablagix {

// Called now and then with the bytes done and the total; returning false cancels.
using CopyProgress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

// A file to act on: its path, and what it was when the program found it. Given the
// identities, an operation first compares them with what the name stands for now and refuses
// another file (kNotTheFoundFile): a file swapped for another one or for a link between the
// scan and the action is never read, moved or deleted in its place. On Linux the operation
// then works relative to the folder it checked, never through the path text again.
struct FileRef {
  FileRef() = default;
  // A path alone checks nothing but that the name is no link.
  FileRef(std::wstring p) : path(std::move(p)) {}  // NOLINT(google-explicit-constructor)
  FileRef(const wchar_t* p) : path(p) {}           // NOLINT(google-explicit-constructor)
  FileRef(std::wstring p, FileId file, FileId parent = {}) : path(std::move(p)), id(file), folder(parent) {}

  std::wstring path;
  FileId id;      // the file's identity when found; unknown: not compared
  FileId folder;  // the identity of the folder that held it; unknown: not compared
  // Set where the file was read whole for a copy elsewhere: deleting it is then allowed only
  // while it is still this version (kChangedMeanwhile otherwise).
  bool versionKnown = false;
  FileVersion version;
};

enum class FileKind : std::uint8_t { kFile, kFolder, kLink, kSpecial };

// A name looked at without following it and without opening what it names (opening a pipe
// can block for ever).
struct FileInfo {
  FileKind kind = FileKind::kFile;
  FileId id;
  FileVersion version;
  std::uint32_t links = 1;  // names of the same data (hard links)
  std::uint32_t mode = 0;   // POSIX permission bits; 0 on Windows
  FileTime creation = 0;    // where the system keeps it; else the change time
  std::uint32_t attributes = 0;  // the Windows attribute bits (derived on Linux)
};

class FolderListing {
 public:
  virtual ~FolderListing() = default;
  // Fills `entry` with the next entry; false at the end. Without `details` a system whose
  // listing gives only names and kinds (Linux) leaves size, times and the read-only bit for
  // FillDetails and sets entry->detailsPending.
  virtual bool Next(DirEntry* entry, bool details) = 0;
  // Size, times and attributes of an entry that Next left without them. False when it vanished.
  virtual bool FillDetails(DirEntry* entry) = 0;
  // A subfolder this listing gave, opened relative to it without following a link; null when
  // it is gone or is no longer the folder listed (`child.id`, where known).
  virtual std::unique_ptr<FolderListing> OpenChild(const std::wstring& path, const DirEntry& child, FsStatus* status) = 0;
  // The identity of the listed folder.
  virtual FileId Identity() const = 0;
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
  // What the name itself is (a link is not followed, nothing is opened).
  virtual FsStatus Inspect(const std::wstring& path, FileInfo* info) = 0;
  virtual FsStatus SetAttributes(const std::wstring& path, std::uint32_t attributes) = 0;
  // Creates the folder and every missing parent; ok when the folder exists afterwards.
  virtual FsStatus CreateFolders(const std::wstring& folder) = 0;

  // Copies `from`, read to its end, into a staged file on the volume of `targetFolder`,
  // keeping its times and attributes. `durable`: flushed to the disk before this returns
  // (needed when the source is deleted afterwards). On failure nothing is left behind.
  virtual FsStatus StageCopy(const FileRef& from, const std::wstring& targetFolder, bool durable,
                             const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) = 0;
  // Gives the staged file the name `target`. Without `replace` a taken name fails with
  // kExists and changes nothing; with it the old file is replaced in one step.
  virtual FsStatus Commit(StagedFile& staged, const std::wstring& target, bool replace) = 0;
  // Deletes the source of a staged copy, but only while it is still the file and the version
  // that the copy read to its end; kChangedMeanwhile (and the source stays) when anything was
  // written to it since, kNotTheFoundFile when its name now stands for another file.
  virtual FsStatus RemoveCopiedSource(StagedFile& staged, const FileRef& from) = 0;
  // Renames on one volume; kNotSameVolume when the two are on different volumes. Without
  // `replace` a taken name fails with kExists, atomically where the system allows it.
  virtual FsStatus Rename(const FileRef& from, const std::wstring& to, bool replace) = 0;

  // Removes the name, a read-only one too (callers that must refuse those check first); a
  // read-only flag lifted to do so is put back for the data's other names.
  virtual FsStatus RemoveFile(const FileRef& file) = 0;
  // To the recycle bin (Windows) or the freedesktop.org trash (Linux); never deletes for good.
  virtual FsStatus Recycle(const FileRef& file) = 0;
  // Replaces the file in one step: written beside it, flushed, renamed over it.
  virtual FsStatus WriteFileAtomic(const std::wstring& path, std::string_view bytes) = 0;
};

// True when both files can be read and hold the same bytes (read side by side, stopping at
// the first difference). Neither is read through a link, nor when it is no longer the file
// its identity names.
bool FoundFilesHaveSameContent(const FileRef& a, const FileRef& b);

// The file system every caller uses: the operating system's, unless a test put another one in.
FileSystem& ActiveFileSystem();
// The operating system's, for test doubles that pass calls through.
FileSystem& NativeFileSystem();

namespace testing_hooks {
// Puts `fs` in front of every file operation; null gives the operating system's back.
void SetFileSystem(FileSystem* fs);
}  // namespace testing_hooks

}  // namespace ablagix
