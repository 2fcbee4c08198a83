// Low-level file access for work that must change a file where it lies: overwriting its bytes
// in place and renaming it without ever replacing another file. in_place_io_win32.cpp uses the
// wide calls on long-path forms, in_place_io_posix.cpp the POSIX calls on UTF-8 names.
//
// Errors are the system's own codes (GetLastError on Windows, errno on Linux), so a caller can
// put them into a log row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fileops/file_system_seam.h"

namespace ablagix {

// An existing file opened for writing without truncating it. On Windows nobody else may write
// to it or delete it while it is held.
class InPlaceFile {
 public:
  InPlaceFile();
  ~InPlaceFile();
  InPlaceFile(const InPlaceFile&) = delete;
  InPlaceFile& operator=(const InPlaceFile&) = delete;

  // Opens an existing regular file. Refuses symbolic links (and junctions): overwriting
  // through one would destroy the content of a file elsewhere. With the identities of `file`
  // known, another file under its name is refused too.
  [[nodiscard]] bool Open(const FileRef& file);
  [[nodiscard]] bool Size(std::uint64_t* size);
  // How many names the file's data has (hard links); 1 when the system does not say.
  [[nodiscard]] bool Links(std::uint32_t* links);
  // The identity of the file that was opened.
  FileId Identity();
  // Writes all `size` bytes at `offset`; never moves the end of the file unless the write
  // reaches past it.
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* data, std::size_t size);
  // Pushes the written bytes to the disk, past the system's cache.
  [[nodiscard]] bool Flush();
  void Close();

  // The system error code of the last call that failed.
  std::uint32_t LastError() const { return lastError_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::uint32_t lastError_ = 0;
};

// A file opened for reading only, for readers that need a few pieces of a large file (picture
// metadata, document properties) rather than all of it. Others may go on reading, writing and
// deleting it meanwhile.
class ReadOnlyFile {
 public:
  ReadOnlyFile();
  ~ReadOnlyFile();
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

  // Opens an existing regular file (links are followed, as any reader would; a pipe is
  // never waited on).
  [[nodiscard]] bool Open(const std::wstring& path);
  // Opens the file a scan found: never through a link, and only while its name still stands
  // for that file (its identities, where known). False with the reason in `status`.
  [[nodiscard]] bool OpenFound(const FileRef& file, FsStatus* status = nullptr);
  std::uint64_t size() const { return size_; }
  // The file's size and times now, read from the open file: the same version before and after
  // reading means nothing was written meanwhile.
  [[nodiscard]] bool Version(FileVersion* version, FileId* id = nullptr, std::uint32_t* mode = nullptr);
  // Up to `count` bytes from `offset` into `out` (fewer at the end of the file). False on a
  // read error.
  [[nodiscard]] bool ReadAt(std::uint64_t offset, std::size_t count, std::string* out);
  // The same into the caller's memory, for readers that reuse one buffer: `*got` bytes were
  // read (fewer than `count` only at the end of the file).
  [[nodiscard]] bool ReadInto(std::uint64_t offset, char* buffer, std::size_t count, std::size_t* got);
  void Close();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::uint64_t size_ = 0;
};

// True for a symbolic link or a junction (not for other reparse points such as cloud
// placeholders, which hold the file's own data).
bool IsSymbolicLink(const std::wstring& path);

// Renames `from` to `to` (full paths). Fails with the "exists" error when `to` is taken,
// rather than replacing it. `error` (optional) receives the system error code.
[[nodiscard]] bool RenameNoReplace(const std::wstring& from, const std::wstring& to,
                                   std::uint32_t* error = nullptr);

// True when the error code says the target of RenameNoReplace exists already.
bool IsAlreadyExistsError(std::uint32_t error);

// The system error code of the most recent failed call on this thread.
std::uint32_t LastSystemError();

}  // namespace ablagix
