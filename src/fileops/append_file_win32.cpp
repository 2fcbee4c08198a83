#include <windows.h>

#include <algorithm>

#include "fileops/append_file.h"
#include "fileops/file_ops_internal.h"
#include "fileops/win32_handle.h"

namespace ablagix {

struct AppendFile::Impl {
  UniqueFile file;
};

AppendFile::AppendFile() : impl_(std::make_unique<Impl>()) {}
AppendFile::~AppendFile() = default;

namespace {
// Appending only; others may read, nobody else may write or delete while it is held.
constexpr DWORD kAccess = FILE_APPEND_DATA | SYNCHRONIZE | FILE_READ_ATTRIBUTES;
}  // namespace

bool AppendFile::Create(const std::wstring& path) {
  impl_->file.reset(CreateFileW(file_ops_internal::ApiPath(path).c_str(), kAccess, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!impl_->file) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

AppendFile::Opened AppendFile::OpenExisting(const std::wstring& path) {
  impl_->file.reset(CreateFileW(file_ops_internal::ApiPath(path).c_str(), kAccess, FILE_SHARE_READ, nullptr,
                                OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (impl_->file) return Opened::kOk;
  lastError_ = GetLastError();
  return lastError_ == ERROR_SHARING_VIOLATION || lastError_ == ERROR_LOCK_VIOLATION ? Opened::kBusy
                                                                                     : Opened::kFailed;
}

bool AppendFile::Append(std::string_view bytes) {
  while (!bytes.empty()) {
    DWORD written = 0;
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(bytes.size(), 1u << 30));
    if (!WriteFile(impl_->file.get(), bytes.data(), chunk, &written, nullptr) || written == 0) {
      lastError_ = written == 0 && GetLastError() == 0 ? ERROR_DISK_FULL : GetLastError();
      return false;
    }
    bytes.remove_prefix(written);
  }
  return true;
}

bool AppendFile::Flush() {
  if (FlushFileBuffers(impl_->file.get())) return true;
  lastError_ = GetLastError();
  return false;
}

void AppendFile::Close() { impl_->file.reset(); }

bool AppendFile::isOpen() const { return static_cast<bool>(impl_->file); }

}  // namespace ablagix
