// Ledgers on Windows: held open without sharing delete or write for the life of the process;
// the system closes the handle when the process ends, however it ends.
#include <windows.h>

#include "fileops/file_ops_internal.h"
#include "fileops/temp_files_internal.h"
#include "fileops/win32_handle.h"

namespace ablagix::temp_files_internal {

struct Ledger::Impl {
  UniqueFile file;
};

Ledger::Ledger() : impl_(std::make_unique<Impl>()) {}
Ledger::~Ledger() = default;

bool Ledger::Create(const std::wstring& path) {
  impl_->file.reset(CreateFileW(file_ops_internal::ApiPath(path).c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr,
                                CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  return static_cast<bool>(impl_->file);
}

bool Ledger::Append(std::string_view bytes) {
  DWORD written = 0;
  return WriteFile(impl_->file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
         written == bytes.size();
}

bool TakeAbandonedLedger(const std::wstring& path, std::string* content) {
  // Asking for delete access fails while the process that holds it lives.
  UniqueFile file(CreateFileW(file_ops_internal::ApiPath(path).c_str(), GENERIC_READ | DELETE, FILE_SHARE_READ, nullptr,
                              OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file) return false;
  content->clear();
  char buffer[4096];
  DWORD read = 0;
  while (ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr) && read > 0) content->append(buffer, read);
  return true;
}

}  // namespace ablagix::temp_files_internal
