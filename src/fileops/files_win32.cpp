// Win32 implementation of the file system layer. Every call takes the long-path form
// ("\\?\C:\..." or "\\?\UNC\server\share\..."), so paths beyond 260 characters work even
// where the process is not long-path aware.
#include <windows.h>

#include "base/text.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/path_text.h"
#include "fileops/win32_handle.h"

namespace ablagix {
namespace {


FileTime ToFileTime(const FILETIME& ft) {
  return static_cast<FileTime>((static_cast<std::uint64_t>(ft.dwHighDateTime) << 32) |
                               ft.dwLowDateTime);
}

}  // namespace

namespace files_internal {

std::wstring FullPathText(const std::wstring& path) {
  std::wstring p = path;
  for (auto& c : p) {
    if (c == L'/') c = L'\\';
  }
  DWORD needed = GetFullPathNameW(p.c_str(), 0, nullptr, nullptr);
  if (needed == 0) return p;
  std::wstring full(needed, L'\0');
  DWORD length = GetFullPathNameW(p.c_str(), needed, full.data(), nullptr);
  if (length == 0 || length >= needed) return p;
  full.resize(length);
  return full;
}

std::wstring ApiPath(const std::wstring& path) {
  if (path.starts_with(L"\\\\?\\")) return path;
  return LongPathForm(FullPathText(path));
}

}  // namespace files_internal

namespace {

using files_internal::ApiPath;

DWORD AttributesOf(const std::wstring& path) {
  return GetFileAttributesW(ApiPath(path).c_str());
}

bool WriteAll(HANDLE file, const char* data, std::size_t size) {
  while (size > 0) {
    DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
    DWORD written = 0;
    if (!WriteFile(file, data, chunk, &written, nullptr) || written == 0) return false;
    data += written;
    size -= written;
  }
  return true;
}

}  // namespace

struct FolderReader::Impl {
  UniqueFind find;
  WIN32_FIND_DATAW data{};
  bool havePending = false;
};

FolderReader::FolderReader() : impl_(std::make_unique<Impl>()) {}
FolderReader::~FolderReader() = default;

bool FolderReader::Open(const std::wstring& folder) {
  impl_->find.reset();
  impl_->havePending = false;
  std::wstring pattern = WithTrailingBackslash(ApiPath(folder)) + L"*";
  // Basic info skips the short 8.3 name, large fetch asks for bigger directory buffers:
  // both make listing big folders noticeably faster.
  impl_->find.reset(FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &impl_->data,
                                     FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH));
  impl_->havePending = static_cast<bool>(impl_->find);
  return impl_->havePending;
}

bool FolderReader::Next(DirEntry* entry) {
  if (!impl_->find) return false;
  if (!impl_->havePending) {
    if (!FindNextFileW(impl_->find.get(), &impl_->data)) {
      impl_->find.reset();
      return false;
    }
  }
  impl_->havePending = false;
  const WIN32_FIND_DATAW& d = impl_->data;
  // The name is taken by its length inside the fixed 260-character field, never beyond it.
  size_t length = wcsnlen(d.cFileName, MAX_PATH);
  entry->name.assign(d.cFileName, length);
  entry->size = (static_cast<std::uint64_t>(d.nFileSizeHigh) << 32) | d.nFileSizeLow;
  entry->lastWrite = ToFileTime(d.ftLastWriteTime);
  entry->creation = ToFileTime(d.ftCreationTime);
  entry->attributes = d.dwFileAttributes;
  return true;
}

bool PathExists(const std::wstring& path) { return AttributesOf(path) != INVALID_FILE_ATTRIBUTES; }

bool FileExists(const std::wstring& path) {
  DWORD a = AttributesOf(path);
  return a != INVALID_FILE_ATTRIBUTES && !(a & FILE_ATTRIBUTE_DIRECTORY);
}

bool FolderExists(const std::wstring& path) {
  DWORD a = AttributesOf(path);
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

bool GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  DWORD a = AttributesOf(path);
  if (a == INVALID_FILE_ATTRIBUTES) return false;
  *attributes = a;
  return true;
}

bool SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  if (SetFileAttributesW(ApiPath(path).c_str(), attributes)) return true;
  return SetFileAttributesW(path.c_str(), attributes) != 0;
}

bool CreateFolders(const std::wstring& folder) {
  std::wstring full = ApiPath(folder);
  while (full.size() > 4 && full.back() == L'\\') full.pop_back();
  // Skip the prefix and the root ("\\?\C:\" or "\\?\UNC\server\share\"): those are never created.
  size_t start = 4;
  if (full.compare(0, 8, L"\\\\?\\UNC\\") == 0) {
    start = full.find(L'\\', 8);
    start = start == std::wstring::npos ? full.size() : full.find(L'\\', start + 1);
    if (start == std::wstring::npos) start = full.size();
  } else {
    size_t root = full.find(L'\\', 4);
    start = root == std::wstring::npos ? full.size() : root + 1;
  }
  for (size_t pos = start; pos <= full.size(); ++pos) {
    if (pos != full.size() && full[pos] != L'\\') continue;
    std::wstring part = full.substr(0, pos);
    CreateDirectoryW(part.c_str(), nullptr);  // failures are judged by the final check
  }
  DWORD a = GetFileAttributesW(full.c_str());
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY);
}

bool GetFileSize(const std::wstring& path, std::uint64_t* size) {
  UniqueFile file(CreateFileW(ApiPath(path).c_str(), FILE_READ_ATTRIBUTES,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return false;
  LARGE_INTEGER li;
  if (!GetFileSizeEx(file.get(), &li)) return false;
  *size = static_cast<std::uint64_t>(li.QuadPart);
  return true;
}

bool ReadFileBytes(const std::wstring& path, std::string* bytes) {
  UniqueFile file(CreateFileW(ApiPath(path).c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                              OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
  if (!file) return false;
  bytes->clear();
  char buffer[1 << 16];
  for (;;) {
    DWORD read = 0;
    if (!ReadFile(file.get(), buffer, sizeof buffer, &read, nullptr)) return false;
    if (read == 0) return true;
    bytes->append(buffer, read);
  }
}

bool RemoveFile(const std::wstring& path) { return DeleteFileW(ApiPath(path).c_str()) != 0; }

bool RemoveEmptyFolder(const std::wstring& path) {
  return RemoveDirectoryW(ApiPath(path).c_str()) != 0;
}

bool CopyFileReplacing(const std::wstring& from, const std::wstring& to) {
  return CopyFileW(ApiPath(from).c_str(), ApiPath(to).c_str(), FALSE) != 0;
}

bool WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  std::wstring target = ApiPath(path);
  std::wstring temp = files_internal::AtomicTempName(target);
  UniqueFile file(CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return false;
  std::size_t written = 0;
  while (written < bytes.size()) {
    std::size_t chunk = std::min(files_internal::kAtomicChunk, bytes.size() - written);
    if (!WriteAll(file.get(), bytes.data() + written, chunk)) {
      file.reset();
      DeleteFileW(temp.c_str());
      return false;
    }
    written += chunk;
    // A simulated crash leaves the temporary file behind, exactly as a real one would.
    if (files_internal::AtomicWriteInterrupted(written)) return false;
  }
  if (!FlushFileBuffers(file.get())) {
    file.reset();
    DeleteFileW(temp.c_str());
    return false;
  }
  file.reset();
  // A read-only target would refuse the replace; the file's own attributes are kept otherwise.
  if (!MoveFileExW(temp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    DeleteFileW(temp.c_str());
    return false;
  }
  return true;
}

LocalDateTime FileTimeToLocal(FileTime time) {
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) >> 32);
  SYSTEMTIME utc, local;
  if (!FileTimeToSystemTime(&ft, &utc)) return {};
  // The time zone rules of the file's own date, so summer and winter times both come out right.
  if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) return {};
  return {local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond};
}

FileTime CurrentFileTime() {
  FILETIME ft;
  GetSystemTimePreciseAsFileTime(&ft);
  return ToFileTime(ft);
}

}  // namespace ablagix
