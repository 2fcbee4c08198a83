// The absolute form of a path on Windows, for the programs that hand paths to the system in
// the "\\?\" form (fileops itself, the self-extractor). Windows only.
#pragma once

#include <string>

namespace ablagix {

// IsFullPath (fileops/file_ops.h) lives beside it, so that the self-extractor has both
// without the rest of the file layer.

// The absolute, normalised path with "\" separators, without the "\\?\" prefix. A full path
// is made plain as text only (see NormalizedFullPath); a relative one is taken against the
// current folder by the system.
std::wstring FullPathText(const std::wstring& path);

}  // namespace ablagix
