#include "fileops/folder_watch.h"

#include "fileops/path_text.h"

namespace ablagix {

bool WalkFolderFiles(const std::wstring& folder, const std::function<SubfolderStep(const std::wstring&)>& subfolder,
                     std::vector<FolderChange>* out) {
  // An explicit list of folders still to read: a deep tree costs heap, not call stack.
  std::vector<std::wstring> pending{folder};
  DirEntry entry;
  while (!pending.empty()) {
    const std::wstring current = std::move(pending.back());
    pending.pop_back();
    FolderReader reader;
    if (!reader.Open(current)) continue;
    while (reader.NextName(&entry)) {
      if (entry.name.empty() || entry.name == L"." || entry.name == L".." || entry.isLink || entry.isSpecial) continue;
      std::wstring path = JoinPath(current, entry.name);
      if (!entry.IsDirectory()) {
        if (out != nullptr) out->push_back({FolderChangeKind::Changed, std::move(path)});
        continue;
      }
      const SubfolderStep step = subfolder(path);
      if (step == SubfolderStep::Stop) return false;
      if (step == SubfolderStep::Enter) pending.push_back(std::move(path));
    }
  }
  return true;
}

void ReportFolderFiles(const std::wstring& folder, bool subtree, std::vector<FolderChange>* out) {
  WalkFolderFiles(
      folder, [subtree](const std::wstring&) { return subtree ? SubfolderStep::Enter : SubfolderStep::Skip; }, out);
}

}  // namespace ablagix
