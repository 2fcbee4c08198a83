// inotify implementation of the folder watch. inotify watches one folder at a time, so a tree
// gets a watch per subfolder: those there at the start, and every one made or moved in later
// (its files are reported at once, since they may have arrived before its watch was added).
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <thread>
#include <unordered_map>

#include "base/text.h"
#include "fileops/file_ops_internal.h"
#include "fileops/folder_watch.h"
#include "fileops/path_text.h"
#include "fileops/posix_fd.h"
#include "fileops/system_error.h"

namespace ablagix {
namespace {

using file_ops_internal::NativePath;

constexpr std::uint32_t kEvents = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE |
                                  IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;

FileTime ToFileTime(const timespec& t) {
  constexpr std::int64_t kTicksPerSecond = 10000000;
  constexpr std::int64_t kEpochDifference = 11644473600;  // seconds from 1601 to 1970
  return (static_cast<std::int64_t>(t.tv_sec) + kEpochDifference) * kTicksPerSecond + t.tv_nsec / 100;
}

std::wstring WatchLimitReason(int error) {
  if (error == ENOSPC) {
    return L"zu viele Ordner f\u00fcr die \u00dcberwachung (Grenze fs.inotify.max_user_watches)";
  }
  return SystemErrorText(static_cast<std::uint32_t>(error));
}

class InotifyWatch final : public FolderWatch {
 public:
  InotifyWatch(const FolderWatchRequest& request, FolderChangeSink sink)
      : root_(request.folder), subtree_(request.subtree), sink_(std::move(sink)) {}

  ~InotifyWatch() override {
    if (thread_.joinable()) {
      const std::uint64_t one = 1;
      // The thread wakes on the counter and ends; nothing to do when the write fails, since
      // then the thread has ended already.
      [[maybe_unused]] const ssize_t n = ::write(stop_.get(), &one, sizeof one);
      thread_.join();
    }
  }

  bool Start(std::wstring* reason) {
    inotify_.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    stop_.reset(eventfd(0, EFD_CLOEXEC));
    if (!inotify_ || !stop_) {
      *reason = SystemErrorText(static_cast<std::uint32_t>(errno));
      return false;
    }
    // The folder itself may be a link (the scan reads through it too); links below are not followed.
    const int root = inotify_add_watch(inotify_.get(), NativePath(root_).c_str(), kEvents);
    if (root < 0) {
      *reason = WatchLimitReason(errno);
      return false;
    }
    rootWatch_ = root;
    folders_[root] = root_;
    if (subtree_) {
      std::vector<FolderChange> ignored;
      int error = 0;
      if (!AddSubfolders(root_, false, &ignored, &error)) {
        *reason = WatchLimitReason(error);
        return false;
      }
    }
    thread_ = std::thread([this] { Loop(); });
    return true;
  }

 private:
  // Watches every folder below `folder`; with `report`, its files go into `out` as changes.
  bool AddSubfolders(const std::wstring& folder, bool report, std::vector<FolderChange>* out, int* error) {
    return WalkFolderFiles(
        folder,
        [this, error](const std::wstring& subfolder) {
          return AddWatch(subfolder, error) ? SubfolderStep::Enter : SubfolderStep::Stop;
        },
        report ? out : nullptr);
  }


  bool AddWatch(const std::wstring& folder, int* error) {
    const int wd = inotify_add_watch(inotify_.get(), NativePath(folder).c_str(), kEvents | IN_DONT_FOLLOW);
    if (wd < 0) {
      // A folder deleted again before its watch was added is no failure of the watch.
      if (errno == ENOENT || errno == ENOTDIR) return true;
      *error = errno;
      return false;
    }
    folders_[wd] = folder;
    return true;
  }

  // A folder renamed away or deleted: its watches and those below it no longer name it.
  void ForgetFolder(const std::wstring& folder) {
    const std::wstring below = WithTrailingBackslash(folder);
    for (auto it = folders_.begin(); it != folders_.end();) {
      if (it->first != rootWatch_ && (SameFolderText(it->second, folder) || FolderTextStartsWith(it->second, below))) {
        inotify_rm_watch(inotify_.get(), it->first);
        it = folders_.erase(it);
      } else {
        ++it;
      }
    }
  }

  void Loop() {
    alignas(inotify_event) char buffer[64 * 1024];
    pollfd waits[2] = {{inotify_.get(), POLLIN, 0}, {stop_.get(), POLLIN, 0}};
    for (;;) {
      if (poll(waits, 2, -1) < 0) {
        if (errno == EINTR) continue;
        sink_({{FolderChangeKind::Lost, SystemErrorText(static_cast<std::uint32_t>(errno))}});
        return;
      }
      if (waits[1].revents != 0) return;
      const ssize_t got = ::read(inotify_.get(), buffer, sizeof buffer);
      if (got <= 0) {
        if (got < 0 && (errno == EAGAIN || errno == EINTR)) continue;
        sink_({{FolderChangeKind::Lost, SystemErrorText(static_cast<std::uint32_t>(errno))}});
        return;
      }
      std::vector<FolderChange> changes;
      bool lost = false;
      for (ssize_t at = 0; at < got;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
        at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        if (!Translate(*event, &changes)) {
          lost = true;
          break;
        }
      }
      if (!changes.empty()) sink_(std::move(changes));
      if (lost) return;
    }
  }

  // False when the watch has ended (then a Lost change is in `out`).
  bool Translate(const inotify_event& event, std::vector<FolderChange>* out) {
    if (event.mask & IN_Q_OVERFLOW) {
      out->push_back({FolderChangeKind::Overflow, root_});
      return true;
    }
    const auto folder = folders_.find(event.wd);
    if (folder == folders_.end()) return true;
    const bool isRoot = event.wd == rootWatch_;
    if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT | IN_IGNORED)) {
      if (!isRoot) {
        if (event.mask & IN_IGNORED) folders_.erase(folder);
        return true;
      }
      out->push_back({FolderChangeKind::Lost, (event.mask & IN_UNMOUNT)
                                                  ? L"das Laufwerk wurde getrennt"
                                                  : L"der Ordner wurde gel\u00f6scht oder verschoben"});
      return false;
    }
    if (event.len == 0) return true;  // the folder itself (its attributes)
    // The name as bytes, exactly as the walk reads it: a "\" or a byte that is no UTF-8 stays.
    std::wstring path = JoinPath(folder->second, FileNameFromBytes(event.name));
    if (event.mask & IN_ISDIR) {
      if (!subtree_) return true;
      if (event.mask & (IN_MOVED_FROM | IN_DELETE)) {
        ForgetFolder(path);
      } else if (event.mask & (IN_CREATE | IN_MOVED_TO)) {
        int error = 0;
        if (!AddWatch(path, &error) || !AddSubfolders(path, true, out, &error)) {
          out->push_back({FolderChangeKind::Lost, WatchLimitReason(error)});
          return false;
        }
      }
      return true;
    }
    if (event.mask & (IN_DELETE | IN_MOVED_FROM)) {
      out->push_back({FolderChangeKind::Removed, std::move(path)});
    } else if (event.mask & IN_CLOSE_WRITE) {
      out->push_back({FolderChangeKind::Closed, std::move(path)});
    } else {
      // A file made or written here is open for writing, and its close will be reported; one
      // renamed in or with new attributes was not written through this folder.
      out->push_back({FolderChangeKind::Changed, std::move(path), (event.mask & (IN_CREATE | IN_MODIFY)) != 0});
    }
    return true;
  }

  std::wstring root_;
  bool subtree_;
  FolderChangeSink sink_;
  UniqueFd inotify_;
  UniqueFd stop_;
  int rootWatch_ = -1;
  std::unordered_map<int, std::wstring> folders_;  // watch descriptor to folder path
  std::thread thread_;
};

}  // namespace

std::unique_ptr<FolderWatch> StartFolderWatch(const FolderWatchRequest& request, FolderChangeSink sink,
                                              std::wstring* reason) {
  auto watch = std::make_unique<InotifyWatch>(request, std::move(sink));
  if (!watch->Start(reason)) return nullptr;
  return watch;
}

bool WatchReportsCloses() { return true; }

bool WatchBufferIsOurs() { return false; }

namespace {

// Whether any process holds the file open for writing, asked with a read lease: the system
// refuses one (EAGAIN) while a descriptor of the file is open for writing anywhere. The lease
// is given back at once. Should a writer open the file in that instant, the system tells the
// lease holder with a signal, SIGIO unless chosen otherwise, whose default ends the process;
// SIGURG is chosen instead, as its default is to ignore it, and the writer waits only until
// the lease is given back.
// Leases are granted only on one's own files (or with CAP_LEASE), and not on every file
// system (NFS, some FUSE file systems) nor when fs.leases-enable is off. Then nothing is
// known; the watch falls back on having seen the writer's close (IN_CLOSE_WRITE) after its
// last write, plus the settle time. That misses a second writer that still holds the file
// when the first closes it, which is why the lease is asked first.
void LookForWriters(int fd, WatchedFileLook* look) {
  if (fcntl(fd, F_SETSIG, SIGURG) != 0) {
    look->inUseKnown = false;
    return;
  }
  if (fcntl(fd, F_SETLEASE, F_RDLCK) == 0) {
    fcntl(fd, F_SETLEASE, F_UNLCK);
    return;
  }
  if (errno == EAGAIN) {
    look->inUse = true;
  } else {
    look->inUseKnown = false;
  }
}

}  // namespace

WatchedFileLook LookAtWatchedFile(const std::wstring& path) {
  WatchedFileLook look;
  const std::string native = NativePath(path);
  struct stat st;
  if (lstat(native.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return look;
  look.present = true;
  look.size = static_cast<std::uint64_t>(st.st_size);
  look.lastWrite = ToFileTime(st.st_mtim);
  // Not blocking: a file swapped for a pipe meanwhile, or one that another program holds
  // under a write lease (a file server's), gives an error instead of a wait.
  UniqueFd fd(::open(native.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
  if (!fd) {
    // Unreadable for us: nobody can be asked, so the close events decide. Anything else
    // (held under a lease, gone or swapped meanwhile) is looked at again soon.
    if (errno == EACCES || errno == EPERM) {
      look.inUseKnown = false;
    } else {
      look.inUse = true;
    }
    return look;
  }
  struct stat opened;
  if (fstat(fd.get(), &opened) != 0 || !S_ISREG(opened.st_mode) || opened.st_ino != st.st_ino ||
      opened.st_dev != st.st_dev) {
    look.inUse = true;
    return look;
  }
  LookForWriters(fd.get(), &look);
  // Size and time after the writers were asked about: a writer that has just closed has
  // written everything it will.
  if (fstat(fd.get(), &opened) == 0) {
    look.size = static_cast<std::uint64_t>(opened.st_size);
    look.lastWrite = ToFileTime(opened.st_mtim);
  }
  return look;
}

}  // namespace ablagix
