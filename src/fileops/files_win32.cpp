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

// A symbolic link, junction or mount point names another place; the reparse tag says so by
// its name-surrogate bit. Cloud placeholders, deduplicated and compressed files carry tags
// without it: they hold their own data and are walked like any other entry.
// A listing that names no tag (some emulations of the system do not) is taken for a link:
// not following an unknown reparse point is the safe side.
bool IsNameSurrogate(DWORD attributes, DWORD reparseTag) {
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) && (reparseTag == 0 || (reparseTag & 0x20000000u));
}

constexpr DWORD kDataNotLocal = FILE_ATTRIBUTE_OFFLINE | 0x00040000u /* RECALL_ON_OPEN */ |
                                0x00400000u /* RECALL_ON_DATA_ACCESS */;

class Win32Listing final : public FolderListing {
 public:
  Win32Listing(UniqueFind find, const WIN32_FIND_DATAW& first)
      : find_(std::move(find)), data_(first), havePending_(true) {}

  // The listing itself has everything: nothing is ever pending.
  bool FillDetails(DirEntry*) override { return true; }

  bool Next(DirEntry* entry, bool) override {
    if (!find_) return false;
    if (!havePending_ && !FindNextFileW(find_.get(), &data_)) {
      find_.reset();
      return false;
    }
    havePending_ = false;
    const WIN32_FIND_DATAW& d = data_;
    // The name is taken by its length inside the fixed 260-character field, never beyond it.
    size_t length = wcsnlen(d.cFileName, MAX_PATH);
    entry->name.assign(d.cFileName, length);
    entry->size = (static_cast<std::uint64_t>(d.nFileSizeHigh) << 32) | d.nFileSizeLow;
    entry->lastWrite = ToFileTime(d.ftLastWriteTime);
    entry->creation = ToFileTime(d.ftCreationTime);
    entry->attributes = d.dwFileAttributes;
    entry->isLink = IsNameSurrogate(d.dwFileAttributes, d.dwReserved0);
    entry->isSpecial = (d.dwFileAttributes & FILE_ATTRIBUTE_DEVICE) != 0;
    entry->dataOffline = (d.dwFileAttributes & kDataNotLocal) != 0;
    entry->detailsPending = false;
    return true;
  }

 private:
  UniqueFind find_;
  WIN32_FIND_DATAW data_;
  bool havePending_;
};

FsStatus LastError(FsSide side = FsSide::kUnknown) { return StatusFromSystemError(GetLastError(), side); }

}  // namespace


namespace files_internal {

std::unique_ptr<FolderListing> NativeFs::OpenFolder(const std::wstring& folder, FsStatus* status) {
  std::wstring pattern = WithTrailingBackslash(ApiPath(folder)) + L"*";
  WIN32_FIND_DATAW data{};
  // Basic info skips the short 8.3 name, large fetch asks for bigger directory buffers:
  // both make listing big folders noticeably faster.
  UniqueFind find(FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &data, FindExSearchNameMatch,
                                   nullptr, FIND_FIRST_EX_LARGE_FETCH));
  if (!find) {
    if (status) *status = LastError();
    return nullptr;
  }
  if (status) *status = FsStatus::Ok();
  return std::make_unique<Win32Listing>(std::move(find), data);
}

FsStatus NativeFs::GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  DWORD a = GetFileAttributesW(ApiPath(path).c_str());
  if (a == INVALID_FILE_ATTRIBUTES) return LastError();
  *attributes = a;
  return FsStatus::Ok();
}

FsStatus NativeFs::SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  if (SetFileAttributesW(ApiPath(path).c_str(), attributes)) return FsStatus::Ok();
  if (SetFileAttributesW(path.c_str(), attributes)) return FsStatus::Ok();
  return LastError();
}

FsStatus NativeFs::CreateFolders(const std::wstring& folder) {
  std::wstring full = ApiPath(folder);
  while (full.size() > 4 && full.back() == L'\\') full.pop_back();
  DWORD a = GetFileAttributesW(full.c_str());
  if (a != INVALID_FILE_ATTRIBUTES) {
    return (a & FILE_ATTRIBUTE_DIRECTORY) ? FsStatus::Ok() : FsStatus::Fail(FsError::kNotRegularFile, FsSide::kTarget);
  }
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
  FsStatus last = FsStatus::Ok();
  for (size_t pos = start; pos <= full.size(); ++pos) {
    if (pos != full.size() && full[pos] != L'\\') continue;
    std::wstring part = full.substr(0, pos);
    // Failures are judged by the final check; the last one explains it.
    if (!CreateDirectoryW(part.c_str(), nullptr) && GetLastError() != ERROR_ALREADY_EXISTS) {
      last = LastError(FsSide::kTarget);
    }
  }
  a = GetFileAttributesW(full.c_str());
  if (a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY)) return FsStatus::Ok();
  return last.ok() ? FsStatus::Fail(FsError::kNotFound, FsSide::kTarget) : last;
}

FsStatus NativeFs::RemoveFile(const std::wstring& path) {
  return DeleteFileW(ApiPath(path).c_str()) ? FsStatus::Ok() : LastError();
}

FsStatus NativeFs::WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  std::wstring target = ApiPath(path);
  std::wstring temp = AtomicTempName(target);
  UniqueFile file(CreateFileW(temp.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return LastError(FsSide::kTarget);
  auto fail = [&] {
    FsStatus status = LastError(FsSide::kTarget);
    file.reset();
    DeleteFileW(temp.c_str());
    return status;
  };
  std::size_t written = 0;
  while (written < bytes.size()) {
    std::size_t chunk = std::min(kAtomicChunk, bytes.size() - written);
    if (!WriteAll(file.get(), bytes.data() + written, chunk)) return fail();
    written += chunk;
    // A simulated crash leaves the temporary file behind, exactly as a real one would.
    if (AtomicWriteInterrupted(written)) return FsStatus::Fail(FsError::kIo, FsSide::kTarget);
  }
  if (!FlushFileBuffers(file.get())) return fail();
  file.reset();
  // A read-only target would refuse the replace; the file's own attributes are kept otherwise.
  if (!MoveFileExW(temp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    FsStatus status = LastError(FsSide::kTarget);
    DeleteFileW(temp.c_str());
    return status;
  }
  return FsStatus::Ok();
}

}  // namespace files_internal

bool IsFullPath(std::wstring_view path) {
  if (path.starts_with(L"\\\\?\\")) return path.size() > 4;
  if (path.size() >= 3 && iswalpha(path[0]) && path[1] == L':' && IsPathSeparator(path[2])) return true;
  // "\\server\share": both parts present.
  if (path.size() < 5 || !IsPathSeparator(path[0]) || !IsPathSeparator(path[1])) return false;
  const size_t shareStart = path.find_first_of(L"\\/", 2);
  return shareStart != std::wstring_view::npos && shareStart > 2 && shareStart + 1 < path.size() &&
         !IsPathSeparator(path[shareStart + 1]);
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

bool RemoveEmptyFolder(const std::wstring& path) {
  return RemoveDirectoryW(ApiPath(path).c_str()) != 0;
}

bool CopyFileReplacing(const std::wstring& from, const std::wstring& to) {
  return CopyFileW(ApiPath(from).c_str(), ApiPath(to).c_str(), FALSE) != 0;
}

namespace files_internal {

bool UtcOffsetAt(std::int64_t seconds, std::int64_t* offset) {
  const FileTime time = (seconds + 11644473600ll) * 10000000ll;
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) >> 32);
  SYSTEMTIME utc, local;
  if (!FileTimeToSystemTime(&ft, &utc)) return false;
  // The time zone rules of that date, so summer and winter times both come out right.
  if (!SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local)) return false;
  FILETIME localFt;
  if (!SystemTimeToFileTime(&local, &localFt)) return false;
  *offset = (ToFileTime(localFt) - time) / 10000000ll;
  return true;
}

// The zone of a running program changes only when the user changes it; the window asks
// for the times again after such a change (it repaints), but the table keeps the old offsets,
// which the next start forgets. Good enough for the display of file times.
std::uint64_t ZoneStamp() { return 0; }

}  // namespace files_internal

FileTime CurrentFileTime() {
  FILETIME ft;
  GetSystemTimePreciseAsFileTime(&ft);
  return ToFileTime(ft);
}

}  // namespace ablagix
