// The stored extension filters: section "Dateifilter1" of "Opt.ini", a file shared with the
// file manager Kramdock. "Filter" holds the names, comma-separated; the mask of the filter at
// list position n (from 0) is kept under "<n>Mask". Names and masks are tied together by
// position only, so every function here keeps positions exactly as stored.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/system_error.h"
#include "profiles/settings_store.h"

namespace ablagix {

inline constexpr std::wstring_view kFilterSection = L"Dateifilter1";

struct FilterRow {
  std::wstring name;
  std::wstring mask;  // e.g. ".jpg,.png"
};

// The raw "Filter" text.
std::wstring ReadStoredFilterList(const SettingsFolders& folders);
// The names in list order, empty pieces included so later positions do not shift; an empty
// text has no names at all.
std::vector<std::wstring> StoredFilterNames(std::wstring_view filterList);
// The profile editor's include-extension list: "Alles" (in the current language), the stored
// names, and "Bearbeiten..." to open the filter table.
std::vector<std::wstring> IncludeExtensionEntries(std::wstring_view filterList);

// The mask of the stored filter at `position` (0 = the first name, not counting "Alles").
std::wstring StoredFilterMask(const SettingsFolders& folders, std::size_t position);
// The mask of the first stored filter called `name` (a profile's "Filter" value); "" when the
// list has no such name.
std::wstring StoredFilterMaskByName(const SettingsFolders& folders, std::wstring_view name);

// The filter table of the settings page: one row per stored name, with its mask.
std::vector<FilterRow> ReadFilterTable(const SettingsFolders& folders);
// The "Filter" text for these rows. A "," inside a name would split it in two and shift every
// later filter onto the wrong mask, so it is left out.
std::wstring FilterListText(const std::vector<FilterRow>& rows);
// Writes every row's mask and then the names, in one atomic write.
bool SaveFilterTable(const SettingsFolders& folders, const std::vector<FilterRow>& rows,
                     FsStatus* status = nullptr);

}  // namespace ablagix
