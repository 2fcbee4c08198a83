// Shared between file_ops_common.cpp and the platform files; not for other callers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "fileops/file_system_seam.h"
#include "fileops/full_path.h"

namespace ablagix::file_ops_internal {

constexpr std::size_t kAtomicChunk = 1 << 16;

// Whether the test hook asks the atomic writer to stop after `written` bytes.
bool AtomicWriteInterrupted(std::size_t written);

// Name of the temporary file that WriteFileAtomic writes before the rename. Unique per call
// so two writers never share one.
std::wstring AtomicTempName(const std::wstring& path);
// A temporary name inside `folder` for a staged copy (temp_files.h): short (so it fits beside
// any name), unique per call, and starting with "." so it stays out of sight.
std::wstring StagingName(const std::wstring& folder);

// The path as the system calls take it. Windows: "/" made "\", made absolute, and in the
// long-path form. POSIX: UTF-8 with "\" made "/".
std::wstring ApiPath(const std::wstring& path);
// Windows only: the absolute, normalised path with "\" separators, without the prefix.
using ablagix::FullPathText;
std::string NativePath(const std::wstring& path);

// The offset of local time from UTC, in seconds, at the given moment (seconds since 1970).
bool UtcOffsetAt(std::int64_t seconds, std::int64_t* offset);
// Changes when the process's time zone changes, so cached offsets can be dropped.
std::uint64_t ZoneStamp();

// The operating system's file system. Its members are spread over the platform files:
// listing and attributes in files_*.cpp, staged copies and renames in copy_move_*.cpp,
// recycling in recycle_common.cpp.
class NativeFs final : public FileSystem {
 public:
  std::unique_ptr<FolderListing> OpenFolder(const std::wstring& folder, FsStatus* status) override;
  FsStatus GetAttributes(const std::wstring& path, std::uint32_t* attributes) override;
  FsStatus SetAttributes(const std::wstring& path, std::uint32_t attributes) override;
  FsStatus Inspect(const std::wstring& path, FileInfo* info) override;
  FsStatus CreateFolders(const std::wstring& folder) override;
  FsStatus StageCopy(const FileRef& from, const std::wstring& targetFolder, bool durable,
                     const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) override;
  FsStatus Commit(StagedFile& staged, const std::wstring& target, bool replace) override;
  FsStatus RemoveCopiedSource(StagedFile& staged, const FileRef& from) override;
  FsStatus Rename(const FileRef& from, const std::wstring& to, bool replace) override;
  FsStatus RemoveFile(const FileRef& file) override;
  FsStatus Recycle(const FileRef& file) override;
  FsStatus WriteFileAtomic(const std::wstring& path, std::string_view bytes) override;
};

}  // namespace ablagix::file_ops_internal
