// A file that one process at a time writes to, only at its end: the journal of a run. The
// writer holds it locked for as long as it has it open (an exclusive lock on Linux, a share
// mode that lets others only read on Windows), so a second writer — an undo of a run that is
// still going — is refused instead of writing over it, and every line goes to the end, where
// the system puts it (O_APPEND, FILE_APPEND_DATA).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace ablagix {

class AppendFile {
 public:
  enum class Opened { kOk, kBusy, kFailed };

  AppendFile();
  ~AppendFile();
  AppendFile(const AppendFile&) = delete;
  AppendFile& operator=(const AppendFile&) = delete;

  // A new file, readable by its owner only; fails with the "exists" error when the name is taken.
  [[nodiscard]] bool Create(const std::wstring& path);
  // An existing file; kBusy while another process holds it.
  [[nodiscard]] Opened OpenExisting(const std::wstring& path);
  // All of `bytes` at the end, or false.
  [[nodiscard]] bool Append(std::string_view bytes);
  // Pushes what was appended to the disk, past the system's cache.
  [[nodiscard]] bool Flush();
  void Close();
  bool isOpen() const;
  std::uint32_t LastError() const { return lastError_; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::uint32_t lastError_ = 0;
};

}  // namespace ablagix
