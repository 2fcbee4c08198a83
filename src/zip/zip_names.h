// Entry names in both directions: the name a file gets inside an archive we write, and the
// folder path an entry of an archive may be extracted to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

// The UTF-8 entry name of a file. Without `keepFolders` only its name; with it the whole
// folder path as well ("D:\Kamera\2023\a.jpg" gives "Kamera/2023/a.jpg"), but never a drive
// letter, a "\\server\share" or "\\?\" prefix, a leading separator, or a "." or ".."
// component, so that no extractor can be led out of its folder by a name we wrote.
std::string ZipEntryNameForPath(std::wstring_view path, bool keepFolders);

// The folder names and the file name that an entry name stands for, below the folder it is
// extracted to. False, with nothing in `parts`, for a name that would leave that folder or
// cannot be a Windows path: absolute names ("/x", "\x"), drive letters ("C:x"), UNC names,
// any ".." component (also "..." or ". ." which Windows would shorten to one), ":" (which
// names a drive or a data stream), control characters and empty names. "/" and "\" both
// separate; "." and empty components are dropped. A name ending in "/" is a folder.
bool SafeExtractParts(std::string_view entryName, std::vector<std::wstring>* parts);

}  // namespace ablagix
