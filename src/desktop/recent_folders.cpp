#include "desktop/recent_folders.h"

#include <algorithm>

#include "base/text.h"
#include "base/ui_port.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "profiles/ini_file.h"

namespace ablagix {

RecentFolders RecentFolders::Load(const std::wstring& settingsFile) {
  RecentFolders list;
  for (const auto& [key, value] : IniFile::Load(settingsFile).SectionEntries(kRecentFoldersSection)) {
    if (Trim(value).empty()) continue;
    list.rows_.push_back({value, FolderExists(value)});
  }
  return list;
}

void RecentFolders::Add(const std::wstring& folder) {
  if (Trim(folder).empty()) return;
  rows_.erase(std::remove_if(rows_.begin(), rows_.end(),
                             [&](const RecentFolder& row) { return SameFolderText(row.path, folder); }),
              rows_.end());
  rows_.insert(rows_.begin(), {folder, FolderExists(folder)});
}

std::optional<std::wstring> RecentFolders::Use(std::optional<std::size_t> selected, UiPort& ui) const {
  if (!selected || *selected >= rows_.size()) {
    ui.ShowMessage(L"Bitte Ordnerpfad oben ausw\u00e4hlen!", MessageIcon::Exclamation, MessageButtons::Ok);
    return std::nullopt;
  }
  // Tested again: a drive may have come or gone while the dialog was open.
  const std::wstring& path = rows_[*selected].path;
  if (!FolderExists(path)) {
    ui.ShowMessage(L"Pfad existiert nicht!", MessageIcon::Critical, MessageButtons::Ok);
    return std::nullopt;
  }
  return path;
}

bool RecentFolders::Save(const std::wstring& settingsFile) const {
  IniFile ini = IniFile::Load(settingsFile);
  ini.DeleteSection(kRecentFoldersSection);
  for (std::size_t i = 0; i < rows_.size() && i < kRecentFoldersKept; ++i) {
    ini.SetString(kRecentFoldersSection, NumberText(i + 1), rows_[i].path);
  }
  return ini.Save();
}

std::wstring_view StatusText(const RecentFolder& folder) { return folder.reachable ? kPathOk : kPathUnreachable; }

}  // namespace ablagix
