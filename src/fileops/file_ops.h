// The everyday file operations as free functions: listing folders, attributes, reading and
// writing whole files, making and removing folders. Each goes through the active FileSystem
// (file_system_seam.h), so tests can make it fail. file_ops_win32.cpp uses the wide Win32 calls
// on long-path forms; file_ops_posix.cpp uses POSIX calls on the names as bytes. Work that
// changes a file where it lies is in in_place_io.h; copies and moves in copy_move.h.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/calendar.h"

namespace ablagix {

// Windows FILETIME: 100-nanosecond ticks since 1601-01-01 UTC, on every platform.
using FileTime = std::int64_t;

// Which file a name stood for when it was looked at: the volume and the file's number on it
// (device and inode on Linux, volume serial number and file ID on Windows). A name whose
// identity changed stands for another file now, whatever its size and times say.
struct FileId {
  std::uint64_t volume = 0;
  std::uint64_t file = 0;
  bool known() const { return volume != 0 || file != 0; }
  friend bool operator==(const FileId&, const FileId&) = default;
};

// What a file looked like at one moment. Reading a file whole and finding the same version
// afterwards is what makes deleting it safe: nothing was written to it in between.
struct FileVersion {
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  FileTime changed = 0;  // the last change of its data or its record (ctime, ChangeTime)
  std::uint32_t links = 1;  // names of the data (hard links)
  // The same version: size and last write equal, and the record unchanged too, unless a name
  // of the data was added or removed (which changes the record of every name, the data not).
  friend bool operator==(const FileVersion& a, const FileVersion& b) {
    return a.size == b.size && a.lastWrite == b.lastWrite && (a.changed == b.changed || a.links != b.links);
  }
};

// The Windows attribute bits. On Linux they are derived: a symbolic link is a reparse point,
// a file without write permission is read-only, a name starting with "." is hidden.
enum : std::uint32_t {
  kAttrReadOnly = 0x1,
  kAttrHidden = 0x2,
  kAttrSystem = 0x4,
  kAttrDirectory = 0x10,
  kAttrArchive = 0x20,
  kAttrNormal = 0x80,
  kAttrReparsePoint = 0x400,
};

struct DirEntry {
  std::wstring name;
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  FileTime creation = 0;
  std::uint32_t attributes = 0;
  // A symbolic link, junction or mount point: another name for something elsewhere, which a
  // walk must not follow (a link to a parent folder would never end). Cloud placeholders and
  // other reparse points that hold the entry's own data are not links.
  bool isLink = false;
  // Neither file, folder nor link (a pipe, socket or device): opening it can block for ever.
  bool isSpecial = false;
  // The data is not on this disk (a cloud file not downloaded, an offline file): reading it
  // would fetch it first. Moving, copying and deleting are still fine.
  bool dataOffline = false;
  // Size, times and the read-only bit are still to be read (FolderReader::FillDetails).
  bool detailsPending = false;
  // Known with the details (on Windows with the listing).
  FileId id;

  bool IsDirectory() const { return (attributes & kAttrDirectory) != 0; }
  bool IsReparsePoint() const { return (attributes & kAttrReparsePoint) != 0; }
  // A file the run may handle: no folder, no link, no device.
  bool IsRegularFile() const { return !IsDirectory() && !isLink && !isSpecial; }
};

class FolderListing;

// Lists one folder in the order the file system keeps it, "." and ".." included where the
// system reports them. Name, size, times and attributes come with each entry, so the scan
// never opens a file just to look at it.
class FolderReader {
 public:
  FolderReader();
  ~FolderReader();
  FolderReader(const FolderReader&) = delete;
  FolderReader& operator=(const FolderReader&) = delete;

  // False when the folder cannot be listed (missing, no permission, not a folder).
  [[nodiscard]] bool Open(const std::wstring& folder);
  // Fills `entry` with the next entry; false at the end.
  [[nodiscard]] bool Next(DirEntry* entry);
  // The same, but where the system's listing gives only names and kinds, size, times and the
  // read-only bit are read later, by FillDetails, and only for the entries that need them: a
  // scan that rejects most names by their pattern never looks any further at them.
  [[nodiscard]] bool NextName(DirEntry* entry);
  [[nodiscard]] bool FillDetails(DirEntry* entry);
  // Opens a subfolder that `parent` listed, at `path`, without following a link: a folder
  // swapped for a link since the listing is refused, so a walk never leaves its tree.
  [[nodiscard]] bool OpenChild(const FolderReader& parent, const std::wstring& path, const DirEntry& child);
  // The identity of the folder being listed (unknown where the system does not say).
  FileId Identity() const;

 private:
  std::unique_ptr<FolderListing> listing_;
};

// A path that names one place whatever the current folder is: "C:\..." or "\\server\share..."
// on Windows, "/..." on Linux. ".", "temp", "\\" or "C:temp" depend on the current folder,
// which the file dialogs move, so a profile must never rely on them.
bool IsFullPath(std::wstring_view path);

bool PathExists(const std::wstring& path);
bool FileExists(const std::wstring& path);    // exists and is not a folder
bool FolderExists(const std::wstring& path);  // exists and is a folder

[[nodiscard]] bool GetAttributes(const std::wstring& path, std::uint32_t* attributes);
// Tries the long-path form first, then the path as given.
bool SetAttributes(const std::wstring& path, std::uint32_t attributes);

// Creates the folder and every missing parent. True when the folder exists afterwards.
bool CreateFolders(const std::wstring& folder);

[[nodiscard]] bool GetFileSize(const std::wstring& path, std::uint64_t* size);
[[nodiscard]] bool ReadFileBytes(const std::wstring& path, std::string* bytes);
bool RemoveFile(const std::wstring& path);
bool RemoveEmptyFolder(const std::wstring& path);
// Plain copy for small files such as the profile backup; replaces `to` when it exists.
bool CopyFileReplacing(const std::wstring& from, const std::wstring& to);

// Replaces the file as one step: the bytes go to a temporary file beside it, are flushed to
// disk and then renamed over the old file. A crash or a full disk leaves the old file whole.
bool WriteFileAtomic(const std::wstring& path, std::string_view bytes);

// Creates or replaces the file with `text` as UTF-16LE code units, without byte-order mark.
bool WriteTextFile(const std::wstring& path, std::wstring_view text);
// The same with the byte-order mark FF FE in front.
bool WriteTextFileWithBom(const std::wstring& path, std::wstring_view text);

LocalDateTime FileTimeToLocal(FileTime time);
FileTime CurrentFileTime();

namespace testing_hooks {
// Called after every chunk that WriteFileAtomic writes to its temporary file, with the bytes
// written so far; returning true makes the write stop there as if the process had died.
void SetAtomicWriteInterrupt(std::function<bool(std::size_t)> interrupt);
}  // namespace testing_hooks

}  // namespace ablagix
