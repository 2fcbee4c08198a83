// The platform-independent part of deleting: the engine's recycle call and deleting for good.
#include "fileops/files.h"
#include "fileops/recycle.h"

namespace ablagix {

bool MoveToRecycleBin(const std::wstring& path) {
  ShellDeleteOptions options;
  options.recycle = true;
  return DeleteThroughShell(path, options);
}

bool DeletePermanently(const std::wstring& path, bool clearReadOnly) {
  std::uint32_t attributes = 0;
  if (!GetAttributes(path, &attributes) || (attributes & kAttrDirectory)) return false;
  // Linux would unlink a write-protected file without a word; it is refused here as on
  // Windows, so a profile behaves the same on both.
  const bool readOnly = (attributes & kAttrReadOnly) != 0;
  if (readOnly) {
    if (!clearReadOnly) return false;
    std::uint32_t cleared = attributes & ~std::uint32_t{kAttrReadOnly};
    if (!SetAttributes(path, cleared == 0 ? std::uint32_t{kAttrNormal} : cleared)) return false;
  }
  if (RemoveFile(path)) return true;
  if (readOnly) SetAttributes(path, attributes);
  return false;
}

}  // namespace ablagix
