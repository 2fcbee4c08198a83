// The file scan: walks a profile's source folder, depth first in the order the file system
// lists entries, and collects every file that the conditions accept.
//
// The scan knows nothing about conditions: it asks a predicate per file. Junctions and
// symbolic links are never followed nor collected, so a link back to a parent cannot loop.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/file_ops.h"
#include "base/char_chunks.h"

namespace ablagix {

// What the predicate sees of one file. `folder` is the folder's full path as the scan
// builds it; no full path is built for a file that is rejected.
struct ScanEntry {
  std::wstring_view folder;
  const DirEntry& entry;
  std::wstring_view extension;  // behind the last "." of the name, "" when there is none
};

using FilePredicate = std::function<bool(const ScanEntry&)>;
// A test on the name alone (its extension included), made before anything else is read
// about the file.
using NamePredicate = std::function<bool(std::wstring_view name, std::wstring_view extension)>;

struct RunFile {
  std::wstring path;
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  FileTime creation = 0;
  FileId id;      // the file's identity when the scan found it
  FileId folder;  // and its folder's
};

// The files a scan accepted, in scan order. A run can hold a million of them, so each costs
// a small record and its name; the folder is kept once for all files in it, and the full
// path is put together only when a file is handled.
class RunFileList {
 public:
  void Add(std::wstring_view folder, FileId folderId, const DirEntry& entry);
  std::size_t size() const { return records_.size(); }
  bool empty() const { return records_.empty(); }
  void clear();
  RunFile operator[](std::size_t index) const;
  // Keeps only the files whose `keep` flag is set, in their order.
  void Filter(const std::vector<bool>& keep);

  class Iterator {
   public:
    Iterator(const RunFileList* list, std::size_t index) : list_(list), index_(index) {}
    RunFile operator*() const { return (*list_)[index_]; }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return index_ != other.index_; }

   private:
    const RunFileList* list_;
    std::size_t index_;
  };
  Iterator begin() const { return {this, 0}; }
  Iterator end() const { return {this, size()}; }

 private:
  struct Record {
    std::uint32_t folder;
    std::uint32_t namePosition;
    std::uint32_t nameLength;
    std::uint64_t size;
    FileTime lastWrite;
    FileTime creation;
    std::uint64_t file;  // the file's number on its folder's volume
  };
  struct Folder {
    std::wstring path;
    FileId id;
    std::uint64_t volume;  // of the files in it (a folder's files live on its own volume)
  };
  std::vector<Folder> folders_;
  CharChunks names_;
  std::vector<Record> records_;
};

struct ScanRequest {
  std::wstring folder;
  bool includeSubfolders = false;
  // Folders left out with their whole subtree; compared whole, by the file system's case
  // rule, a trailing separator ignored. Only consulted when subfolders are included.
  std::vector<std::wstring> blockedFolders;
  // The profile's target folder text, its variables included (see TargetFolderPattern):
  // subfolders that it can name are left out, so a run never reads what it wrote there
  // itself. "" leaves out nothing.
  std::wstring ownTarget;
  // Tests on the name, made first; no predicate accepts every name.
  NamePredicate acceptName;
  // Accepts or rejects a file whose name passed, now with its size and times; no predicate
  // accepts every file.
  FilePredicate accept;
  // Called before every entry; returns true when the user asked to stop (Esc).
  std::function<bool()> poll;
};

struct ScanState {
  // Raised for every folder met (entered or not) and every file looked at; feeds progress.
  std::uint64_t entryCounter = 0;
};

enum class ScanResult { Completed, Aborted };

// Appends the accepted files to `files`. Ends at once, with what was collected so far, when
// the process-wide abort flag is set or `poll` reports Esc (then the flag is set too).
ScanResult ScanFolder(const ScanRequest& request, RunFileList* files, ScanState* state);

// The same tests for files named one by one (those a watch saw arrive, those dropped on the
// window) instead of a walk: each must be a regular file that the walk of `request` would
// have met (in its folder, in a subfolder only when subfolders are included, never in a
// blocked folder, one its own target can name, or behind a link) and pass the predicates.
// Files named twice count once.
ScanResult ScanGivenFiles(const ScanRequest& request, const std::vector<std::wstring>& paths, RunFileList* files,
                          ScanState* state);

// The excluded folders as stored under "BlockFolder": every path closed by ";".
std::vector<std::wstring> SplitBlockFolder(std::wstring_view value);

}  // namespace ablagix
