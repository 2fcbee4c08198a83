// A new file written front to back, for writers that build a large file under a temporary
// name and put it in place only when it is complete (zip archives). The file is created
// exclusively, so it never replaces or writes through anything that is already there.
// output_file_win32.cpp uses the wide calls on long-path forms, output_file_posix.cpp POSIX.
//
// Errors are the system's own codes (GetLastError on Windows, errno on Linux).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "fileops/file_ops.h"
#include "fileops/system_error.h"

namespace ablagix {

class OutputFile {
 public:
  OutputFile();
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Creates the file; fails with the "exists" error when the name is taken. A temporary name of
  // the program's (temp_files.h) is hidden on Windows too, until Unhide.
  [[nodiscard]] bool Create(const std::wstring& path);
  // Takes the hidden attribute away again, for the moment the file gets its final name.
  bool Unhide();
  // Writes all bytes at `offset`, growing the file when the write reaches past its end.
  [[nodiscard]] bool WriteAt(std::uint64_t offset, const void* data, std::size_t size);
  // Cuts the file (or extends it with zeros) to `size` bytes.
  [[nodiscard]] bool SetSize(std::uint64_t size);
  // Pushes the written bytes to the disk, past the system's cache.
  [[nodiscard]] bool Flush();
  // Sets the POSIX permission bits (`mode` & 07777); nothing to do on Windows.
  [[nodiscard]] bool SetPermissions(std::uint32_t mode);
  // The permission bits the file was created with (the process's umask applied); 0666 on
  // Windows.
  std::uint32_t CreatedPermissions() const;
  void Close();
  bool isOpen() const;

  // The system error code of the last call that failed.
  std::uint32_t LastError() const { return lastError_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::uint32_t lastError_ = 0;
};

// Renames `from` to `to`, replacing `to` when it exists. `error` receives the system code.
[[nodiscard]] bool RenameReplacing(const std::wstring& from, const std::wstring& to, std::uint32_t* error = nullptr);

// The last-write time of a file or folder.
[[nodiscard]] bool GetLastWriteTime(const std::wstring& path, FileTime* time);

// Creates a file of `size` bytes that takes no room on the disk where the file system allows
// it (a sparse file), for tests and benchmarks with very large inputs.
[[nodiscard]] bool CreateSparseFile(const std::wstring& path, std::uint64_t size);

}  // namespace ablagix
