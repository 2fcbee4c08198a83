// The file system layer: the only place that calls the operating system for files and
// folders. files_win32.cpp uses the wide Win32 calls on long-path forms; files_posix.cpp uses
// POSIX calls on UTF-8 names, with "\" taken as a folder separator like "/".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/calendar.h"

namespace ablagix {

// Windows FILETIME: 100-nanosecond ticks since 1601-01-01 UTC, on every platform.
using FileTime = std::int64_t;

// The Windows attribute bits. On Linux they are derived: a symbolic link is a reparse point,
// a file without write permission is read-only, a name starting with "." is hidden.
enum : std::uint32_t {
  kAttrReadOnly = 0x1,
  kAttrHidden = 0x2,
  kAttrSystem = 0x4,
  kAttrDirectory = 0x10,
  kAttrArchive = 0x20,
  kAttrNormal = 0x80,
  kAttrReparsePoint = 0x400,
};

struct DirEntry {
  std::wstring name;
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  FileTime creation = 0;
  std::uint32_t attributes = 0;

  bool IsDirectory() const { return (attributes & kAttrDirectory) != 0; }
  bool IsReparsePoint() const { return (attributes & kAttrReparsePoint) != 0; }
};

// Lists one folder in the order the file system keeps it, "." and ".." included where the
// system reports them. Name, size, times and attributes come with each entry, so the scan
// never opens a file just to look at it.
class FolderReader {
 public:
  FolderReader();
  ~FolderReader();
  FolderReader(const FolderReader&) = delete;
  FolderReader& operator=(const FolderReader&) = delete;

  // False when the folder cannot be listed (missing, no permission, not a folder).
  [[nodiscard]] bool Open(const std::wstring& folder);
  // Fills `entry` with the next entry; false at the end.
  [[nodiscard]] bool Next(DirEntry* entry);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

bool PathExists(const std::wstring& path);
bool FileExists(const std::wstring& path);    // exists and is not a folder
bool FolderExists(const std::wstring& path);  // exists and is a folder

[[nodiscard]] bool GetAttributes(const std::wstring& path, std::uint32_t* attributes);
// Tries the long-path form first, then the path as given.
bool SetAttributes(const std::wstring& path, std::uint32_t attributes);

// Creates the folder and every missing parent. True when the folder exists afterwards.
bool CreateFolders(const std::wstring& folder);

[[nodiscard]] bool GetFileSize(const std::wstring& path, std::uint64_t* size);
[[nodiscard]] bool ReadFileBytes(const std::wstring& path, std::string* bytes);
bool RemoveFile(const std::wstring& path);
bool RemoveEmptyFolder(const std::wstring& path);
// Plain copy for small files such as the profile backup; replaces `to` when it exists.
bool CopyFileReplacing(const std::wstring& from, const std::wstring& to);

// Replaces the file as one step: the bytes go to a temporary file beside it, are flushed to
// disk and then renamed over the old file. A crash or a full disk leaves the old file whole.
bool WriteFileAtomic(const std::wstring& path, std::string_view bytes);

// Creates or replaces the file with `text` as UTF-16LE code units, without byte-order mark.
bool WriteTextFile(const std::wstring& path, std::wstring_view text);
// The same with the byte-order mark FF FE in front.
bool WriteTextFileWithBom(const std::wstring& path, std::wstring_view text);

LocalDateTime FileTimeToLocal(FileTime time);
FileTime CurrentFileTime();

namespace testing_hooks {
// Called after every chunk that WriteFileAtomic writes to its temporary file, with the bytes
// written so far; returning true makes the write stop there as if the process had died.
void SetAtomicWriteInterrupt(std::function<bool(std::size_t)> interrupt);
}  // namespace testing_hooks

}  // namespace ablagix
