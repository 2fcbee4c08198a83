#include "fileops/file_ops.h"
#include "fileops/short_path.h"

namespace ablagix {

std::wstring ShortPath(const std::wstring& path) { return PathExists(path) ? path : std::wstring(); }

}  // namespace ablagix
