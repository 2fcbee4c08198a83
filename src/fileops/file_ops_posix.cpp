// POSIX implementation of the file system layer. Names on disk are bytes: a name from a listing
// is carried without loss (base/text.h: FileNameFromBytes), so a "\" or a byte that is not
// UTF-8 stays part of its name. In the path texts of profiles a "\" separates folders just
// like "/", so profile paths written on Windows work here too.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/posix_fd.h"
#include "fileops/posix_found.h"

namespace ablagix {

namespace file_ops_internal {

std::string NativePath(const std::wstring& path) {
  // Only a "\" of the path text separates; one that is part of a name (U+DC5C) goes back to
  // the disk as the byte it was.
  if (path.find(L'\\') == std::wstring::npos) return FileNameToBytes(path);
  std::wstring separated = path;
  for (wchar_t& c : separated) {
    if (c == L'\\') c = L'/';
  }
  return FileNameToBytes(separated);
}

FileId IdOf(const struct stat& st) {
  return FileId{static_cast<std::uint64_t>(st.st_dev), static_cast<std::uint64_t>(st.st_ino)};
}

FileKind KindOf(mode_t mode) {
  if (S_ISREG(mode)) return FileKind::kFile;
  if (S_ISDIR(mode)) return FileKind::kFolder;
  if (S_ISLNK(mode)) return FileKind::kLink;
  return FileKind::kSpecial;
}

FsStatus ErrnoStatus(FsSide side) { return StatusFromSystemError(static_cast<std::uint32_t>(errno), side); }

}  // namespace file_ops_internal

namespace {

using file_ops_internal::NativePath;


constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kEpochDifference = 11644473600;  // seconds from 1601 to 1970


FileTime ToFileTime(std::int64_t seconds, std::int64_t nanoseconds) {
  return (seconds + kEpochDifference) * kTicksPerSecond + nanoseconds / 100;
}

std::string NameBytes(std::wstring_view name) { return FileNameToBytes(name); }

std::uint32_t AttributesOf(mode_t mode, std::string_view name) {
  std::uint32_t attributes = 0;
  if (S_ISLNK(mode)) attributes |= kAttrReparsePoint;
  if (S_ISDIR(mode)) attributes |= kAttrDirectory;
  if ((mode & S_IWUSR) == 0 && !S_ISLNK(mode)) attributes |= kAttrReadOnly;
  if (!name.empty() && name[0] == '.' && name != "." && name != "..") attributes |= kAttrHidden;
  if (!S_ISDIR(mode) && !S_ISREG(mode) && !S_ISLNK(mode)) attributes |= kAttrSystem;
  if (attributes == 0) attributes = kAttrNormal;
  return attributes;
}

void SetKind(mode_t mode, DirEntry* entry) {
  entry->isLink = S_ISLNK(mode);
  entry->isSpecial = !S_ISDIR(mode) && !S_ISREG(mode) && !S_ISLNK(mode);
  entry->dataOffline = false;
  entry->detailsPending = false;
}

// The kind of an entry from the listing's type field alone; false when the file system does
// not tell (then the entry must be looked at).
bool KindFromListing(unsigned char type, std::string_view name, DirEntry* entry) {
  mode_t mode;
  switch (type) {
    case DT_REG: mode = S_IFREG | S_IWUSR; break;
    case DT_DIR: mode = S_IFDIR | S_IWUSR; break;
    case DT_LNK: mode = S_IFLNK; break;
    case DT_FIFO: mode = S_IFIFO; break;
    case DT_SOCK: mode = S_IFSOCK; break;
    case DT_CHR: mode = S_IFCHR; break;
    case DT_BLK: mode = S_IFBLK; break;
    default: return false;
  }
  entry->size = 0;
  entry->lastWrite = 0;
  entry->creation = 0;
  entry->attributes = AttributesOf(mode, name);
  SetKind(mode, entry);
  // Folders, links and special entries need nothing more; a file's size and times do.
  entry->detailsPending = S_ISREG(mode);
  return true;
}

bool StatNoFollow(int dirFd, const char* name, DirEntry* entry) {
  struct statx sx;
  if (statx(dirFd, name, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &sx) == 0) {
    entry->size = S_ISDIR(sx.stx_mode) ? 0 : sx.stx_size;
    entry->lastWrite = ToFileTime(sx.stx_mtime.tv_sec, sx.stx_mtime.tv_nsec);
    // Not every file system records a birth time; the change time is the closest stand-in.
    entry->creation = (sx.stx_mask & STATX_BTIME)
                          ? ToFileTime(sx.stx_btime.tv_sec, sx.stx_btime.tv_nsec)
                          : ToFileTime(sx.stx_ctime.tv_sec, sx.stx_ctime.tv_nsec);
    entry->attributes = AttributesOf(sx.stx_mode, name);
    SetKind(sx.stx_mode, entry);
    entry->id = FileId{static_cast<std::uint64_t>(makedev(sx.stx_dev_major, sx.stx_dev_minor)), sx.stx_ino};
    return true;
  }
  struct stat st;
  if (fstatat(dirFd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) return false;
  entry->size = S_ISDIR(st.st_mode) ? 0 : static_cast<std::uint64_t>(st.st_size);
  entry->lastWrite = ToFileTime(st.st_mtim.tv_sec, st.st_mtim.tv_nsec);
  entry->creation = ToFileTime(st.st_ctim.tv_sec, st.st_ctim.tv_nsec);
  entry->attributes = AttributesOf(st.st_mode, name);
  SetKind(st.st_mode, entry);
  entry->id = file_ops_internal::IdOf(st);
  return true;
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

class PosixListing final : public FolderListing {
 public:
  PosixListing(DIR* dir, FileId id) : dir_(dir), id_(id) {}
  ~PosixListing() override { closedir(dir_); }

  // A listing of the folder `fd` (taken over), or null with the reason.
  static std::unique_ptr<FolderListing> Of(int fd, FsStatus* status) {
    struct stat st;
    DIR* dir = fd < 0 || ::fstat(fd, &st) != 0 ? nullptr : fdopendir(fd);
    if (!dir) {
      if (status) *status = file_ops_internal::ErrnoStatus(FsSide::kUnknown);
      if (fd >= 0) ::close(fd);
      return nullptr;
    }
    if (status) *status = FsStatus::Ok();
    return std::make_unique<PosixListing>(dir, file_ops_internal::IdOf(st));
  }

  bool Next(DirEntry* entry, bool details) override {
    for (;;) {
      errno = 0;
      struct dirent* d = readdir(dir_);
      if (!d) return false;
      // The name exactly as its bytes are, "\" and bytes that are not UTF-8 included.
      entry->name = FileNameFromBytes(d->d_name);
      lastName_.assign(d->d_name);
      lastDecoded_.assign(entry->name);
      entry->id = FileId{};
      // The kind comes with the listing; asking the file system about every entry is the
      // slow part of walking a big tree, so it is left for the entries that need it.
      if (!details && KindFromListing(d->d_type, d->d_name, entry)) return true;
      if (StatNoFollow(dirfd(dir_), d->d_name, entry)) return true;
      // vanished meanwhile: the next one
    }
  }

  bool FillDetails(DirEntry* entry) override {
    if (!entry->detailsPending) return true;
    // Nearly always the entry just listed, whose bytes are at hand.
    if (entry->name == lastDecoded_) return StatNoFollow(dirfd(dir_), lastName_.c_str(), entry);
    return StatNoFollow(dirfd(dir_), NameBytes(entry->name).c_str(), entry);
  }

  std::unique_ptr<FolderListing> OpenChild(const std::wstring&, const DirEntry& child, FsStatus* status) override {
    // Relative to this folder and without following a link: a subfolder swapped for a link
    // to somewhere else since it was listed is not entered.
    const int fd = ::openat(dirfd(dir_), NameBytes(child.name).c_str(),
                            O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    std::unique_ptr<FolderListing> listing = Of(fd, status);
    if (listing && child.id.known() && listing->Identity() != child.id) {
      if (status) *status = FsStatus::Fail(FsError::kNotTheFoundFile);
      return nullptr;
    }
    return listing;
  }

  FileId Identity() const override { return id_; }

 private:
  DIR* dir_;
  FileId id_;
  std::string lastName_;      // the bytes of the name Next gave last
  std::wstring lastDecoded_;  // and that name as Next gave it
};

}  // namespace


namespace file_ops_internal {

namespace {

FsStatus Errno(FsSide side = FsSide::kUnknown) {
  return StatusFromSystemError(static_cast<std::uint32_t>(errno), side);
}

}  // namespace

std::unique_ptr<FolderListing> NativeFs::OpenFolder(const std::wstring& folder, FsStatus* status) {
  return PosixListing::Of(::open(NativePath(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), status);
}

FsStatus NativeFs::Inspect(const std::wstring& path, FileInfo* info) {
  const std::string native = NativePath(path);
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return Errno();
  info->kind = KindOf(st.st_mode);
  info->id = IdOf(st);
  info->version = VersionOf(st);
  info->links = static_cast<std::uint32_t>(st.st_nlink);
  info->mode = static_cast<std::uint32_t>(st.st_mode & 07777);
  const std::size_t slash = native.find_last_of('/');
  info->attributes = AttributesOf(st.st_mode, slash == std::string::npos ? native : native.substr(slash + 1));
  info->creation = info->version.changed;
  struct statx sx;
  if (::statx(AT_FDCWD, native.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &sx) == 0 && (sx.stx_mask & STATX_BTIME)) {
    info->creation = ToFileTime(sx.stx_btime.tv_sec, sx.stx_btime.tv_nsec);
  }
  return FsStatus::Ok();
}

FsStatus NativeFs::GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  std::string native = NativePath(path);
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return Errno();
  size_t slash = native.find_last_of('/');
  *attributes = AttributesOf(st.st_mode, slash == std::string::npos ? native : native.substr(slash + 1));
  // A link to a folder is a folder too, as Windows reports a folder's symbolic link.
  struct stat target;
  if (S_ISLNK(st.st_mode) && ::stat(native.c_str(), &target) == 0 && S_ISDIR(target.st_mode)) {
    *attributes |= kAttrDirectory;
  }
  return FsStatus::Ok();
}

FsStatus NativeFs::SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  std::string native = NativePath(path);
  struct stat st;
  if (::lstat(native.c_str(), &st) != 0) return Errno();
  // chmod would change what a link points at, a file elsewhere.
  if (S_ISLNK(st.st_mode)) return FsStatus::Fail(FsError::kNotRegularFile);
  mode_t mode = st.st_mode & 07777;
  // Only read-only has a POSIX meaning; it maps to the write permission bits.
  if (attributes & kAttrReadOnly) {
    mode &= static_cast<mode_t>(~(S_IWUSR | S_IWGRP | S_IWOTH));
  } else {
    mode |= S_IWUSR;
  }
  return ::chmod(native.c_str(), mode) == 0 ? FsStatus::Ok() : Errno();
}

FsStatus NativeFs::CreateFolders(const std::wstring& folder) {
  std::string native = NativePath(folder);
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  if (native.empty()) return FsStatus::Fail(FsError::kNotFound);
  struct stat st;
  if (::stat(native.c_str(), &st) == 0) {
    return S_ISDIR(st.st_mode) ? FsStatus::Ok() : FsStatus::Fail(FsError::kNotRegularFile, FsSide::kTarget);
  }
  // From the deepest existing parent down: one mkdir per missing level.
  size_t existing = native.size();
  while (existing > 0) {
    existing = native.find_last_of('/', existing - 1);
    if (existing == std::string::npos || existing == 0) {
      existing = 0;
      break;
    }
    if (::stat(native.substr(0, existing).c_str(), &st) == 0) break;
  }
  FsStatus last = FsStatus::Ok();
  for (size_t pos = existing + 1; pos <= native.size(); ++pos) {
    if (pos != native.size() && native[pos] != '/') continue;
    if (::mkdir(native.substr(0, pos).c_str(), 0777) != 0 && errno != EEXIST) last = Errno(FsSide::kTarget);
  }
  if (::stat(native.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return FsStatus::Ok();
  return last.ok() ? FsStatus::Fail(FsError::kNotFound, FsSide::kTarget) : last;
}

FsStatus NativeFs::RemoveFile(const FileRef& file) {
  ParentFolder parent;
  FsStatus status = OpenParentOf(file, FsSide::kUnknown, &parent);
  struct stat st;
  if (status.ok()) status = StatFound(parent, file, FsSide::kUnknown, &st);
  if (!status.ok()) return status;
  if (S_ISDIR(st.st_mode)) return FsStatus::Fail(FsError::kNotRegularFile);
  return ::unlinkat(parent.fd(), parent.name.c_str(), 0) == 0 ? FsStatus::Ok() : Errno();
}

FsStatus NativeFs::WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  std::string target = NativePath(path);
  std::string temp = NativePath(AtomicTempName(path));
  mode_t mode = 0666;
  struct stat st;
  if (::stat(target.c_str(), &st) == 0) mode = st.st_mode & 07777;
  UniqueFd fd(::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!fd) return Errno(FsSide::kTarget);
  auto fail = [&] {
    FsStatus status = Errno(FsSide::kTarget);
    fd.reset();
    ::unlink(temp.c_str());
    return status;
  };
  std::size_t written = 0;
  while (written < bytes.size()) {
    std::size_t chunk = std::min(kAtomicChunk, bytes.size() - written);
    if (!WriteAll(fd.get(), bytes.data() + written, chunk)) return fail();
    written += chunk;
    // A simulated crash leaves the temporary file behind, exactly as a real one would.
    if (AtomicWriteInterrupted(written)) return FsStatus::Fail(FsError::kIo, FsSide::kTarget);
  }
  if (::fsync(fd.get()) != 0) return fail();
  fd.reset();
  if (::rename(temp.c_str(), target.c_str()) != 0) {
    FsStatus status = Errno(FsSide::kTarget);
    ::unlink(temp.c_str());
    return status;
  }
  return FsStatus::Ok();
}

}  // namespace file_ops_internal

namespace file_ops_internal {

FileVersion VersionOf(const struct stat& st) {
  return FileVersion{static_cast<std::uint64_t>(st.st_size), ToFileTime(st.st_mtim.tv_sec, st.st_mtim.tv_nsec),
                     ToFileTime(st.st_ctim.tv_sec, st.st_ctim.tv_nsec), static_cast<std::uint32_t>(st.st_nlink)};
}

namespace {

// The folder handled last on this thread. A run handles the files of one folder one after
// another, so the folder is opened once for all of them, not once per file.
struct CachedFolder {
  std::string path;
  FileId id;
  std::shared_ptr<UniqueFd> handle;
};

thread_local CachedFolder t_folder;

}  // namespace

FsStatus OpenParentOf(const FileRef& ref, FsSide side, ParentFolder* parent) {
  const std::wstring folderText = FolderPart(ref.path);
  parent->name = NativePath(NamePart(ref.path));
  std::string folder = folderText.empty() ? std::string(".") : NativePath(folderText);
  CachedFolder& cached = t_folder;
  if (cached.handle && cached.path == folder) {
    // The very folder that was checked before is taken again by its handle, even if its path
    // now leads elsewhere; without a known identity the path must still lead to it.
    struct stat st;
    if (ref.folder.known() ? cached.id == ref.folder
                           : ::stat(folder.c_str(), &st) == 0 && IdOf(st) == cached.id) {
      parent->handle = cached.handle;
      return FsStatus::Ok();
    }
  }
  auto handle = std::make_shared<UniqueFd>(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat st;
  if (!*handle || ::fstat(handle->get(), &st) != 0) return ErrnoStatus(side);
  if (ref.folder.known() && IdOf(st) != ref.folder) return FsStatus::Fail(FsError::kNotTheFoundFile, side);
  cached = CachedFolder{std::move(folder), IdOf(st), handle};
  parent->handle = std::move(handle);
  return FsStatus::Ok();
}

FsStatus StatFound(const ParentFolder& parent, const FileRef& ref, FsSide side, struct stat* st) {
  if (::fstatat(parent.fd(), parent.name.c_str(), st, AT_SYMLINK_NOFOLLOW) != 0) return ErrnoStatus(side);
  if (ref.id.known() && IdOf(*st) != ref.id) return FsStatus::Fail(FsError::kNotTheFoundFile, side);
  if (ref.versionKnown && VersionOf(*st) != ref.version) return FsStatus::Fail(FsError::kChangedMeanwhile, side);
  return FsStatus::Ok();
}

FsStatus OpenFound(const FileRef& ref, int flags, FsSide side, UniqueFd* fd, struct stat* st, ParentFolder* parent) {
  ParentFolder own;
  ParentFolder& folder = parent ? *parent : own;
  FsStatus status = OpenParentOf(ref, side, &folder);
  if (!status.ok()) return status;
  // Looked at first: a pipe or a device under the name is never opened.
  status = StatFound(folder, ref, side, st);
  if (!status.ok()) return status;
  if (!S_ISREG(st->st_mode)) return FsStatus::Fail(FsError::kNotRegularFile, side);
  // O_NOFOLLOW and O_NONBLOCK: a name swapped for a link or a pipe since the look above is
  // refused or at least never waited on.
  fd->reset(::openat(folder.fd(), folder.name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!*fd) return errno == ELOOP ? FsStatus::Fail(FsError::kNotTheFoundFile, side) : ErrnoStatus(side);
  struct stat opened;
  if (::fstat(fd->get(), &opened) != 0) return ErrnoStatus(side);
  if (!S_ISREG(opened.st_mode)) return FsStatus::Fail(FsError::kNotRegularFile, side);
  if (IdOf(opened) != IdOf(*st)) return FsStatus::Fail(FsError::kNotTheFoundFile, side);
  // O_NONBLOCK stays: a regular file ignores it, and taking it off would cost two calls a file.
  *st = opened;
  return FsStatus::Ok();
}

}  // namespace file_ops_internal

bool IsFullPath(std::wstring_view path) { return !path.empty() && path.front() == L'/'; }

bool GetFileSize(const std::wstring& path, std::uint64_t* size) {
  // Not opened: opening a pipe would wait for a writer for ever.
  struct stat st;
  if (::stat(NativePath(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  *size = static_cast<std::uint64_t>(st.st_size);
  return true;
}

bool ReadFileBytes(const std::wstring& path, std::string* bytes) {
  UniqueFd fd(::open(NativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd) return false;
  struct stat st;
  if (::fstat(fd.get(), &st) != 0 || !S_ISREG(st.st_mode)) return false;
  ::fcntl(fd.get(), F_SETFL, ::fcntl(fd.get(), F_GETFL) & ~O_NONBLOCK);
  bytes->clear();
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) return true;
    bytes->append(buffer, static_cast<size_t>(n));
  }
}

bool RemoveEmptyFolder(const std::wstring& path) { return ::rmdir(NativePath(path).c_str()) == 0; }

bool CopyFileReplacing(const std::wstring& from, const std::wstring& to) {
  std::string bytes;
  return ReadFileBytes(from, &bytes) && WriteFileAtomic(to, bytes);
}

namespace file_ops_internal {

bool UtcOffsetAt(std::int64_t seconds, std::int64_t* offset) {
  const time_t t = static_cast<time_t>(seconds);
  struct tm local;
  if (!localtime_r(&t, &local)) return false;
  *offset = local.tm_gmtoff;
  return true;
}

std::uint64_t ZoneStamp() {
  // TZ set anew and tzset called: other names, another offset.
  return reinterpret_cast<std::uintptr_t>(tzname[0]) ^ (static_cast<std::uint64_t>(timezone) << 1);
}

}  // namespace file_ops_internal

FileTime CurrentFileTime() {
  struct timespec ts;
  clock_gettime(CLOCK_REALTIME, &ts);
  return ToFileTime(ts.tv_sec, ts.tv_nsec);
}

}  // namespace ablagix
