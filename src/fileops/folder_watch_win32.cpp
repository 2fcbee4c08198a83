// ReadDirectoryChangesW implementation of the folder watch: one overlapped read at a time on a
// thread of its own, which waits for either the read or the request to stop. A read that
// completes with no bytes (or ERROR_NOTIFY_ENUM_DIR) means the system's buffer ran full and
// changes were lost.
#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <future>
#include <thread>

#include "base/text.h"
#include "fileops/file_ops_internal.h"
#include "fileops/folder_watch.h"
#include "fileops/path_text.h"
#include "fileops/system_error.h"
#include "fileops/win32_handle.h"

namespace ablagix {
namespace {

using file_ops_internal::ApiPath;

struct EventTraits {
  using Handle = HANDLE;
  static HANDLE Invalid() { return nullptr; }
  static void Close(HANDLE h) { CloseHandle(h); }
};
using UniqueEvent = UniqueHandle<EventTraits>;

constexpr DWORD kFilter = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME | FILE_NOTIFY_CHANGE_SIZE |
                          FILE_NOTIFY_CHANGE_LAST_WRITE;

std::wstring WatchFailureReason(DWORD error) {
  // A server that does not pass change notifications on answers with one of these.
  if (error == ERROR_INVALID_FUNCTION || error == ERROR_NOT_SUPPORTED || error == ERROR_INVALID_PARAMETER) {
    return L"das Laufwerk meldet keine \u00c4nderungen";
  }
  return SystemErrorText(error);
}

class DirectoryChangesWatch final : public FolderWatch {
 public:
  DirectoryChangesWatch(const FolderWatchRequest& request, FolderChangeSink sink)
      : root_(request.folder), subtree_(request.subtree), sink_(std::move(sink)) {
    // The records are DWORD-aligned; the system refuses a buffer that is not.
    const std::size_t bytes = std::max<std::size_t>(request.bufferBytes, 64);
    buffer_.resize((bytes + sizeof(DWORD) - 1) / sizeof(DWORD));
  }

  ~DirectoryChangesWatch() override {
    if (thread_.joinable()) {
      SetEvent(stop_.get());
      thread_.join();
    }
  }

  bool Start(std::wstring* reason) {
    folder_.reset(CreateFileW(ApiPath(root_).c_str(), FILE_LIST_DIRECTORY,
                              FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                              FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OVERLAPPED, nullptr));
    if (!folder_) {
      *reason = WatchFailureReason(GetLastError());
      return false;
    }
    stop_.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    done_.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!stop_ || !done_) {
      *reason = SystemErrorText(GetLastError());
      return false;
    }
    // The reads are issued on the watcher thread, which must outlive them; the first one
    // tells here whether the folder can be watched at all.
    std::promise<DWORD> started;
    std::future<DWORD> result = started.get_future();
    thread_ = std::thread([this, promise = std::move(started)]() mutable { Loop(promise); });
    const DWORD error = result.get();
    if (error != ERROR_SUCCESS) {
      thread_.join();
      *reason = WatchFailureReason(error);
      return false;
    }
    return true;
  }

 private:
  bool Issue(OVERLAPPED* overlapped) {
    ResetEvent(done_.get());
    *overlapped = OVERLAPPED{};
    overlapped->hEvent = done_.get();
    return ReadDirectoryChangesW(folder_.get(), buffer_.data(), static_cast<DWORD>(buffer_.size() * sizeof(DWORD)),
                                 subtree_ ? TRUE : FALSE, kFilter, nullptr, overlapped, nullptr) != FALSE;
  }

  void Loop(std::promise<DWORD>& started) {
    OVERLAPPED overlapped{};
    if (!Issue(&overlapped)) {
      started.set_value(GetLastError());
      return;
    }
    started.set_value(ERROR_SUCCESS);
    std::vector<DWORD> copy(buffer_.size());
    for (;;) {
      HANDLE waits[2] = {stop_.get(), done_.get()};
      const DWORD which = WaitForMultipleObjects(2, waits, FALSE, INFINITE);
      DWORD bytes = 0;
      if (which != WAIT_OBJECT_0 + 1) {
        CancelIoEx(folder_.get(), &overlapped);
        GetOverlappedResult(folder_.get(), &overlapped, &bytes, TRUE);
        return;
      }
      const bool read = GetOverlappedResult(folder_.get(), &overlapped, &bytes, FALSE) != FALSE;
      const DWORD error = read ? ERROR_SUCCESS : GetLastError();
      const bool overflow = (read && bytes == 0) || error == ERROR_NOTIFY_ENUM_DIR;
      if (!read && !overflow) {
        // The folder was deleted, the share went away, the volume was removed.
        sink_({{FolderChangeKind::Lost, error == ERROR_ACCESS_DENIED
                                            ? std::wstring(L"der Ordner wurde gel\u00f6scht oder verschoben")
                                            : WatchFailureReason(error)}});
        return;
      }
      // The next read goes out before these records are looked at, so that the system queues
      // as little as possible meanwhile.
      std::memcpy(copy.data(), buffer_.data(), std::min<std::size_t>(bytes, copy.size() * sizeof(DWORD)));
      const bool again = Issue(&overlapped);
      const DWORD againError = again ? ERROR_SUCCESS : GetLastError();
      std::vector<FolderChange> changes;
      if (overflow) {
        changes.push_back({FolderChangeKind::Overflow, root_});
      } else {
        Translate(reinterpret_cast<const unsigned char*>(copy.data()), bytes, &changes);
      }
      if (!again) changes.push_back({FolderChangeKind::Lost, WatchFailureReason(againError)});
      if (!changes.empty()) sink_(std::move(changes));
      if (!again) return;
    }
  }

  void Translate(const unsigned char* records, DWORD bytes, std::vector<FolderChange>* out) const {
    for (DWORD at = 0; at + offsetof(FILE_NOTIFY_INFORMATION, FileName) <= bytes;) {
      FILE_NOTIFY_INFORMATION info;
      std::memcpy(&info, records + at, offsetof(FILE_NOTIFY_INFORMATION, FileName));
      const std::size_t nameStart = at + offsetof(FILE_NOTIFY_INFORMATION, FileName);
      if (nameStart + info.FileNameLength > bytes) break;
      std::wstring name(info.FileNameLength / sizeof(WCHAR), L'\0');
      std::memcpy(name.data(), records + nameStart, name.size() * sizeof(WCHAR));
      std::wstring path = JoinPath(root_, name);
      switch (info.Action) {
        case FILE_ACTION_REMOVED:
        case FILE_ACTION_RENAMED_OLD_NAME:
          out->push_back({FolderChangeKind::Removed, std::move(path)});
          break;
        case FILE_ACTION_ADDED:
        case FILE_ACTION_RENAMED_NEW_NAME: {
          // A folder moved in brings its files without a record for each of them.
          const DWORD attributes = GetFileAttributesW(ApiPath(path).c_str());
          if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
            if (subtree_ && !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) ReportFolderFiles(path, true, out);
          } else {
            out->push_back({FolderChangeKind::Changed, std::move(path)});
          }
          break;
        }
        default:
          out->push_back({FolderChangeKind::Changed, std::move(path)});
          break;
      }
      if (info.NextEntryOffset == 0) break;
      at += info.NextEntryOffset;
    }
  }

  std::wstring root_;
  bool subtree_;
  FolderChangeSink sink_;
  std::vector<DWORD> buffer_;
  UniqueFile folder_;
  UniqueEvent stop_;
  UniqueEvent done_;
  std::thread thread_;
};

FileTime ToFileTime(const FILETIME& ft) {
  return static_cast<FileTime>((static_cast<std::uint64_t>(ft.dwHighDateTime) << 32) | ft.dwLowDateTime);
}

}  // namespace

std::unique_ptr<FolderWatch> StartFolderWatch(const FolderWatchRequest& request, FolderChangeSink sink,
                                              std::wstring* reason) {
  auto watch = std::make_unique<DirectoryChangesWatch>(request, std::move(sink));
  if (!watch->Start(reason)) return nullptr;
  return watch;
}

bool WatchReportsCloses() { return false; }

bool WatchBufferIsOurs() { return true; }

WatchedFileLook LookAtWatchedFile(const std::wstring& path) {
  WatchedFileLook look;
  const std::wstring api = ApiPath(path);
  WIN32_FILE_ATTRIBUTE_DATA data{};
  if (!GetFileAttributesExW(api.c_str(), GetFileExInfoStandard, &data)) return look;
  if (data.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) return look;
  look.present = true;
  look.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
  look.lastWrite = ToFileTime(data.ftLastWriteTime);
  // Opening a file whose data is in the cloud would download it; such a file arrives whole.
  constexpr DWORD kDataNotLocal = FILE_ATTRIBUTE_OFFLINE | 0x00040000u /* RECALL_ON_OPEN */ |
                                  0x00400000u /* RECALL_ON_DATA_ACCESS */;
  if (data.dwFileAttributes & kDataNotLocal) return look;
  // Sharing only reading refuses the open while anybody holds the file for writing (a copy
  // still under way) or without sharing it at all.
  UniqueFile file(CreateFileW(api.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) {
    const DWORD error = GetLastError();
    look.inUse = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
    // Access denied and the like say nothing about writers; size and time decide then.
    look.inUseKnown = look.inUse;
    return look;
  }
  // The listing's size may lag behind a writer that has just closed; the open file's is current.
  LARGE_INTEGER size{};
  FILETIME written{};
  if (GetFileSizeEx(file.get(), &size)) look.size = static_cast<std::uint64_t>(size.QuadPart);
  if (GetFileTime(file.get(), nullptr, nullptr, &written)) look.lastWrite = ToFileTime(written);
  return look;
}

}  // namespace ablagix
