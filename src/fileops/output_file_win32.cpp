// Win32 implementation of the output file. Paths are handed over in the long-path form, so
// archives deeper than 260 characters are written as well.
#include <windows.h>
#include <winioctl.h>


#include "base/text.h"
#include "fileops/file_ops_internal.h"
#include "fileops/output_file.h"
#include "fileops/path_text.h"
#include "fileops/temp_files.h"
#include "fileops/win32_handle.h"

namespace ablagix {

using file_ops_internal::ApiPath;

struct OutputFile::Impl {
  UniqueFile file;
};

OutputFile::OutputFile() : impl_(std::make_unique<Impl>()) {}
OutputFile::~OutputFile() = default;

bool OutputFile::Create(const std::wstring& path) {
  // Readers may look at the growing file; nobody else may write or delete it meanwhile. One of
  // the program's temporary files stays out of sight until it is finished.
  const DWORD attributes = IsTempFileName(NamePart(path)) ? FILE_ATTRIBUTE_HIDDEN : FILE_ATTRIBUTE_NORMAL;
  impl_->file.reset(CreateFileW(ApiPath(path).c_str(), GENERIC_WRITE | FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                                CREATE_NEW, attributes | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!impl_->file) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

bool OutputFile::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  return WriteAllAt(impl_->file.get(), offset, data, size, ERROR_DISK_FULL, &lastError_);
}

bool OutputFile::SetSize(std::uint64_t size) {
  FILE_END_OF_FILE_INFO info{};
  info.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
  if (!SetFileInformationByHandle(impl_->file.get(), FileEndOfFileInfo, &info, sizeof info)) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

bool OutputFile::Flush() {
  if (!FlushFileBuffers(impl_->file.get())) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

bool OutputFile::SetPermissions(std::uint32_t) { return true; }

bool OutputFile::Unhide() {
  FILE_BASIC_INFO basic{};
  if (!GetFileInformationByHandleEx(impl_->file.get(), FileBasicInfo, &basic, sizeof basic)) return false;
  if (!(basic.FileAttributes & FILE_ATTRIBUTE_HIDDEN)) return true;
  basic.FileAttributes &= ~DWORD{FILE_ATTRIBUTE_HIDDEN};
  if (basic.FileAttributes == 0) basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  return SetFileInformationByHandle(impl_->file.get(), FileBasicInfo, &basic, sizeof basic) != 0;
}
std::uint32_t OutputFile::CreatedPermissions() const { return 0666; }

void OutputFile::Close() { impl_->file.reset(); }
bool OutputFile::isOpen() const { return static_cast<bool>(impl_->file); }

bool RenameReplacing(const std::wstring& from, const std::wstring& to, std::uint32_t* error) {
  if (MoveFileExW(ApiPath(from).c_str(), ApiPath(to).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return true;
  }
  if (error) *error = GetLastError();
  return false;
}

bool GetLastWriteTime(const std::wstring& path, FileTime* time) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(ApiPath(path).c_str(), GetFileExInfoStandard, &data)) return false;
  *time = static_cast<FileTime>((static_cast<std::uint64_t>(data.ftLastWriteTime.dwHighDateTime) << 32) |
                                data.ftLastWriteTime.dwLowDateTime);
  return true;
}

bool CreateSparseFile(const std::wstring& path, std::uint64_t size) {
  UniqueFile file(CreateFileW(ApiPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return false;
  // Where the volume does not support sparse files the file simply takes its room.
  DWORD returned = 0;
  DeviceIoControl(file.get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
  FILE_END_OF_FILE_INFO info{};
  info.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
  return SetFileInformationByHandle(file.get(), FileEndOfFileInfo, &info, sizeof info) != 0;
}

}  // namespace ablagix
