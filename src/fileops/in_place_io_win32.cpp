// Win32 implementation of in-place file access. Paths are made absolute and handed over in
// the long-path form, so files deeper than 260 characters are reached as well.
#include <windows.h>

#include <algorithm>

#include "fileops/in_place_io.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/win32_found.h"
#include "fileops/win32_handle.h"

namespace ablagix {
namespace {

using file_ops_internal::ApiPath;

// Symbolic links and junctions: writing through them would reach another file. Other
// reparse points (cloud placeholders, deduplicated files) hold the file's own data.
bool IsLink(const std::wstring& apiPath) {
  UniqueFile probe(CreateFileW(apiPath.c_str(), FILE_READ_ATTRIBUTES,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS,
                               nullptr));
  if (!probe) return false;  // the real open below reports the error
  FILE_ATTRIBUTE_TAG_INFO info{};
  if (!GetFileInformationByHandleEx(probe.get(), FileAttributeTagInfo, &info, sizeof info)) {
    return false;
  }
  return (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) &&
         (info.ReparseTag == IO_REPARSE_TAG_SYMLINK || info.ReparseTag == IO_REPARSE_TAG_MOUNT_POINT);
}

}  // namespace

struct InPlaceFile::Impl {
  UniqueFile file;
};

InPlaceFile::InPlaceFile() : impl_(std::make_unique<Impl>()) {}
InPlaceFile::~InPlaceFile() = default;

bool InPlaceFile::Open(const FileRef& file) {
  impl_->file.reset();
  // Others may still read (they would only see bytes that are being destroyed anyway), but
  // nobody may write or delete while the passes run. Never through a link, never another
  // file than the one found.
  FileInfo info;
  const FsStatus status =
      file_ops_internal::OpenFoundFile(file, GENERIC_WRITE, FILE_SHARE_READ, 0, FsSide::kUnknown, &impl_->file, &info);
  if (!status.ok()) {
    lastError_ = status.code != 0 ? status.code
                 : status.error == FsError::kNotRegularFile ? static_cast<std::uint32_t>(ERROR_INVALID_PARAMETER)
                                                            : static_cast<std::uint32_t>(ERROR_CANT_ACCESS_FILE);
    impl_->file.reset();
    return false;
  }
  return true;
}

bool InPlaceFile::Links(std::uint32_t* links) {
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(impl_->file.get(), &info)) {
    lastError_ = GetLastError();
    return false;
  }
  *links = info.nNumberOfLinks;
  return true;
}

FileId InPlaceFile::Identity() {
  FileInfo info;
  return file_ops_internal::DescribeHandle(impl_->file.get(), FsSide::kUnknown, &info).ok() ? info.id : FileId{};
}

bool InPlaceFile::Size(std::uint64_t* size) {
  LARGE_INTEGER li;
  if (!GetFileSizeEx(impl_->file.get(), &li)) {
    lastError_ = GetLastError();
    return false;
  }
  *size = static_cast<std::uint64_t>(li.QuadPart);
  return true;
}

bool InPlaceFile::WriteAt(std::uint64_t offset, const void* data, std::size_t size) {
  return WriteAllAt(impl_->file.get(), offset, data, size, ERROR_WRITE_FAULT, &lastError_);
}

bool InPlaceFile::Flush() {
  if (!FlushFileBuffers(impl_->file.get())) {
    lastError_ = GetLastError();
    return false;
  }
  return true;
}

void InPlaceFile::Close() { impl_->file.reset(); }

struct ReadOnlyFile::Impl {
  UniqueFile file;
};

ReadOnlyFile::ReadOnlyFile() : impl_(std::make_unique<Impl>()) {}
ReadOnlyFile::~ReadOnlyFile() = default;

bool ReadOnlyFile::Open(const std::wstring& path) {
  size_ = 0;
  impl_->file.reset(CreateFileW(ApiPath(path).c_str(), GENERIC_READ,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                FILE_FLAG_RANDOM_ACCESS, nullptr));
  LARGE_INTEGER li{};
  if (!impl_->file || GetFileType(impl_->file.get()) != FILE_TYPE_DISK || !GetFileSizeEx(impl_->file.get(), &li)) {
    impl_->file.reset();
    return false;
  }
  size_ = static_cast<std::uint64_t>(li.QuadPart);
  return true;
}

bool ReadOnlyFile::OpenFound(const FileRef& file, FsStatus* status) {
  size_ = 0;
  FileInfo info;
  const FsStatus opened =
      file_ops_internal::OpenFoundFile(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    FILE_FLAG_RANDOM_ACCESS, FsSide::kSource, &impl_->file, &info);
  if (status) *status = opened;
  if (!opened.ok()) {
    impl_->file.reset();
    return false;
  }
  size_ = info.version.size;
  return true;
}

bool ReadOnlyFile::Version(FileVersion* version, FileId* id, std::uint32_t* mode) {
  FileInfo info;
  if (!impl_->file || !file_ops_internal::DescribeHandle(impl_->file.get(), FsSide::kSource, &info).ok()) return false;
  *version = info.version;
  if (id) *id = info.id;
  if (mode) *mode = 0;
  return true;
}

bool ReadOnlyFile::ReadAt(std::uint64_t offset, std::size_t count, std::string* out) {
  out->clear();
  if (offset >= size_) return static_cast<bool>(impl_->file);
  out->resize(static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset)));
  std::size_t got = 0;
  const bool ok = ReadInto(offset, out->data(), out->size(), &got);
  out->resize(ok ? got : 0);
  return ok;
}

bool ReadOnlyFile::ReadInto(std::uint64_t offset, char* buffer, std::size_t count, std::size_t* got) {
  *got = 0;
  if (!impl_->file) return false;
  if (offset >= size_) return true;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset));
  std::size_t done = 0;
  while (done < count) {
    OVERLAPPED at{};
    const std::uint64_t position = offset + done;
    at.Offset = static_cast<DWORD>(position);
    at.OffsetHigh = static_cast<DWORD>(position >> 32);
    DWORD read = 0;
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(count - done, 1u << 30));
    if (!ReadFile(impl_->file.get(), buffer + done, chunk, &read, &at)) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      return false;
    }
    if (read == 0) break;
    done += read;
  }
  *got = done;
  return true;
}

void ReadOnlyFile::Close() { impl_->file.reset(); }

bool IsSymbolicLink(const std::wstring& path) { return IsLink(ApiPath(path)); }

bool RenameNoReplace(const std::wstring& from, const std::wstring& to, std::uint32_t* error) {
  // Without MOVEFILE_REPLACE_EXISTING the call fails when `to` exists.
  if (MoveFileExW(ApiPath(from).c_str(), ApiPath(to).c_str(), MOVEFILE_WRITE_THROUGH)) return true;
  if (error) *error = GetLastError();
  return false;
}

bool IsAlreadyExistsError(std::uint32_t error) {
  return error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS;
}

std::uint32_t LastSystemError() { return GetLastError(); }

}  // namespace ablagix
