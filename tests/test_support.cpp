#include "test_support.h"

#include <atomic>
#include <cstdio>
#include <chrono>

#include "base/text.h"
#include "fileops/byte_source.h"
#include "fileops/path_text.h"
#include "zip/zip_reader.h"

#ifdef _WIN32
#include <windows.h>
#include <winioctl.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#endif

namespace ablagix::test {
namespace {

std::wstring SystemTempFolder() {
#ifdef _WIN32
  wchar_t buffer[MAX_PATH + 1];
  DWORD n = GetTempPathW(MAX_PATH + 1, buffer);
  return std::wstring(buffer, n);
#else
  const char* tmp = std::getenv("TMPDIR");
  return FromUtf8(tmp && *tmp ? tmp : "/tmp") + L"/";
#endif
}

}  // namespace

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
  path_ = WithTrailingBackslash(SystemTempFolder()) + L"ablagix-test-" +
          NumberText(static_cast<std::uint64_t>(stamp)) + L"-" +
          NumberText(static_cast<std::uint64_t>(counter++));
  CreateFolders(path_);
}

TempDir::~TempDir() { RemoveTree(path_); }

std::wstring TempDir::operator/(std::wstring_view relative) const {
  std::wstring out = JoinPath(path_, relative);
#ifndef _WIN32
  for (auto& c : out) {
    if (c == L'\\') c = L'/';
  }
#endif
  return out;
}

void RemoveTree(const std::wstring& path) {
  FolderReader reader;
  if (reader.Open(path)) {
    DirEntry entry;
    while (reader.Next(&entry)) {
      if (entry.name == L"." || entry.name == L"..") continue;
      std::wstring child = JoinPath(path, entry.name);
      if (entry.IsReparsePoint()) {
        if (!RemoveEmptyFolder(child)) RemoveFile(child);
      } else if (entry.IsDirectory()) {
        SetAttributes(child, kAttrDirectory);
        RemoveTree(child);
      } else {
        SetAttributes(child, kAttrNormal);
        RemoveFile(child);
      }
    }
  }
  RemoveEmptyFolder(path);
}

std::set<std::wstring> NamesIn(const std::wstring& folder) {
  std::set<std::wstring> names;
  FolderReader reader;
  DirEntry entry;
  if (!reader.Open(folder)) return names;
  while (reader.Next(&entry)) {
    if (entry.name != L"." && entry.name != L"..") names.insert(entry.name);
  }
  return names;
}

bool WriteBytes(const std::wstring& path, std::string_view bytes) {
  CreateFolders(FolderPart(path));
  // A plain write: tests make thousands of files and need no flush to disk.
#ifdef _WIN32
  HANDLE h = CreateFileW(LongPathForm(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  BOOL ok = WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(h);
  return ok && written == bytes.size();
#else
  std::string native = ToUtf8(path);
  for (char& c : native) {
    if (c == '\\') c = '/';
  }
  FILE* f = std::fopen(native.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
#endif
}

std::string ReadBytes(const std::wstring& path) {
  std::string bytes;
  if (!ReadFileBytes(path, &bytes)) return "<unreadable>";
  return bytes;
}

std::string U8(std::wstring_view text) { return ToUtf8(text); }

FileTime LocalToFileTime(const LocalDateTime& local) {
  // Seconds of a wall-clock value counted as if it were UTC; the difference to what the
  // conversion shows is the zone offset, which a second round corrects for summer time.
  auto seconds = [](const LocalDateTime& t) {
    LocalDateTime epoch{1601, 1, 1, 0, 0, 0};
    std::int64_t s = 0;
    for (LocalDateTime d = epoch; d.year < t.year; ++d.year) {
      s += (DaysInMonth(d.year, 2) == 29 ? 366 : 365) * 86400LL;
    }
    for (int m = 1; m < t.month; ++m) s += DaysInMonth(t.year, m) * 86400LL;
    return s + (t.day - 1) * 86400LL + t.hour * 3600LL + t.minute * 60LL + t.second;
  };
  const std::int64_t wanted = seconds(local);
  FileTime guess = wanted * 10000000LL;
  for (int round = 0; round < 3; ++round) {
    guess += (wanted - seconds(FileTimeToLocal(guess))) * 10000000LL;
  }
  return guess;
}

#ifdef _WIN32

bool SetLastWriteTime(const std::wstring& path, FileTime time) {
  HANDLE h = CreateFileW(LongPathForm(path).c_str(), FILE_WRITE_ATTRIBUTES, FILE_SHARE_READ, nullptr,
                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(time) >> 32);
  BOOL ok = SetFileTime(h, nullptr, nullptr, &ft);
  CloseHandle(h);
  return ok != 0;
}

namespace {

// A junction needs no privilege: a mount-point reparse point on an empty folder.
bool MakeJunction(const std::wstring& link, const std::wstring& target) {
  if (!CreateDirectoryW(link.c_str(), nullptr)) return false;
  HANDLE h = CreateFileW(link.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                         FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (h == INVALID_HANDLE_VALUE) {
    RemoveDirectoryW(link.c_str());
    return false;
  }
  std::wstring substitute = L"\\??\\" + target;
  std::wstring print = target;
  const size_t substituteBytes = substitute.size() * sizeof(wchar_t);
  const size_t printBytes = print.size() * sizeof(wchar_t);
  std::string buffer(8 + 8 + substituteBytes + 2 + printBytes + 2, '\0');
  auto put16 = [&](size_t at, size_t value) {
    buffer[at] = static_cast<char>(value & 0xFF);
    buffer[at + 1] = static_cast<char>((value >> 8) & 0xFF);
  };
  const DWORD tag = IO_REPARSE_TAG_MOUNT_POINT;
  memcpy(buffer.data(), &tag, 4);
  put16(4, buffer.size() - 8);
  put16(8, 0);
  put16(10, substituteBytes);
  put16(12, substituteBytes + 2);
  put16(14, printBytes);
  memcpy(buffer.data() + 16, substitute.data(), substituteBytes);
  memcpy(buffer.data() + 16 + substituteBytes + 2, print.data(), printBytes);
  DWORD returned = 0;
  BOOL ok = DeviceIoControl(h, FSCTL_SET_REPARSE_POINT, buffer.data(),
                            static_cast<DWORD>(buffer.size()), nullptr, 0, &returned, nullptr);
  CloseHandle(h);
  if (!ok) RemoveDirectoryW(link.c_str());
  return ok != 0;
}

}  // namespace

bool MakeFolderLink(const std::wstring& link, const std::wstring& target) {
  if (CreateSymbolicLinkW(link.c_str(), target.c_str(),
                          SYMBOLIC_LINK_FLAG_DIRECTORY | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE)) {
    DWORD a = GetFileAttributesW(link.c_str());
    if (a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_REPARSE_POINT)) return true;
    RemoveDirectoryW(link.c_str());
    DeleteFileW(link.c_str());
  }
  if (!MakeJunction(link, target)) return false;
  DWORD a = GetFileAttributesW(link.c_str());
  return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_REPARSE_POINT);
}

UnreadableFolder::UnreadableFolder(const std::wstring& folder) : folder_(folder) {}
UnreadableFolder::~UnreadableFolder() = default;

// Another holder that shares nothing: every open by anyone else fails with a sharing violation.
LockedFile::LockedFile(const std::wstring& path) {
  handle_ = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
  active_ = handle_ != INVALID_HANDLE_VALUE;
}
LockedFile::~LockedFile() {
  if (active_) CloseHandle(handle_);
}

#else

// Linux has no locks that stop a reader; a file this process may not read is the nearest.
LockedFile::LockedFile(const std::wstring& path) : path_(path) {
  const std::string native = ToUtf8(path);
  if (::chmod(native.c_str(), 0) != 0) return;
  if (::geteuid() == 0) {
    if (::seteuid(65534) != 0) {
      ::chmod(native.c_str(), 0644);
      return;
    }
    droppedPrivileges_ = true;
  }
  active_ = true;
}
LockedFile::~LockedFile() {
  if (droppedPrivileges_) (void)::seteuid(0);
  if (!path_.empty()) ::chmod(ToUtf8(path_).c_str(), 0644);
}


bool SetLastWriteTime(const std::wstring& path, FileTime time) {
  const std::int64_t unixTicks = time - 116444736000000000LL;
  struct timespec times[2];
  times[0].tv_sec = 0;
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(unixTicks / 10000000);
  times[1].tv_nsec = static_cast<long>((unixTicks % 10000000) * 100);
  return utimensat(AT_FDCWD, ToUtf8(path).c_str(), times, 0) == 0;
}

bool MakeFolderLink(const std::wstring& link, const std::wstring& target) {
  return ::symlink(ToUtf8(target).c_str(), ToUtf8(link).c_str()) == 0;
}

UnreadableFolder::UnreadableFolder(const std::wstring& folder) : folder_(folder) {
  const std::string native = ToUtf8(folder);
  if (::chmod(native.c_str(), 0) != 0) return;
  // root reads every folder regardless of its mode; acting as "nobody" makes the mode count.
  if (::geteuid() == 0) {
    if (::seteuid(65534) != 0) {
      ::chmod(native.c_str(), 0755);
      return;
    }
    droppedPrivileges_ = true;
  }
  active_ = true;
}

UnreadableFolder::~UnreadableFolder() {
  if (droppedPrivileges_) (void)::seteuid(0);
  ::chmod(ToUtf8(folder_).c_str(), 0755);
}

#endif

std::map<std::string, std::string> ZipEntries(const std::wstring& archive) {
  std::map<std::string, std::string> out;
  const std::string bytes = ReadBytes(archive);
  MemoryByteSource source(bytes);
  ZipReader zip(source);
  if (zip.Open() != ZipError::kNone) return out;
  for (const ZipEntry& e : zip.entries()) {
    std::string data;
    if (zip.ReadEntry(e, 1 << 26, &data) == ZipError::kNone) out[e.name] = data;
  }
  return out;
}

}  // namespace ablagix::test
