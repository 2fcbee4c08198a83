#include <windows.h>

#include "fileops/file_stamp.h"
#include "fileops/file_ops_internal.h"
#include "fileops/win32_handle.h"

namespace ablagix {

bool ReadFileStamp(const std::wstring& path, FileStamp* stamp) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(file_ops_internal::ApiPath(path).c_str(), GetFileExInfoStandard, &data)) return false;
  if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return false;
  stamp->size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  stamp->lastWrite = static_cast<FileTime>((static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
                                           data.ftLastWriteTime.dwLowDateTime);
  return true;
}

bool SetFileLastWrite(const std::wstring& path, FileTime time) {
  UniqueFile file(CreateFileW(file_ops_internal::ApiPath(path).c_str(), FILE_WRITE_ATTRIBUTES,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file) return false;
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) >> 32);
  return SetFileTime(file.get(), nullptr, nullptr, &ft) != 0;
}

}  // namespace ablagix
