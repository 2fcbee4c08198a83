// The trash on Linux, after the freedesktop.org trash standard. A trashed file is renamed into
// "files/" of a trash folder, and "info/<name>.trashinfo" records where it came from and when:
//
//   [Trash Info]
//   Path=/home/anna/Bilder/Urlaub%20M%C3%A4rz.jpg
//   DeletionDate=2024-03-18T09:41:07
//
// Only renames are used: a file that cannot reach a trash folder on its own mount stays where
// it is, and the caller reports it. Copying across mounts and deleting the original is left
// to file managers that can show progress and ask.
#include <fcntl.h>
#include <ftw.h>
#include <limits.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "base/text.h"
#include "fileops/file_ops_internal.h"
#include "fileops/recycle.h"
#include "fileops/recycle_internal.h"

namespace ablagix {
namespace {

constexpr std::string_view kInfoSuffix = ".trashinfo";
// Gives up on finding a free trash name after this many taken ones.
constexpr int kNameAttempts = 10000;

using file_ops_internal::NativePath;

std::string ParentOf(const std::string& path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

std::string Child(const std::string& folder, std::string_view name) {
  std::string out = folder;
  if (out.empty() || out.back() != '/') out += '/';
  out += name;
  return out;
}

// $XDG_DATA_HOME when it is an absolute path (relative ones are invalid and ignored), else
// ~/.local/share.
std::string DataHome() {
  const char* xdg = getenv("XDG_DATA_HOME");
  if (xdg && xdg[0] == '/') return xdg;
  std::string home;
  if (const char* h = getenv("HOME"); h && *h) {
    home = h;
  } else if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir) {
    home = pw->pw_dir;
  } else {
    return {};
  }
  return Child(home, ".local/share");
}

// The device of `path`, or of its nearest existing ancestor when it does not exist yet: that
// is the mount a folder created there would be on.
bool DeviceOfNearest(std::string path, dev_t* device) {
  for (;;) {
    struct stat st;
    if (::stat(path.c_str(), &st) == 0) {
      *device = st.st_dev;
      return true;
    }
    if (path == "/" || path == ".") return false;
    path = ParentOf(path);
  }
}

// Creates the folder and its missing parents, private to the user as the standard asks.
bool MakeFolders(const std::string& path) {
  struct stat st;
  if (::stat(path.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  std::string parent = ParentOf(path);
  if (parent != path && !MakeFolders(parent)) return false;
  if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// A folder of ours that no one else can swap for a link to somewhere else.
bool IsOwnRealFolder(const std::string& path) {
  struct stat st;
  return ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == getuid();
}

// The URI escaping the trash standard asks for, on the UTF-8 bytes: letters, digits, "-_.~"
// and "/" stay, everything else becomes "%XX".
std::string PercentEncode(std::string_view path) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : path) {
    bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                 c == '-' || c == '_' || c == '.' || c == '~' || c == '/';
    if (plain) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 0xF];
    }
  }
  return out;
}

std::string DeletionDateNow() {
  time_t now = time(nullptr);
  struct tm local;
  if (!localtime_r(&now, &local)) return "1970-01-01T00:00:00";
  char text[32];
  strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
  return text;
}

// The name in the trash for attempt `n`: "a.txt", then "a.2.txt", "a.3.txt", ... Shortened
// so that "<name>.trashinfo" still fits into one file name.
std::string TrashName(const std::string& base, int n) {
  size_t dot = base.find_last_of('.');
  if (dot == 0 || dot == std::string::npos) dot = base.size();
  std::string stem = base.substr(0, dot);
  std::string extension = base.substr(dot);
  std::string counter = n == 1 ? "" : "." + std::to_string(n);
  const size_t limit = NAME_MAX - kInfoSuffix.size();
  if (stem.size() + counter.size() + extension.size() > limit) {
    if (extension.size() + counter.size() + 1 > limit) extension.clear();
    size_t keep = limit - counter.size() - extension.size();
    // Cut at the start of a UTF-8 character, never inside one.
    while (keep > 0 && (static_cast<unsigned char>(stem[keep]) & 0xC0) == 0x80) --keep;
    stem.resize(keep);
  }
  return stem + counter + extension;
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

bool RenameNoReplace(const std::string& from, const std::string& to) {
  int rc = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
  if (rc == 0 || (errno != EINVAL && errno != ENOSYS)) return rc == 0;
  struct stat st;
  if (::lstat(to.c_str(), &st) == 0) {
    errno = EEXIST;
    return false;
  }
  return ::rename(from.c_str(), to.c_str()) == 0;
}

// Moves `file` into the trash folder `trash`, recording `recordedPath` as its origin.
bool TrashInto(const std::string& trash, const std::string& file, const std::string& base,
               const std::string& recordedPath) {
  const std::string files = Child(trash, "files");
  const std::string info = Child(trash, "info");
  if (!MakeFolders(files) || !MakeFolders(info)) return false;

  const std::string content = "[Trash Info]\nPath=" + PercentEncode(recordedPath) +
                              "\nDeletionDate=" + DeletionDateNow() + "\n";
  for (int n = 1; n <= kNameAttempts; ++n) {
    const std::string name = TrashName(base, n);
    // The info file comes first and is created exclusively: it is what reserves the name.
    const std::string infoFile = Child(info, name + std::string(kInfoSuffix));
    int fd = ::open(infoFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
      if (errno == EEXIST) continue;
      return false;
    }
    bool written = WriteAll(fd, content) && ::fsync(fd) == 0;
    written = ::close(fd) == 0 && written;
    if (!written) {
      ::unlink(infoFile.c_str());
      return false;
    }
    if (RenameNoReplace(file, Child(files, name))) return true;
    int error = errno;
    ::unlink(infoFile.c_str());
    // A leftover in files/ without its info file still holds the name: try the next.
    if (error != EEXIST && error != ENOTEMPTY) return false;
  }
  return false;
}

// The top folder of the mount that holds `folder` (a real path without links).
std::string MountTop(const std::string& folder, dev_t device) {
  std::string current = folder;
  while (current != "/") {
    std::string parent = ParentOf(current);
    struct stat st;
    if (::stat(parent.c_str(), &st) != 0 || st.st_dev != device) break;
    current = parent;
  }
  return current;
}

// The trash folder on the mount with top folder `top`: "$top/.Trash/$uid" when an
// administrator prepared "$top/.Trash" (a real folder with the sticky bit), else
// "$top/.Trash-$uid". Empty when neither can be had.
std::string TopTrash(const std::string& top) {
  const std::string uid = std::to_string(getuid());
  const std::string shared = Child(top, ".Trash");
  struct stat st;
  if (::lstat(shared.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & S_ISVTX)) {
    const std::string own = Child(shared, uid);
    if (::mkdir(own.c_str(), 0700) == 0 || errno == EEXIST) {
      if (IsOwnRealFolder(own)) return own;
    }
  }
  const std::string single = Child(top, ".Trash-" + uid);
  if (::mkdir(single.c_str(), 0700) != 0 && errno != EEXIST) return {};
  return IsOwnRealFolder(single) ? single : std::string();
}

bool Trash(const std::wstring& path) {
  std::string native = NativePath(path);
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  const std::string base = native.substr(native.find_last_of('/') + 1);  // npos + 1 == 0
  if (base.empty() || base == "." || base == ".." || base == "/") return false;

  // The folder is resolved, the file itself is not: a link goes to the trash as a link.
  char resolved[PATH_MAX];
  if (!realpath(ParentOf(native).c_str(), resolved)) return false;
  const std::string folder = resolved;
  const std::string file = Child(folder, base);

  struct stat fileStat, folderStat;
  if (::lstat(file.c_str(), &fileStat) != 0 || ::stat(folder.c_str(), &folderStat) != 0) {
    return false;
  }
  // A mount point cannot be renamed anywhere.
  if (fileStat.st_dev != folderStat.st_dev) return false;

  const std::string dataHome = DataHome();
  const std::string homeTrash = Child(dataHome, "Trash");
  dev_t homeDevice;
  if (!dataHome.empty() && DeviceOfNearest(homeTrash, &homeDevice) && homeDevice == fileStat.st_dev) {
    return TrashInto(homeTrash, file, base, file);
  }

  const std::string top = MountTop(folder, fileStat.st_dev);
  const std::string trash = TopTrash(top);
  if (trash.empty()) return false;
  // Trash folders on a mount record the path relative to the mount's top, so the records
  // stay right when the disk is mounted elsewhere.
  std::string relative = file.substr(top == "/" ? 1 : top.size() + 1);
  return TrashInto(trash, file, base, relative);
}

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*) {
  return ::remove(path) == 0 ? 0 : -1;
}

bool IsFolder(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

}  // namespace

namespace recycle_internal {

// The trash folders Trash() could have chosen for `path`, with the path each would record.
std::vector<BinLocation> BinLocationsFor(const std::wstring& path) {
  std::vector<BinLocation> bins;
  std::string native = NativePath(path);
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  const std::string base = native.substr(native.find_last_of('/') + 1);
  if (base.empty() || base == "." || base == "..") return bins;
  // The file was recorded below its folder's real path; a folder that is gone since is taken
  // as written.
  char resolved[PATH_MAX];
  const std::string folder = realpath(ParentOf(native).c_str(), resolved) ? std::string(resolved) : ParentOf(native);
  const std::string file = Child(folder, base);

  if (const std::string dataHome = DataHome(); !dataHome.empty()) {
    const std::string homeTrash = Child(dataHome, "Trash");
    if (IsFolder(homeTrash)) bins.push_back({BinLocation::Kind::kTrash, FileNameFromBytes(homeTrash), file, {}});
  }
  dev_t device;
  if (DeviceOfNearest(folder, &device)) {
    const std::string top = MountTop(folder, device);
    const std::string relative = file.size() > top.size() ? file.substr(top == "/" ? 1 : top.size() + 1) : file;
    const std::string uid = std::to_string(getuid());
    for (const std::string& trash : {Child(Child(top, ".Trash"), uid), Child(top, ".Trash-" + uid)}) {
      if (IsOwnRealFolder(trash)) bins.push_back({BinLocation::Kind::kTrash, FileNameFromBytes(trash), relative, {}});
    }
  }
  return bins;
}

}  // namespace recycle_internal

bool DeleteThroughShell(const std::wstring& path, const ShellDeleteOptions& options,
                        bool* userAborted) {
  if (userAborted) *userAborted = false;
  if (options.recycle) return Trash(path);
  // For good: a folder goes with everything in it, links removed but never followed.
  return ::nftw(NativePath(path).c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS) == 0;
}

}  // namespace ablagix
