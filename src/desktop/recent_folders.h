// The recently used target folders: a list kept in the settings file between runs of the
// program, each folder shown with whether it can be reached now. The dialog that shows it
// belongs to the window; the rules are here.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

class UiPort;

inline constexpr std::wstring_view kRecentFoldersSection = L"SaveAsPfade";
inline constexpr std::size_t kRecentFoldersKept = 30;
// What the dialog gives back when it is left without a choice.
inline constexpr std::wstring_view kNoFolderChosen = L"#";
inline constexpr std::wstring_view kRecentFoldersHeader = L"Zuletzt verwendete Ordner:";
inline constexpr std::wstring_view kBrowseTitle = L"Ordner, der gespeichert werden soll:";
inline constexpr std::wstring_view kPathOk = L"Pfad ok";
inline constexpr std::wstring_view kPathUnreachable = L"Nicht erreichbar";

struct RecentFolder {
  std::wstring path;
  bool reachable = false;
};

class RecentFolders {
 public:
  // Reads the list in stored order and tests every folder.
  static RecentFolders Load(const std::wstring& settingsFile);

  const std::vector<RecentFolder>& rows() const { return rows_; }
  // A folder chosen in the folder browser goes to the top; a folder already listed moves there.
  void Add(const std::wstring& folder);
  // The "use" button: the selected row's folder when it exists; otherwise tells the user why
  // and gives nullopt, and the dialog stays open.
  std::optional<std::wstring> Use(std::optional<std::size_t> selected, UiPort& ui) const;
  // Replaces the stored list by the rows in order, at most the first 30.
  bool Save(const std::wstring& settingsFile) const;

 private:
  std::vector<RecentFolder> rows_;
};

std::wstring_view StatusText(const RecentFolder& folder);

}  // namespace ablagix
