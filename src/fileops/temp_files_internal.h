// The locked ledger files of temp_files.cpp; one implementation per platform.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace ablagix::temp_files_internal {

// This process's ledger: created and locked at once, held until the process ends.
class Ledger {
 public:
  Ledger();
  ~Ledger();
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;
  [[nodiscard]] bool Create(const std::wstring& path);
  // Appends to the file at once: a process that is killed right afterwards has noted it.
  bool Append(std::string_view bytes);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Reads and removes the ledger at `path` if its process has ended (nobody holds it locked);
// false while it lives or when it cannot be read.
bool TakeAbandonedLedger(const std::wstring& path, std::string* content);

}  // namespace ablagix::temp_files_internal
