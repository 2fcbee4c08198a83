// Entry names in both directions: the name a file gets inside an archive we write, and the
// folder path an entry of an archive may be extracted to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

struct ZipEntry;

// One file or folder name as Windows can store it, so that every extractor, on Windows and
// on Linux, gives back the same name:
// - each character Windows does not allow in a name ("\ / : * ? " < > |", control
//   characters) becomes "_", and so does a trailing dot or blank ("trail." gives "trail_");
// - a name of dots and blanks only, or an empty one, is "_";
// - a device name ("CON", "nul", "COM1", also with an extension: "aux.txt") gets "_" behind
//   its stem ("CON_", "aux_.txt").
// Linux names reach us with the bytes that are not UTF-8 as U+DC80..U+DCFF (U+DC00 + byte)
// and a backslash that belongs to the name as U+DC5C; such a byte is read as its
// Windows-1252 character (0xE4 gives "ä"), the backslash becomes "_". Any other lone
// surrogate becomes "_" as well, as it has no UTF-8 form.
std::wstring SafeEntryComponent(std::wstring_view name);

// The UTF-8 entry name of a file. Without `keepFolders` only its name; with it the whole
// folder path as well ("D:\Kamera\2023\a.jpg" gives "Kamera/2023/a.jpg"), but never a drive
// letter, a "\\server\share" or "\\?\" prefix or a leading separator. Every name on the way
// goes through SafeEntryComponent, so "/" in an entry name only ever separates the path's own
// folders; the "." and ".." steps and doubled separators of a folder path are left out, while
// the file's own name is always the last part ("src\..." gives "src/_", never "src").
std::string ZipEntryNameForPath(std::wstring_view path, bool keepFolders);

// The folder names and the file name that an entry name stands for, below the folder it is
// extracted to, each made storable by SafeEntryComponent; `renamed` (optional) says whether
// that changed any of them. False, with nothing in `parts`, for a name that would leave that
// folder: absolute names ("/x", "\x"), drive letters ("C:x"), UNC names, any ".." component
// (also "..." or ". ." which Windows would shorten to one), ":" anywhere (which names a drive
// or a data stream), undecodable bytes and empty names. "/" and "\" both separate; "." and
// empty components are dropped. A name ending in "/" is a folder.
bool SafeExtractParts(std::string_view entryName, std::vector<std::wstring>* parts, bool* renamed = nullptr);

// Why an entry is not extracted at all.
enum class EntryRefusal {
  kNone,
  kLeavesFolder,  // its name would leave the folder (SafeExtractParts)
  kLink,          // it is a link (IsLinkEntry)
};

// SafeExtractParts for an entry of an archive, which also refuses link entries: every
// extractor of the program goes through this.
EntryRefusal ExtractPartsOf(const ZipEntry& entry, std::vector<std::wstring>* parts, bool* renamed = nullptr);
// The German reason for a log row or a report.
std::wstring_view EntryRefusalText(EntryRefusal refusal);

}  // namespace ablagix
