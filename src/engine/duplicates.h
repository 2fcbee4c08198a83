// "Duplikate": of the files a profile's other conditions accept, only those whose bytes another
// file holds too, in the scanned tree or in a further folder ("DuplikatOrdner", with its
// subfolders). In the scanned tree one copy of each group stays unselected: the oldest by its
// last write, then the one with the shortest path, then the first name, then the first path.
// Files of the further folder are never selected; they are the other copy, so when a group has
// one there, every copy in the tree is selected. Names of one file (hard links, the further
// folder overlapping the source) count as one file, never as copies of each other. Empty files
// are never duplicates.
//
// Files are compared by size, then by a hash (XXH3-128) of their first 4 KiB, then of their first
// and last 64 KiB (the whole file when that covers it), then of all their bytes; each step only
// among the files that still agree with another. A file whose size no other
// file has is never read; one that changed or vanished since the scan is no duplicate.
//
//   DuplicateMatches matches;
//   if (!SelectDuplicates(request, &files, &matches)) { ... }  // stopped
//   HandleDuplicate(FileRef(...), matches[i], targetFolder, run);
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/actions.h"
#include "engine/scan.h"
#include "fileops/file_system_seam.h"
#include "profiles/profile.h"

namespace ablagix {

struct DuplicateRequest {
  std::wstring otherFolder;  // "DuplikatOrdner", walked with its subfolders; "" for none
  unsigned threads = 0;      // workers that read the contents; 0 reads on the calling thread
  // Called every few milliseconds on the calling thread; true stops (the abort flag is set).
  std::function<bool()> poll;
  // Files read so far and files to read, on the calling thread.
  std::function<void(std::size_t done, std::size_t total)> progress;
};

// For each file of the selection, in its order: the copy it duplicates (the one kept in the
// tree, or one in the further folder), with the identity the scan saw.
using DuplicateMatches = std::vector<FileRef>;

// Keeps in `files` only the selected duplicates, in their order, and fills `matches`. False when
// stopped (Esc, the abort flag); `files` is then empty.
bool SelectDuplicates(const DuplicateRequest& request, RunFileList* files, DuplicateMatches* matches);

// Why the profile's "DuplikatOrdner" keeps it from running ("" when it does not, or when the
// duplicates condition is off): it must be a full path of a folder that can be read.
std::wstring DuplicateFolderProblem(const Profile& profile);

// The Metadaten column of a duplicate's row: what the metadata condition read (if anything),
// then "Duplikat von <path of the kept copy>". `kept` null gives `metadaten` unchanged.
std::wstring WithDuplicateNote(std::wstring metadaten, const FileRef* kept);
// The kept copy that a row's Metadaten column names, "" when it names none.
std::wstring KeptCopyOfNote(std::wstring_view metadaten);

// Handles a selected duplicate as HandleFile does. Before a delete (recycle, delete, shred) the
// file is compared byte for byte with `kept`; when the kept copy is gone, is another file now,
// is the file itself or holds other bytes, the file stays and the word says why. The delete then
// takes the file only while it is still the version compared.
ActionResult HandleDuplicate(FileRef file, const FileRef& kept, const std::wstring& targetFolder,
                             const RunContext& run, const std::wstring& targetName = {});

}  // namespace ablagix
