// Win32 implementation of the file system layer. Every call takes the long-path form
// ("\\?\C:\..." or "\\?\UNC\server\share\..."), so paths beyond 260 characters work even
// where the process is not long-path aware.
#include <windows.h>

#include <vector>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/win32_found.h"
#include "fileops/win32_handle.h"

namespace ablagix {
namespace {


FileTime ToFileTime(const FILETIME& ft) {
  return static_cast<FileTime>((static_cast<std::uint64_t>(ft.dwHighDateTime) << 32) |
                               ft.dwLowDateTime);
}

}  // namespace

namespace file_ops_internal {

std::wstring ApiPath(const std::wstring& path) {
  if (path.starts_with(L"\\\\?\\")) return path;
  return LongPathForm(FullPathText(path));
}

FileTime FileTimeOf(const FILETIME& ft) { return ToFileTime(ft); }

bool IsNameSurrogate(DWORD attributes, DWORD reparseTag) {
  return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) && (reparseTag == 0 || (reparseTag & 0x20000000u));
}

}  // namespace file_ops_internal

namespace {

using file_ops_internal::ApiPath;

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

using file_ops_internal::IsNameSurrogate;

constexpr DWORD kDataNotLocal = FILE_ATTRIBUTE_OFFLINE | 0x00040000u /* RECALL_ON_OPEN */ |
                                0x00400000u /* RECALL_ON_DATA_ACCESS */;

FsStatus LastError(FsSide side = FsSide::kUnknown) { return StatusFromSystemError(GetLastError(), side); }

FileId IdOf(const BY_HANDLE_FILE_INFORMATION& info) {
  return FileId{info.dwVolumeSerialNumber,
                (static_cast<std::uint64_t>(info.nFileIndexHigh) << 32) | info.nFileIndexLow};
}

// Lists a folder through its own handle, with every entry's file ID, so that what is acted
// on later can be compared with what was listed.
class Win32Listing final : public FolderListing {
 public:
  Win32Listing(UniqueFile folder, FileId id) : folder_(std::move(folder)), id_(id), buffer_(64 * 1024) {}

  // A listing of the folder at the long-path form `api`, or null with the reason. The folder
  // itself may be reached through a link (the user named it); `child` (a subfolder of a
  // listing) must be no link and, where its identity is known, the folder that was listed.
  static std::unique_ptr<FolderListing> Open(const std::wstring& api, const DirEntry* child, FsStatus* status) {
    const DWORD flags = FILE_FLAG_BACKUP_SEMANTICS | (child ? FILE_FLAG_OPEN_REPARSE_POINT : 0);
    UniqueFile folder(CreateFileW(api.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                  flags, nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (!folder || !GetFileInformationByHandle(folder.get(), &info)) {
      if (status) *status = LastError();
      return nullptr;
    }
    if (!(info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
      if (status) *status = FsStatus::Fail(FsError::kNotRegularFile);
      return nullptr;
    }
    if (child) {
      FILE_ATTRIBUTE_TAG_INFO tag{};
      const bool tagged = GetFileInformationByHandleEx(folder.get(), FileAttributeTagInfo, &tag, sizeof tag);
      if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) &&
          (!tagged || IsNameSurrogate(tag.FileAttributes, tag.ReparseTag))) {
        if (status) *status = FsStatus::Fail(FsError::kNotTheFoundFile);
        return nullptr;
      }
      if (child->id.known() && child->id != IdOf(info)) {
        if (status) *status = FsStatus::Fail(FsError::kNotTheFoundFile);
        return nullptr;
      }
    }
    if (status) *status = FsStatus::Ok();
    return std::make_unique<Win32Listing>(std::move(folder), IdOf(info));
  }

  // The listing itself has everything: nothing is ever pending.
  bool FillDetails(DirEntry*) override { return true; }

  bool Next(DirEntry* entry, bool) override {
    if (at_ == nullptr) {
      if (done_) return false;
      // Large pieces of the folder at a time, as a big folder lists fastest.
      if (!GetFileInformationByHandleEx(folder_.get(), first_ ? FileIdBothDirectoryRestartInfo : FileIdBothDirectoryInfo,
                                        buffer_.data(), static_cast<DWORD>(buffer_.size()))) {
        done_ = true;
        return false;
      }
      first_ = false;
      at_ = buffer_.data();
    }
    const auto* d = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(at_);
    at_ = d->NextEntryOffset ? at_ + d->NextEntryOffset : nullptr;
    entry->name.assign(d->FileName, d->FileNameLength / sizeof(wchar_t));
    entry->size = static_cast<std::uint64_t>(d->EndOfFile.QuadPart);
    entry->lastWrite = static_cast<FileTime>(d->LastWriteTime.QuadPart);
    entry->creation = static_cast<FileTime>(d->CreationTime.QuadPart);
    entry->attributes = d->FileAttributes;
    // For a reparse point the field of the extended attributes' size holds its tag.
    entry->isLink = IsNameSurrogate(d->FileAttributes, d->EaSize);
    entry->isSpecial = (d->FileAttributes & FILE_ATTRIBUTE_DEVICE) != 0;
    entry->dataOffline = (d->FileAttributes & kDataNotLocal) != 0;
    entry->detailsPending = false;
    const auto number = static_cast<std::uint64_t>(d->FileId.QuadPart);
    entry->id = number ? FileId{id_.volume, number} : FileId{};
    return true;
  }

  std::unique_ptr<FolderListing> OpenChild(const std::wstring& path, const DirEntry& child, FsStatus* status) override {
    return Open(file_ops_internal::ApiPath(path), &child, status);
  }

  FileId Identity() const override { return id_; }

 private:
  UniqueFile folder_;
  FileId id_;
  std::vector<char> buffer_;
  const char* at_ = nullptr;
  bool first_ = true;
  bool done_ = false;
};

}  // namespace


namespace file_ops_internal {

std::unique_ptr<FolderListing> NativeFs::OpenFolder(const std::wstring& folder, FsStatus* status) {
  return Win32Listing::Open(ApiPath(folder), nullptr, status);
}

FsStatus NativeFs::GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  DWORD a = GetFileAttributesW(ApiPath(path).c_str());
  if (a == INVALID_FILE_ATTRIBUTES) return LastError();
  *attributes = a;
  return FsStatus::Ok();
}

FsStatus NativeFs::SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  if (SetFileAttributesW(ApiPath(path).c_str(), attributes)) return FsStatus::Ok();
  // Only a relative path is tried as given; a full one would be normalised into another name.
  if (!IsFullPath(path) && SetFileAttributesW(path.c_str(), attributes)) return FsStatus::Ok();
  return LastError();
}

FsStatus DescribeHandle(HANDLE file, FsSide side, FileInfo* info) {
  BY_HANDLE_FILE_INFORMATION about{};
  FILE_BASIC_INFO basic{};
  if (!GetFileInformationByHandle(file, &about) ||
      !GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof basic)) {
    return LastError(side);
  }
  FILE_ATTRIBUTE_TAG_INFO tag{};
  const bool tagged = GetFileInformationByHandleEx(file, FileAttributeTagInfo, &tag, sizeof tag);
  if ((about.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) &&
      (!tagged || IsNameSurrogate(tag.FileAttributes, tag.ReparseTag))) {
    info->kind = FileKind::kLink;
  } else if (about.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
    info->kind = FileKind::kFolder;
  } else if (GetFileType(file) != FILE_TYPE_DISK || (about.dwFileAttributes & FILE_ATTRIBUTE_DEVICE)) {
    info->kind = FileKind::kSpecial;
  } else {
    info->kind = FileKind::kFile;
  }
  info->id = IdOf(about);
  info->version.size = (static_cast<std::uint64_t>(about.nFileSizeHigh) << 32) | about.nFileSizeLow;
  info->version.lastWrite = ToFileTime(about.ftLastWriteTime);
  info->version.changed = static_cast<FileTime>(basic.ChangeTime.QuadPart);
  info->links = about.nNumberOfLinks;
  info->version.links = about.nNumberOfLinks;
  info->creation = ToFileTime(about.ftCreationTime);
  info->attributes = about.dwFileAttributes;
  info->mode = 0;
  return FsStatus::Ok();
}

FsStatus OpenFoundFile(const FileRef& ref, DWORD access, DWORD share, DWORD flags, FsSide side, UniqueFile* file,
                       FileInfo* info) {
  // The reparse point itself, not what it names: a link is looked at, never followed.
  file->reset(CreateFileW(ApiPath(ref.path).c_str(), access | FILE_READ_ATTRIBUTES, share, nullptr, OPEN_EXISTING,
                          flags | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!*file) return LastError(side);
  FsStatus status = DescribeHandle(file->get(), side, info);
  if (!status.ok()) return status;
  if (info->kind == FileKind::kLink) return FsStatus::Fail(FsError::kNotTheFoundFile, side);
  if (info->kind != FileKind::kFile) return FsStatus::Fail(FsError::kNotRegularFile, side);
  if (ref.id.known() && info->id != ref.id) return FsStatus::Fail(FsError::kNotTheFoundFile, side);
  if (ref.versionKnown && info->version != ref.version) return FsStatus::Fail(FsError::kChangedMeanwhile, side);
  return FsStatus::Ok();
}

FsStatus NativeFs::Inspect(const std::wstring& path, FileInfo* info) {
  UniqueFile file(CreateFileW(ApiPath(path).c_str(), FILE_READ_ATTRIBUTES,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!file) return LastError();
  return DescribeHandle(file.get(), FsSide::kUnknown, info);
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

FsStatus NativeFs::RemoveFile(const FileRef& file) {
  // Deleted through the handle that was checked, so exactly that file goes (a link as itself).
  UniqueFile handle(CreateFileW(ApiPath(file.path).c_str(), DELETE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  if (!handle) return LastError();
  FileInfo info;
  FsStatus status = DescribeHandle(handle.get(), FsSide::kUnknown, &info);
  if (!status.ok()) return status;
  if (info.kind == FileKind::kFolder) return FsStatus::Fail(FsError::kNotRegularFile);
  if (file.id.known() && info.id != file.id) return FsStatus::Fail(FsError::kNotTheFoundFile);
  if (file.versionKnown && info.version != file.version) return FsStatus::Fail(FsError::kChangedMeanwhile);
  return DeleteByHandle(handle.get(), info, FsSide::kUnknown);
}

FsStatus DeleteByHandle(HANDLE file, const FileInfo& info, FsSide side) {
  FILE_DISPOSITION_INFO dispose{};
  dispose.DeleteFile = TRUE;
  if (SetFileInformationByHandle(file, FileDispositionInfo, &dispose, sizeof dispose)) return FsStatus::Ok();
  const FsStatus refused = LastError(side);
  FILE_BASIC_INFO basic{};
  if (!GetFileInformationByHandleEx(file, FileBasicInfo, &basic, sizeof basic) ||
      !(basic.FileAttributes & FILE_ATTRIBUTE_READONLY)) {
    return refused;
  }
  // A read-only file: its flag is lifted on this very handle for the delete.
  FILE_BASIC_INFO kept = basic;
  basic.FileAttributes &= ~DWORD{FILE_ATTRIBUTE_READONLY};
  if (basic.FileAttributes == 0) basic.FileAttributes = FILE_ATTRIBUTE_NORMAL;
  if (!SetFileInformationByHandle(file, FileBasicInfo, &basic, sizeof basic)) return refused;
  const bool deleted = SetFileInformationByHandle(file, FileDispositionInfo, &dispose, sizeof dispose);
  const FsStatus status = deleted ? FsStatus::Ok() : LastError(side);
  // The flag belongs to the data: other names of it keep it, and so does a file not deleted.
  if (info.links > 1 || !deleted) SetFileInformationByHandle(file, FileBasicInfo, &kept, sizeof kept);
  return status;
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

}  // namespace file_ops_internal

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

namespace file_ops_internal {

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

}  // namespace file_ops_internal

FileTime CurrentFileTime() {
  FILETIME ft;
  GetSystemTimePreciseAsFileTime(&ft);
  return ToFileTime(ft);
}

}  // namespace ablagix
